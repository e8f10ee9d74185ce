// What the controls show: their state, the play timer and the selection.
#include "CVelquinDlg.h"

#include <QDate>
#include <QDebug>
#include <QFontMetrics>
#include <QLabel>
#include <QMenu>
#include <QTime>
#include <QUrl>

#include "CPlaylist.h"
#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CSkinButton.h"
#include "CustomPlayerSlider.h"
#include "SyncPlayProgressDlg.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Control state

QString CVelquinDlg::FormatHms(uint nSeconds) {
    return QString::asprintf("%02u:%02u:%02u", nSeconds / 3600, (nSeconds % 3600) / 60, nSeconds % 60);
}

bool CVelquinDlg::On_UpdateCtrlsState() {
    if (!m_pDlgShow)
        return false;

    const int nSel = m_pDlgShow->GetSelWndIndex();
    int nOpen = 0;
    int nShown = 0;
    bool bAnyNet = false;
    bool bSelNet = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (!IsActiveState(m_pDlgShow->GetPlayState(i)))
            continue;
        ++nOpen;
        if (i < m_pDlgShow->GetPlayWndNum())
            ++nShown;
        if (m_pDlgShow->GetOpenMode(i) == 2) {
            bAnyNet = true;
            if (i == nSel)
                bSelNet = true;
        }
    }
    // One stream anywhere forbids synchronous play.
    m_pBtnSyncPlay->setEnabled(!bAnyNet && nOpen >= 2);

    qDebug() << "SelWndIndex:" << nSel << "PlayState:" << m_pDlgShow->GetPlayState(nSel);
    const bool bSelActive = IsActiveState(m_pDlgShow->GetPlayState(nSel));
    const bool bSync = m_pDlgShow->IsSyncPlay();

    // Stepping, jumps and reverse play act on one window and not on a stream; the
    // speed steps also act on the whole synchronous group.
    const bool bSelFile = !bSelNet && bSelActive;
    m_pBtnLastFrame->setEnabled(!bSync && bSelFile);
    m_pBtnNextFrame->setEnabled(!bSync && bSelFile);
    m_pBtnSlow->setEnabled(bSync || bSelFile);
    m_pBtnFast->setEnabled(bSync || bSelFile);
    m_pBtnReversePlay->setEnabled(!bSync && bSelFile);
    m_pBtnReversePlay->SetSelected(bSelActive && m_pDlgShow->IsBackPlay());
    m_pBtnPartZoom->setEnabled(bSelActive);
    m_pBtnPartZoom->SetSelected(bSelActive && m_pDlgShow->IsPartZoom());
    m_pBtnSyncPlay->SetSelected(bSync);
    // Snapshots and continuous capture of the selected window; a hardware
    // decoded stream hands no pictures to continuous capture.
    m_pBtnCapPic->setEnabled(bSelActive);
    m_pBtnConCapPic->setEnabled(bSelActive && !(bSelNet && m_pDlgShow->IsHardDecode(nSel)));
    m_pBtnConCapPic->SetSelected(m_pDlgShow->IsConCapping());
    // The fisheye expansion works on a local file; UpdateSRUI narrows it.
    m_pBtnPanoPlayer->setEnabled(!bSelNet && bSelActive);

    ApplyStyle(m_pBtnMax, m_bMaximized ? STYLE_MAX_RESTORE : STYLE_MAX_NORMAL);
    ApplyStyle(m_pBtnMute, m_bMute ? STYLE_MUTE_ON : (m_nVolume > 100 ? STYLE_MUTE_BOOST : STYLE_MUTE_OFF));
    ApplyStyle(m_pBtnTopMode, STYLE_TOP_MODE_0 + m_nTopMode);
    ApplyStyle(m_pBtnPlayMode,
               STYLE_PLAY_MODE_1 + ((m_nPlayMode >= 1 && m_nPlayMode <= 4) ? m_nPlayMode - 1 : 0));
    ApplyStyle(m_pBtnFullScreen, m_bFullScreen ? STYLE_FULL_LEAVE : STYLE_FULL_ENTER);

    switch (m_pDlgShow->GetPlayState()) {
    case 1:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PAUSE);
        m_pBtnPlayOrPause->setEnabled(m_pDlgShow->GetOpenMode(nSel) != 2);
        m_pBtnStop->setEnabled(true);
        m_pPlayProgressSlider->SetSliderEnable(true);
        break;
    case 2:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PLAY);
        m_pBtnPlayOrPause->setEnabled(true);
        m_pBtnStop->setEnabled(true);
        m_pPlayProgressSlider->SetSliderEnable(true);
        break;
    case 0:
    case 3:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PLAY);
        // From here play starts the selected playlist row.
        m_pBtnPlayOrPause->setEnabled(true);
        m_pBtnStop->setEnabled(false);
        m_pPlayProgressSlider->SetSliderEnable(false);
        m_pPlayProgressSlider->SetValue(0);
        m_pLabFrameIndex->clear();
        m_pLabGlobalTime->clear();
        m_pLabCurPlayTime->setText(FormatHms(0));
        m_pLabWholeTime->setText(FormatHms(0));
        break;
    default:
        break;
    }

    UpdateSRUI();
    RetranslateWidgets();
    UpdateMainTitle();
    m_pDlgShow->UpdateStartPage();
    RefreshRepeatMarks();
    UpdateWindowModeCtrls(); // full screen and top mode buttons, the playlist handle
    return true;
}

