#include "TextLabel.h"

TextLabel::TextLabel(QWidget* pParent) : QLabel(pParent) {}

TextLabel::TextLabel(const QString& strText, QWidget* pParent) : QLabel(strText, pParent) {}

void TextLabel::SetFontCfg(const QFont& font, const QColor& clrText) {
    setFont(font);
    if (clrText.isValid()) {
        QPalette pal = palette();
        pal.setColor(QPalette::WindowText, clrText);
        setPalette(pal);
    }
}

void TextLabel::SetFontCfg(const QString& strFamily, int nPixelSize, bool bBold, const QColor& clrText) {
    QFont f = font();
    if (!strFamily.isEmpty())
        f.setFamily(strFamily);
    if (nPixelSize > 0)
        f.setPixelSize(nPixelSize);
    f.setBold(bBold);
    SetFontCfg(f, clrText);
}
