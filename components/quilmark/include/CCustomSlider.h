#pragma once

#include <QSlider>

// Slider that jumps to the clicked position and reports changes made by the user
// (click, drag, wheel, keys) as Sig_ChangeValue; setValue() from code is not reported.
class CCustomSlider : public QSlider {
    Q_OBJECT
public:
    explicit CCustomSlider(QWidget* pParent = nullptr);
    explicit CCustomSlider(Qt::Orientation eOrientation, QWidget* pParent = nullptr);

signals:
    void Sig_ChangeValue(int nValue);

protected:
    void mousePressEvent(QMouseEvent* pEvent) override;

private slots:
    void On_ActionTriggered(int nAction);
    void On_SliderMoved(int nValue);

private:
    int ValueFromPosition(const QPoint& pt) const;
};
