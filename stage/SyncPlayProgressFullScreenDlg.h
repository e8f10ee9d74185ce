#pragma once

#include <QDialog>
#include <QPixmap>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

#include "FileInfoSync.h"
#include "IObserverBase.h"
#include "SyncRulerPainter.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QLabel;
class QPushButton;
class QResizeEvent;
class QScrollArea;
class QWidget;
class CDlgShow;
class CVelquinDlg;

// The ruler of synchronous play while the main dialog is in full screen: it
// slides up from the bottom edge in place of the control bar and shows the same
// group in a smaller form, with a play or pause button and a button that leaves
// synchronous play. A display only: no zoom, no time label, no jumps.
class SyncPlayProgressFullScreenDlg : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    static const int DLG_HEIGHT = 115;
    static const int RULER_HEIGHT = 25;
    static const int ROW_HEIGHT = 23;

    explicit SyncPlayProgressFullScreenDlg(QWidget* pParent = nullptr);
    ~SyncPlayProgressFullScreenDlg() override;

    bool Init();
    bool SetMainDlg(CVelquinDlg* pMainDlg);
    bool StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast);
    bool ResetSyncRuler();
    bool SetPlayPos(TAVRIX_SYSTEM_TIME* pTime);
    void UpdateLanguage();
    // The play button's look and tip follow the stage's aggregate state.
    void UpdatePlayBtn();

    void SkinChanged() override;

signals:
    bool Sig_CancelSyncPlay();

public slots:
    bool On_VScrollBarValueChange(int nValue);
    bool On_VScrollBarSliderRelease();
    bool On_PlayOrPause();
    bool On_ExitSyncPlay();

protected:
    void resizeEvent(QResizeEvent* ev) override;

private:
    void SetupUI();
    void LayoutChildren();
    int ViewportWidth() const;
    void SetInitialRanges();
    void UpdateRulerPixmap();
    void UpdateFilesPixmap();
    void SyncScrollRanges();
    bool ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime);
    void UpdateShape();
    // The main dialog as a widget and its stage, found in the widget tree: this
    // library sits below the main dialog and cannot include its header.
    QWidget* MainDlgWidget() const;
    CDlgShow* Stage() const;

    CVelquinDlg* m_pMainDlg = nullptr;
    TAVRIX_SYSTEM_TIME m_stPlayTime{};
    int m_nBaseWidth = 0;
    int m_nRulerWidth = 0;
    FILE_INFO_SYNC m_stFirstFile{};
    FILE_INFO_SYNC m_stLastFile{};
    std::vector<SYNC_WND_FILE> m_vecFiles;
    std::vector<std::pair<float, float>> m_vecFilePos; // start and end as fractions of the day span
    int m_nDays = 1;
    int m_nHours = 24;
    int m_nGrade = 0; // this ruler does not zoom: grade and scale stay
    int m_nScale = 1;
    QStringList m_lstGradeLabels[4];
    QPixmap m_pixRuler;
    QPixmap m_pixFiles;
    QString m_strBtnStylePaused;
    QString m_strBtnStyleRunning;
    QString m_strMaskPixmap;
    SyncRulerPainter m_painter{SyncRulerPainter::SMALL};
    bool m_bObserving = false;

    QWidget* m_pTitleBarContainer = nullptr;
    QWidget* m_pBtnsContainer = nullptr;
    QPushButton* m_pBtnPlayPause = nullptr;
    QPushButton* m_pBtnExitSync = nullptr;
    QWidget* m_pScrollAreaRulerContainer = nullptr;
    QScrollArea* m_pScrollAreaRuler = nullptr;
    QWidget* m_pWndTimeRuler = nullptr;
    QLabel* m_pLabelSpace = nullptr;
    QScrollArea* m_pScrollAreaTimes = nullptr;
    QWidget* m_pWndPlayTimes = nullptr;
    QLabel* m_pLabelPlayPosRedLine = nullptr;
};
