#pragma once

#include <QDialog>

#include "IObserverBase.h"

class QLabel;

// The prompt shown at the bottom of the stage while more files are dragged over
// the dialog than the layout has windows: a drop on it grows the layout. It only
// shows the proposal; the main dialog, its parent, places it over the stage and
// changes the layout.
class AutoExpandWnd : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    explicit AutoExpandWnd(QWidget* parent = nullptr);
    ~AutoExpandWnd() override;

    bool Init();
    // nWndNum 4, 9 or 16; bIsHoverWnd lights the prompt while the pointer is over it.
    bool SetProposal(int nWndNum, bool bIsHoverWnd);
    int GetProposedWndNum() const { return m_nProposedWndNum; }
    bool IsHoverLook() const { return m_bHoverLook; }

    void SkinChanged() override;

private:
    int m_nProposedWndNum = 0;
    bool m_bHoverLook = false;
    QLabel* m_pLabelBackground = nullptr;
    QLabel* m_pLabelThumb = nullptr;
    QLabel* m_pLabelTextInfo1 = nullptr;
    QLabel* m_pLabelTextInfo2 = nullptr;
};
