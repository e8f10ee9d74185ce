#pragma once

#include <QColor>
#include <QFont>
#include <QLabel>

// Label whose font and colour are set in code (from the skin's fonts), ahead of any
// style sheet.
class TextLabel : public QLabel {
    Q_OBJECT
public:
    explicit TextLabel(QWidget* pParent = nullptr);
    explicit TextLabel(const QString& strText, QWidget* pParent = nullptr);

    // Font from the skin (SkinManager::GetResFont) and an optional text colour.
    void SetFontCfg(const QFont& font, const QColor& clrText = QColor());
    // Family (empty keeps the current one), pixel size (0 or less keeps it), weight.
    void SetFontCfg(const QString& strFamily, int nPixelSize, bool bBold = false,
                    const QColor& clrText = QColor());
};
