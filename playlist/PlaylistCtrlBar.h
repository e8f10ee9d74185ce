#pragma once

#include <QString>
#include <QWidget>

#include "IObserverBase.h"

class QEvent;
class QPaintEvent;
class QPushButton;
class QResizeEvent;

// The small floating handle over the left edge of the stage that folds the
// playlist column away and back. A frameless translucent top-level window that
// the main dialog places and sizes; its button shows while the pointer is over
// the dialog.
class PlaylistCtrlBar : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit PlaylistCtrlBar(QWidget* pParent = nullptr);
    ~PlaylistCtrlBar() override;

    bool Init();
    // The look of the button: the list is shown (true) or folded away (false).
    void SetPlaylistShown(bool bShown);
    void ShowBtn();
    void HideBtn();
    QPushButton* GetButton() const { return m_pBtnShowOrHide; }

    void SkinChanged() override;

signals:
    void SigPlaylistShowOrHide();
    void SigMouseLease(QEvent* event);

protected:
    void leaveEvent(QEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;

private:
    void resizeEvent(QResizeEvent* ev) override;
    void PlaceButton();

    QPushButton* m_pBtnShowOrHide = nullptr;
    QString m_strStyleHidden;
    QString m_strStyleShown;
    bool m_bShown = true;
    bool m_bStyleApplied = false;
};
