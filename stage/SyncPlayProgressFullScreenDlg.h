#pragma once

#include <QString>

#include <vector>

#include "FileInfoSync.h"
#include "SyncRulerDlgBase.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QLabel;
class QPushButton;
class QResizeEvent;
class QWidget;
class CDlgShow;

// The ruler of synchronous play while the main dialog is in full screen: it
// slides up from the bottom edge in place of the control bar and shows the same
// group in a smaller form, with a play or pause button and a button that leaves
// synchronous play. A display only: no zoom, no time label, no jumps.
class SyncPlayProgressFullScreenDlg : public SyncRulerDlgBase {
    Q_OBJECT

public:
    static const int DLG_HEIGHT = 115;
    static const int RULER_HEIGHT = 25;
    static const int ROW_HEIGHT = 23;

    explicit SyncPlayProgressFullScreenDlg(QWidget* pParent = nullptr);

    bool Init();
    bool StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast);
    bool ResetSyncRuler();
    bool SetPlayPos(TAVRIX_SYSTEM_TIME* pTime) override;
    void UpdateLanguage();
    // The play button's look and tip follow the stage's aggregate state.
    void UpdatePlayBtn();

    void SkinChanged() override;

signals:
    bool Sig_CancelSyncPlay();

public slots:
    bool On_VScrollBarValueChange(int nValue) override;
    bool On_PlayOrPause();
    bool On_ExitSyncPlay();

protected:
    void resizeEvent(QResizeEvent* ev) override;

private:
    void SetupUI() override;
    void LayoutChildren() override;
    int SelectedWndIndex() const override;
    bool ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime);
    void UpdateShape();
    // The main dialog as a widget and its stage, found in the widget tree: this
    // library sits below the main dialog and cannot include its header.
    QWidget* MainDlgWidget() const;
    CDlgShow* Stage() const;

    QString m_strBtnStylePaused;
    QString m_strBtnStyleRunning;
    QString m_strMaskPixmap;

    QWidget* m_pTitleBarContainer = nullptr;
    QWidget* m_pBtnsContainer = nullptr;
    QPushButton* m_pBtnPlayPause = nullptr;
    QPushButton* m_pBtnExitSync = nullptr;
    QLabel* m_pLabelSpace = nullptr;
};