CVelquinDlg::TimerValues CVelquinDlg::ComputeTimerValues(uint nFileTime, uint nPlayedTime, uint nTotalFrames,
                                                         uint nCurFrame) {
    TimerValues stValues;
    if (nTotalFrames == 0)
        return stValues;
    // A played time read above the file time is not believed.
    const uint nPlayed = nPlayedTime > nFileTime ? 0 : nPlayedTime;
    stValues.nPlayedShown = nPlayed;
    stValues.nCurFrame = nCurFrame;
    if (nCurFrame == 0xFFFFFFFFu) { // just opened: no frame shown yet
        stValues.nCurFrame = 0;
        stValues.nPlayedShown = 0;
    }
    if (nFileTime != 0) {
        stValues.nSliderPos = uint(quint64(nPlayed) * SLIDER_UNITS / nFileTime);
    } else {
        // A stream without a time: the position comes from the frames.
        const uint nDiv = nTotalFrames > 1 ? nTotalFrames - 1 : nTotalFrames;
        stValues.nSliderPos = uint(quint64(stValues.nCurFrame) * SLIDER_UNITS / nDiv);
    }
    return stValues;
}

bool CVelquinDlg::On_PlayerTimer() {
    if (!m_pDlgShow)
        return false;

    const uint nFrames = m_pDlgShow->GetFileTotalFrames();
    const uint nFileTime = nFrames != 0 ? m_pDlgShow->GetFileTime() : 0;
    const TimerValues stValues = nFrames != 0 ? ComputeTimerValues(nFileTime, m_pDlgShow->GetPlayedTime(),
                                                                   nFrames, m_pDlgShow->GetCurrentFrameNum())
                                              : TimerValues();

    if (IsActiveState(m_pDlgShow->GetPlayState())) {
        m_pLabFrameIndex->setText(QStringLiteral("%1/%2").arg(stValues.nCurFrame).arg(nFrames));
        m_pLabCurPlayTime->setText(FormatHms(stValues.nPlayedShown));
        m_pLabWholeTime->setText(FormatHms(nFileTime));

        const int nSel = m_pDlgShow->GetSelWndIndex();
        const QString strPath = m_pDlgShow->GetSelWndFilePath();
        const QString strName =
            m_pDlgShow->GetOpenMode(nSel) == 2 ? strPath : CPlayHelper::GetFileNameFormPath(strPath);
        const QFontMetrics fm(m_pLabFileName->font());
        if (fm.boundingRect(strName).width() > FILE_NAME_MAX_WIDTH)
            m_pLabFileName->setText(fm.elidedText(strName, Qt::ElideMiddle, FILE_NAME_MAX_WIDTH));
        else
            m_pLabFileName->setText(strName);
        m_pLabFileName->setToolTip(strName);
        m_pLabGlobalTime->setText(SelWndClockText());

        // While the user drags, the slider is the user's.
        if (!m_bSliderPressed)
            m_pPlayProgressSlider->SetValue(int(stValues.nSliderPos));
    } else {
        m_pLabFrameIndex->clear();
        m_pLabFileName->clear();
        m_pLabGlobalTime->clear();
        m_pLabCurPlayTime->setText(FormatHms(0));
        m_pLabWholeTime->setText(FormatHms(0));
        m_pPlayProgressSlider->SetValue(0);
    }
    UpdateSyncRuler();
    UpdateMainTitle();

    // Progress painted in the rows of the open files; the first window with a
    // path wins, stopped windows bring their rows back to the plain look.
    if (m_pPlaylist) {
        QMap<QString, PlayProgress> mapProgress;
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            const QString strPath = m_pDlgShow->GetWndFilePath(i);
            if (!IsActiveState(m_pDlgShow->GetPlayState(i)) || strPath.isEmpty() ||
                mapProgress.contains(strPath))
                continue;
            PlayProgress stProgress;
            stProgress.nTotalTime = m_pDlgShow->GetFileTime(i);
            stProgress.nPlayedTime = m_pDlgShow->GetPlayedTime(i);
            if (stProgress.nPlayedTime > stProgress.nTotalTime)
                stProgress.nPlayedTime = 0;
            mapProgress.insert(strPath, stProgress);
        }
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            const QString strPath = m_pDlgShow->GetWndFilePath(i);
            if (m_pDlgShow->GetPlayState(i) == 3 && !strPath.isEmpty() && !mapProgress.contains(strPath))
                mapProgress.insert(strPath, PlayProgress());
        }
        if (!mapProgress.isEmpty())
            m_pPlaylist->UpdatePlayProgress(mapProgress);
    }
    return true;
}

