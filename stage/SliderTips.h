#pragma once

#include <QDialog>
#include <QPixmap>

#include "IObserverBase.h"

class QLabel;

// The small frameless label that floats over the progress bar and shows the
// global time under the mouse. It only shows a text; where and when is the main
// dialog's business.
class SliderTips : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    explicit SliderTips(QWidget* pParent = nullptr);
    ~SliderTips() override;

    bool SetTipsText(QString strText);
    QString GetTipsText() const;

    // IObserverBase: the skin notice.
    void SkinChanged() override;

protected:
    void paintEvent(QPaintEvent* ev) override;

private:
    QLabel* m_pLabelText = nullptr;
    QPixmap m_pixBackground;
};
