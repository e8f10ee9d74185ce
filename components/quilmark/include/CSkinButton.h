#pragma once

#include <QColor>
#include <QPixmap>
#include <QPushButton>
#include <QString>

// Push button that draws pictures for its states and an optional text over them.
// Without pictures it is an ordinary QPushButton (style sheets apply).
class CSkinButton : public QPushButton {
    Q_OBJECT
public:
    explicit CSkinButton(QWidget* pParent = nullptr);

    // One picture per state; an empty path reuses the normal picture. False when the
    // normal picture cannot be loaded (the button keeps its old pictures).
    bool SetPixmap(const QString& strNormal, const QString& strHover = QString(),
                   const QString& strPressed = QString(), const QString& strDisabled = QString());
    // One picture strip with nStates equal parts side by side, in the order normal,
    // hover, pressed, disabled (missing parts reuse normal). False when it cannot be
    // loaded or nStates is not 1..4.
    bool SetBitmap(const QString& strPath, int nStates = 4);
    // A selected button shows its pressed picture and the selected text colour.
    void SetSelected(bool bSelected);
    bool IsSelected() const { return m_bSelected; }
    // Text drawn centred over the picture.
    void SetCustomText(const QString& strText);
    QString CustomText() const { return m_strCustomText; }
    // Colours of the custom text, normal and selected (hover uses selected); an
    // invalid selected colour reuses the normal one.
    void SetCustomTextColor(const QColor& clrNormal, const QColor& clrSelected = QColor());
    void SetToolTipText(const QString& strTip);

protected:
    void paintEvent(QPaintEvent* pEvent) override;
    void enterEvent(QEnterEvent* pEvent) override;
    void leaveEvent(QEvent* pEvent) override;

private:
    enum { STATE_NORMAL, STATE_HOVER, STATE_PRESSED, STATE_DISABLED, STATE_COUNT };
    int CurrentState() const;

    QPixmap m_pixStates[STATE_COUNT];
    bool m_bHasPixmaps = false;
    bool m_bSelected = false;
    bool m_bHover = false;
    QString m_strCustomText;
    QColor m_clrText = Qt::white;
    QColor m_clrTextSelected = Qt::white;
};