bool CVelquinDlg::On_ChangeSelectWnd(int nPlayWndIndex) {
    if (!m_pDlgShow)
        return false;
    if (m_bHoldSelReaction) {
        // Many windows filled in a row: the controls follow the last one, once.
        m_bSelReactionPending = true;
        return true;
    }
    for (int i = 0; i < MAX_PLAY_WND; ++i)
        m_pDlgShow->SetVolume(i, false, 0, false);
    if (!m_bMute)
        m_pDlgShow->SetVolume(nPlayWndIndex, true, m_nVolume, false);
    // The labels follow the new selection at once, not at the next tick.
    On_UpdateCtrlsState();
    On_PlayerTimer();
    if (m_pSyncDlg && m_pSyncDlg->isVisible())
        m_pSyncDlg->RefreshSelection();
    return true;
}

bool CVelquinDlg::On_FileRefCreated(int nPlayWndIndex) {
    if (!m_pDlgShow || nPlayWndIndex != m_pDlgShow->GetSelWndIndex())
        return false;
    return On_UpdateCtrlsState();
}

// ---------------------------------------------------------------------------
// Title and wall-clock time

namespace {

// The title bar must not grow with a long name: the dialog's width would follow.
const int TITLE_MAX_WIDTH = 480;

} // namespace

void CVelquinDlg::UpdateMainTitle() {
    const QString strProgram = QStringLiteral("Velquin");
    QString strName;
    if (m_pDlgShow) {
        const int nSel = m_pDlgShow->GetSelWndIndex();
        const QString strPath = m_pDlgShow->GetWndFilePath(nSel);
        if (IsActiveState(m_pDlgShow->GetPlayState(nSel)) && !strPath.isEmpty()) {
            // A stream address may carry a password: the title, which other
            // programs and screen shares see, shows it without one.
            strName = m_pDlgShow->GetOpenMode(nSel) == 2 ? QUrl(strPath).toDisplayString(QUrl::RemoveUserInfo)
                                                         : CPlayHelper::GetFileNameFormPath(strPath);
        }
    }
    const QString strTitle =
        strName.isEmpty() ? strProgram : strName + QStringLiteral(" \u2014 ") + strProgram;
    if (windowTitle() != strTitle)
        setWindowTitle(strTitle);
    if (!m_pLabMainWndTitle)
        return;
    const QFontMetrics fm(m_pLabMainWndTitle->font());
    m_pLabMainWndTitle->setText(fm.elidedText(strTitle, Qt::ElideMiddle, TITLE_MAX_WIDTH));
    m_pLabMainWndTitle->setToolTip(strName);
}

QString CVelquinDlg::SelWndClockText() const {
    if (!m_pDlgShow)
        return QString();
    const int nSel = m_pDlgShow->GetSelWndIndex();
    CPlayWnd* pWnd = m_pDlgShow->GetPlayWnd(nSel);
    TAVRIX_SYSTEM_TIME stTime = {};
    if (!pWnd || !IsActiveState(m_pDlgShow->GetPlayState(nSel)) || !pWnd->GetCurGlobalTime(&stTime))
        return QString();
    // Date and time apart: a recording's clock has no time zone, and a local
    // time in a daylight saving gap must not move.
    const QDate date(stTime.nYear, stTime.nMonth, stTime.nDay);
    const QTime time(stTime.nHour, stTime.nMinute, stTime.nSecond);
    if (!date.isValid() || !time.isValid())
        return QString();
    return date.toString(QStringLiteral("yyyy-MM-dd")) + QLatin1Char(' ') +
           time.toString(QStringLiteral("HH:mm:ss"));
}
