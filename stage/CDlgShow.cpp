#include "CDlgShow.h"

#include <algorithm>

#include <QDebug>
#include <QDir>
#include <QEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOption>

#include "CConCapThread.h"
#include "CPlayWnd.h"
#include "OpenInfo.h"
#include "SkinManager.h"
#include "StartPageWnd.h"

namespace {
const int kSkinResStage = 39;
const int kGridSpacing = 2; // leaves room for the window frames

// Paths reach the stage in either separator form (the playlist keeps what the
// user gave, a window keeps native separators, and footage often comes with
// Windows paths): compare them with '/' throughout.
QString ComparablePath(const QString& strPath) {
    QString strResult = QDir::fromNativeSeparators(strPath);
    strResult.replace('\\', '/');
    return strResult;
}
} // namespace

CDlgShow::CDlgShow(QWidget* pParent) : QWidget(pParent) {
    InitPlayWnds();
    setAcceptDrops(false); // drops are the main dialog's
    setMouseTracking(true);
}

CDlgShow::~CDlgShow() {
    // The worker goes first: it may still report on a window.
    if (m_pConCapThread) {
        // A window still playing must not post to the worker once it is gone.
        for (CPlayWnd* pWnd : m_pPlayWnd) {
            if (pWnd)
                pWnd->SetConCapThread(nullptr);
        }
        m_pConCapThread->StopThread();
        m_pConCapThread->wait();
        m_pConCapThread.reset();
    }
    for (CPlayWnd*& pWnd : m_pPlayWnd) {
        if (!pWnd)
            continue;
        pWnd->Close();
        delete pWnd;
        pWnd = nullptr;
    }
    SkinManager::DelObserver(this);
}

bool CDlgShow::InitPlayWnds() {
    m_pGridLayout = new QGridLayout(this);
    m_pGridLayout->setSpacing(kGridSpacing);
    m_pGridLayout->setContentsMargins(kGridSpacing, kGridSpacing, kGridSpacing, kGridSpacing);

    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        m_pPlayWnd[i] = new CPlayWnd(i, this);
        m_pPlayWnd[i]->hide();
    }
    m_pStartPageWnd = new StartPageWnd(this);
    m_pStartPageWnd->Init();
    m_pStartPageWnd->hide();
    connect(m_pStartPageWnd, &StartPageWnd::Sig_OpenFiles, this, &CDlgShow::Sig_OpenFiles);
    connect(m_pStartPageWnd, &StartPageWnd::Sig_OpenFolder, this, &CDlgShow::Sig_OpenFolder);
    connect(m_pStartPageWnd, &StartPageWnd::Sig_OpenURL, this, &CDlgShow::Sig_OpenURL);
    connect(m_pStartPageWnd, &StartPageWnd::Sig_MousePressEvent, this, &CDlgShow::On_MousePressEvent);
    RelayoutPlayWnds();

    for (CPlayWnd* pWnd : m_pPlayWnd) {
        connect(pWnd, &CPlayWnd::Sig_DbClickPlayWnd, this, &CDlgShow::On_DbClickPlayWnd);
        connect(pWnd, &CPlayWnd::Sig_LButtonClickPlayWnd, this, &CDlgShow::On_ChangeSelWnd);
        connect(pWnd, &CPlayWnd::Sig_FileEnd, this, &CDlgShow::On_FileEnd);
        connect(pWnd, &CPlayWnd::Sig_FileRefCreated, this, &CDlgShow::Sig_FileRefCreated);
        connect(pWnd, &CPlayWnd::Sig_MouseMoveEvent, this, &CDlgShow::On_MouseMoveEvent);
        connect(pWnd, &CPlayWnd::Sig_MousePressEvent, this, &CDlgShow::On_MousePressEvent);
        connect(pWnd, &CPlayWnd::Sig_UpdateCtrlStatus, this, &CDlgShow::Sig_UpdateCtrlStatus);
        connect(pWnd, &CPlayWnd::Sig_OpenFinished, this, &CDlgShow::Sig_OpenFinished);
        connect(pWnd, &CPlayWnd::Sig_UpdateThumbnail, this, &CDlgShow::Sig_UpdateThumbnail);
        // These come from engine threads: always queued, so the receiver may
        // stop or close the window that sent them.
        connect(pWnd, &CPlayWnd::Sig_NetStreamStartSound, this, &CDlgShow::Sig_NetStreamStartSound,
                Qt::QueuedConnection);
        connect(pWnd, &CPlayWnd::Sig_MarkInvalidFile, this, &CDlgShow::Sig_MarkInvalidFile,
                Qt::QueuedConnection);
        connect(pWnd, &CPlayWnd::Sig_ErrorToStopPlay, this, &CDlgShow::Sig_ErrorToStopPlay,
                Qt::QueuedConnection);
    }
    connect(this, &CDlgShow::Sig_Update, this, &CDlgShow::On_Update);

    SkinManager::AddObserver(this);
    return true;
}

bool CDlgShow::SetMainDlg(QWidget* pMainDlg) {
    if (!pMainDlg || !pMainDlg->inherits("CVelquinDlg"))
        return false;
    m_pMainDlg = pMainDlg;
    return true;
}

// ---- layout and selection -------------------------------------------------------

bool CDlgShow::RelayoutPlayWnds() {
    if (!m_pGridLayout)
        return false;
    int nSide = 0;
    switch (m_nPlayWndNum) {
    case 1:
        nSide = 1;
        break;
    case 4:
        nSide = 2;
        break;
    case 9:
        nSide = 3;
        break;
    case 16:
        nSide = 4;
        break;
    default:
        return false;
    }
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (!pWnd)
            return false;
    }

    for (CPlayWnd* pWnd : m_pPlayWnd) {
        m_pGridLayout->removeWidget(pWnd);
        pWnd->hide();
    }
    const int nMargin = (m_nPlayWndNum == 1) ? 0 : kGridSpacing;
    m_pGridLayout->setContentsMargins(nMargin, nMargin, nMargin, nMargin);
    for (int i = 0; i < m_nPlayWndNum; ++i)
        m_pGridLayout->addWidget(m_pPlayWnd[i], i / nSide, i % nSide, 1, 1);
    // A maximised window fills the stage because the other cells hold hidden widgets.
    for (int i = 0; i < m_nPlayWndNum; ++i)
        m_pPlayWnd[i]->setVisible(!m_bMaxWnd || i == m_nSelWndIndex);

    emit Sig_Update();
    return true;
}

bool CDlgShow::SetPlayWndNum(int nNum) {
    if ((nNum != 1 && nNum != 4 && nNum != 9 && nNum != 16) || nNum == m_nPlayWndNum)
        return false;
    if (m_nSelWndIndex + 1 > nNum) {
        m_nSelWndIndex = 0;
        emit Sig_ChangeSelWnd(0);
    }
    m_nPlayWndNum = nNum;
    RelayoutPlayWnds();
    emit Sig_UpdateCtrlStatus();
    return true;
}

void CDlgShow::ToggleMaxWnd() {
    m_bMaxWnd = !m_bMaxWnd;
    RelayoutPlayWnds();
}

void CDlgShow::SelectWndByPos(QPoint ptGlobal) {
    for (int i = 0; i < m_nPlayWndNum; ++i) {
        CPlayWnd* pWnd = m_pPlayWnd[i];
        if (!pWnd || !pWnd->isVisible())
            continue;
        const QRect rcWnd(pWnd->mapToGlobal(QPoint(0, 0)), pWnd->size());
        if (!rcWnd.contains(ptGlobal))
            continue;
        if (i == m_nSelWndIndex)
            return;
        m_nSelWndIndex = i;
        break;
    }
    // Also when no window holds the point: the current selection is confirmed.
    emit Sig_ChangeSelWnd(m_nSelWndIndex);
    emit Sig_Update();
}

bool CDlgShow::UpdateStartPage() {
    if (!m_pStartPageWnd || !m_pPlayWnd[0])
        return false;
    const int nState = m_pPlayWnd[0]->GetPlayState();
    if (m_nPlayWndNum == 1 && nState != 1 && nState != 2 && nState != 4) {
        m_pStartPageWnd->setGeometry(0, 0, width(), height());
        m_pStartPageWnd->show();
        m_pStartPageWnd->raise();
    } else {
        m_pStartPageWnd->hide();
    }
    return true;
}

void CDlgShow::UpdateStartPageText() {
    if (m_pStartPageWnd)
        m_pStartPageWnd->UpdateLanguage();
}

bool CDlgShow::On_ChangeSelWnd(int nPlayWndIndex) {
    if (nPlayWndIndex == m_nSelWndIndex || nPlayWndIndex < 0 || nPlayWndIndex >= m_nPlayWndNum)
        return false;
    m_nSelWndIndex = nPlayWndIndex;
    emit Sig_ChangeSelWnd(nPlayWndIndex);
    emit Sig_Update();
    return true;
}

bool CDlgShow::On_DbClickPlayWnd(int nPlayWndIndex) {
    // In the one-window layout a double click means full screen, the main dialog's business.
    if (m_nPlayWndNum == 1 && nPlayWndIndex == 0) {
        emit Sig_DbClickPlayWnd(0);
        return true;
    }
    On_ChangeSelWnd(nPlayWndIndex);
    ToggleMaxWnd();
    emit Sig_Update();
    return true;
}

bool CDlgShow::On_FileEnd(int nPlayWndIndex) {
    // In synchronous play a member's end only stops it counting for the group's
    // position: no list advance may open another file in the group.
    if (m_bSyncPlay) {
        if (nPlayWndIndex >= 0 && nPlayWndIndex < MAX_PLAY_WND)
            m_bSyncWndActive[nPlayWndIndex] = false;
        return true;
    }
    emit Sig_FileEnd(nPlayWndIndex);
    return true;
}

bool CDlgShow::On_MousePressEvent(QMouseEvent* ev) {
    emit Sig_MousePressEvent(ev);
    return true;
}

bool CDlgShow::On_MouseMoveEvent(QMouseEvent* ev) {
    emit Sig_MouseMoveEvent(ev);
    return true;
}

bool CDlgShow::On_Update() {
    update();
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (pWnd)
            pWnd->RefreshPlayEx(0);
    }
    return true;
}

// ---- state readers ------------------------------------------------------------------

CPlayWnd* CDlgShow::SelWnd() const {
    if (m_nSelWndIndex < 0 || m_nSelWndIndex >= MAX_PLAY_WND)
        return nullptr;
    return m_pPlayWnd[m_nSelWndIndex];
}

CPlayWnd* CDlgShow::SelActiveWnd() const {
    CPlayWnd* pWnd = SelWnd();
    if (!pWnd)
        return nullptr;
    const int nState = pWnd->GetPlayState();
    return (nState == 1 || nState == 2) ? pWnd : nullptr;
}

CPlayWnd* CDlgShow::GetPlayWnd(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i] : nullptr;
}

int CDlgShow::GetPlayState() {
    if (!m_bSyncPlay) {
        CPlayWnd* pWnd = SelWnd();
        return pWnd ? pWnd->GetPlayState() : 0;
    }
    // The group plays while any window plays, hidden ones included.
    if (m_vecSyncFiles.empty())
        return 0;
    bool bAnyPaused = false;
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (!pWnd)
            continue;
        if (pWnd->GetPlayState() == 1)
            return 1;
        bAnyPaused = bAnyPaused || pWnd->GetPlayState() == 2;
    }
    return bAnyPaused ? 2 : 3;
}

int CDlgShow::GetPlayState(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->GetPlayState() : 0;
}

int CDlgShow::GetOpenMode(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->GetOpenMode() : 0;
}

QString CDlgShow::GetSelWndFilePath() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetFilePath() : QString();
}

QString CDlgShow::GetWndFilePath(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->GetFilePath() : QString();
}

uint CDlgShow::GetFileTotalFrames() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetFileTotalFrames() : 0;
}

uint CDlgShow::GetFileTime() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetFileTime() : 0;
}

uint CDlgShow::GetFileTime(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->GetFileTime() : 0;
}

uint CDlgShow::GetPlayedTime() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetPlayedTime() : 0;
}

uint CDlgShow::GetPlayedTime(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->GetPlayedTime() : 0;
}

uint CDlgShow::GetCurrentFrameNum() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetCurrentFrameNum() : 0;
}

bool CDlgShow::IsFileRefCreated() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->IsFileRefCreated() : false;
}

bool CDlgShow::IsBackPlay() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->IsBackPlay() : false;
}

int CDlgShow::GetPlaySpeed() {
    if (!m_bSyncPlay) {
        CPlayWnd* pWnd = SelWnd();
        return pWnd ? pWnd->GetPlaySpeed() : 0;
    }
    // The group moves its speed together: the first running window speaks for it.
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (pWnd && (pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2))
            return pWnd->GetPlaySpeed();
    }
    return 0;
}

bool CDlgShow::SetThrowBFrame(int nNum) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetThrowBFrame(nNum) : false;
}

int CDlgShow::GetThrowBFrame() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetThrowBFrame() : -1;
}

bool CDlgShow::CheckKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->CheckKeyFramePos(nValue, nType, pOut) : false;
}

bool CDlgShow::CheckNextKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->CheckNextKeyFramePos(nValue, nType, pOut) : false;
}

bool CDlgShow::SetRepeatA(uint nFrame) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetRepeatA(nFrame) : false;
}

bool CDlgShow::SetRepeatB(uint nFrame) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetRepeatB(nFrame) : false;
}

bool CDlgShow::GetRepeatA(bool* pbSet, uint* pnFrame) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetRepeatA(pbSet, pnFrame) : false;
}

bool CDlgShow::GetRepeatB(bool* pbSet, uint* pnFrame) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetRepeatB(pbSet, pnFrame) : false;
}

bool CDlgShow::ClearRepeatAB() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->ClearRepeatAB() : false;
}

bool CDlgShow::IsHardDecode(int i) {
    return ValidIndex(i) ? m_pPlayWnd[i]->IsHardDecode() : false;
}

void CDlgShow::SetReconnectLostStreams(bool bOn) {
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (pWnd)
            pWnd->SetReconnectLostStreams(bOn);
    }
}

// ---- commands -----------------------------------------------------------------------------

bool CDlgShow::OpenFileInWnd(int i, OpenInfo* pInfo) {
    if (m_bSyncPlay || !ValidIndex(i) || !pInfo)
        return false;
    if (!m_pPlayWnd[i]->Open(pInfo))
        return false;
    return m_pPlayWnd[i]->Play(false);
}

bool CDlgShow::OpenFileInWndAsync(int i, OpenInfo* pInfo) {
    if (m_bSyncPlay || !ValidIndex(i) || !pInfo)
        return false;
    return m_pPlayWnd[i]->OpenAsync(pInfo);
}

bool CDlgShow::IsOpening(int i) {
    return ValidIndex(i) && m_pPlayWnd[i]->IsOpening();
}

bool CDlgShow::PlayOrPause() {
    bool bResult = false;
    switch (GetPlayState()) {
    case 2:
    case 3:
        bResult = SyncPlay();
        break;
    case 1:
        bResult = SyncPause();
        break;
    default:
        return false;
    }
    return bResult; // SyncPlay and SyncPause have told the controls
}

bool CDlgShow::SyncPlay() {
    bool bResult = false;
    if (m_bSyncPlay) {
        // Members parked at their end stay where they are.
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            CPlayWnd* pWnd = m_pPlayWnd[i];
            if (!pWnd || !m_bSyncWndActive[i])
                continue;
            const int nState = pWnd->GetPlayState();
            if (nState != 0 && nState != 1)
                bResult = pWnd->Play(false) || bResult;
        }
    } else {
        bResult = Play(m_nSelWndIndex);
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::Play(int i) {
    if (m_bSyncPlay || !ValidIndex(i))
        return false;
    const int nState = m_pPlayWnd[i]->GetPlayState();
    if (nState == 0 || nState == 1)
        return false;
    return m_pPlayWnd[i]->Play(false);
}

bool CDlgShow::SyncPause() {
    bool bResult = false;
    if (m_bSyncPlay) {
        for (CPlayWnd* pWnd : m_pPlayWnd) {
            if (pWnd && pWnd->GetPlayState() == 1)
                bResult = pWnd->Pause() || bResult;
        }
    } else {
        CPlayWnd* pWnd = SelWnd();
        bResult = pWnd && pWnd->Pause();
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::SyncStop() {
    if (!m_bSyncPlay) {
        const bool bResult = Stop(m_nSelWndIndex);
        emit Sig_UpdateCtrlStatus();
        return bResult;
    }
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (!pWnd) {
            qDebug("CDlgShow::SyncStop() return 1");
            continue;
        }
        const int nState = pWnd->GetPlayState();
        if (nState == 0 || nState == 3) {
            qDebug("CDlgShow::SyncStop() return 3");
            continue;
        }
        pWnd->Stop();
    }
    emit Sig_UpdateCtrlStatus();
    return true;
}

bool CDlgShow::Stop(int i) {
    if (m_bSyncPlay || !ValidIndex(i))
        return false;
    return m_pPlayWnd[i]->Stop();
}

bool CDlgShow::PauseAllToggle() {
    m_bAllPaused = !m_bAllPaused;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        CPlayWnd* pWnd = m_pPlayWnd[i];
        if (!pWnd)
            continue;
        if (m_bAllPaused) {
            if (pWnd->GetPlayState() == 1) {
                m_bPausedByToggle[i] = true;
                pWnd->Pause();
            }
        } else if (m_bPausedByToggle[i]) {
            pWnd->Play(false);
            m_bPausedByToggle[i] = false;
        }
    }
    emit Sig_UpdateCtrlStatus();
    return true;
}

bool CDlgShow::SetVolume(int i, bool bSound, uint nVolume, bool bShowInfo) {
    if (!ValidIndex(i))
        return false;
    return m_pPlayWnd[i]->SetVolume(bSound, static_cast<int>(std::min<uint>(nVolume, 200)), bShowInfo);
}

bool CDlgShow::FrameForward() {
    if (m_bSyncPlay)
        return false;
    CPlayWnd* pWnd = SelWnd();
    const bool bResult = pWnd && pWnd->FrameForward();
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::FrameBackward() {
    if (m_bSyncPlay)
        return false;
    CPlayWnd* pWnd = SelWnd();
    const bool bResult = pWnd && pWnd->FrameBackward();
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::Fast() {
    bool bResult = false;
    if (m_bSyncPlay) {
        // The group keeps one speed: every running window takes the step.
        for (CPlayWnd* pWnd : m_pPlayWnd) {
            if (pWnd && (pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2))
                bResult = pWnd->Fast() || bResult;
        }
    } else {
        CPlayWnd* pWnd = SelWnd();
        if (pWnd && (pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2))
            bResult = pWnd->Fast();
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::Slow() {
    bool bResult = false;
    if (m_bSyncPlay) {
        for (CPlayWnd* pWnd : m_pPlayWnd) {
            if (pWnd && (pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2))
                bResult = pWnd->Slow() || bResult;
        }
    } else {
        CPlayWnd* pWnd = SelWnd();
        if (pWnd && (pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2))
            bResult = pWnd->Slow();
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::SetFramePos(uint nFrame) {
    if (m_bSyncPlay)
        return false;
    CPlayWnd* pWnd = SelWnd();
    const bool bResult = pWnd && pWnd->SetFramePos(nFrame);
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::SetTimePos(uint nSeconds) {
    if (m_bSyncPlay)
        return false;
    CPlayWnd* pWnd = SelWnd();
    const bool bResult = pWnd && pWnd->SetTimePos(nSeconds);
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::SetTimePos(int i, uint nSeconds) {
    if (m_bSyncPlay || !ValidIndex(i))
        return false;
    return m_pPlayWnd[i]->SetTimePos(nSeconds);
}

bool CDlgShow::GoToStart() {
    // The group's position follows global time: one window may not jump alone.
    bool bResult = true;
    if (!m_bSyncPlay) {
        CPlayWnd* pWnd = SelWnd();
        bResult = pWnd && pWnd->GoToStart();
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::GoToEnd() {
    bool bResult = true;
    if (!m_bSyncPlay) {
        CPlayWnd* pWnd = SelWnd();
        bResult = pWnd && pWnd->GoToEnd();
    }
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::BackPlay(bool bBack) {
    if (m_bSyncPlay)
        return false;
    CPlayWnd* pWnd = SelWnd();
    const bool bResult = pWnd && pWnd->BackPlay(bBack);
    emit Sig_UpdateCtrlStatus();
    return bResult;
}

bool CDlgShow::CloseByFilePath(QString strPath) {
    const QString strWanted = ComparablePath(strPath);
    bool bAnyClosed = false;
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (!pWnd)
            continue;
        const int nState = pWnd->GetPlayState();
        if ((nState == 0 && !pWnd->IsOpening()) || nState == 4)
            continue;
        if (ComparablePath(pWnd->GetFilePath()) != strWanted)
            continue;
        if (m_bSyncPlay) {
            pWnd->SetSyncGroup(false);
            m_bSyncWndActive[pWnd->GetSubWndIndex()] = false;
        }
        pWnd->Close();
        bAnyClosed = true;
    }
    if (bAnyClosed)
        emit Sig_UpdateCtrlStatus();
    return true;
}

// ---- events ------------------------------------------------------------------------------

void CDlgShow::mousePressEvent(QMouseEvent* ev) {
    emit Sig_MousePressEvent(ev);
}

void CDlgShow::mouseMoveEvent(QMouseEvent* ev) {
    emit Sig_MouseMoveEvent(ev);
}

void CDlgShow::keyPressEvent(QKeyEvent* ev) {
    emit Sig_KeyPressEvent(ev);
}

void CDlgShow::paintEvent(QPaintEvent* ev) {
    Q_UNUSED(ev);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
    if (m_nPlayWndNum == 1)
        return;

    auto drawFrame = [&](int i, const QColor& clr) {
        CPlayWnd* pWnd = m_pPlayWnd[i];
        if (!pWnd)
            return;
        QPen pen(clr, 2);
        pen.setJoinStyle(Qt::MiterJoin);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(pWnd->geometry().adjusted(-1, -1, 1, 1));
    };
    for (int i = 0; i < m_nPlayWndNum; ++i)
        drawFrame(i, m_clrWndBorder);
    // The selection frame lies over the others.
    drawFrame(m_nSelWndIndex, m_clrSelWndBorder);
}

void CDlgShow::resizeEvent(QResizeEvent* ev) {
    QWidget::resizeEvent(ev);
    UpdateStartPage();
}

void CDlgShow::changeEvent(QEvent* ev) {
    if (ev->type() == QEvent::ActivationChange)
        emit Sig_TopLevelChanged();
    QWidget::changeEvent(ev);
}

void CDlgShow::SkinChanged() {
    // The stage repaints itself in On_Update, not here.
    const QColor clrWnd = SkinManager::GetResColor(kSkinResStage, 0);
    const QColor clrSel = SkinManager::GetResColor(kSkinResStage, 1);
    if (clrWnd.isValid())
        m_clrWndBorder = clrWnd;
    if (clrSel.isValid())
        m_clrSelWndBorder = clrSel;
}

// ---- fisheye views and enhancement of the selected window -----------------

bool CDlgShow::SRMove(int nCmd) {
    CPlayWnd* pWnd = SelActiveWnd();
    if (!pWnd || !pWnd->SRMove(nCmd))
        return false;
    // The prepared turn once more: a button step is two engine steps (the
    // automatic turn's toggle prepared a zero turn, which changes nothing).
    return pWnd->SRRotate();
}

bool CDlgShow::SetSRViewMode(int nMode) {
    CPlayWnd* pWnd = SelActiveWnd();
    if (!pWnd)
        return false;
    pWnd->SetSRViewMode(nMode);
    return true;
}

bool CDlgShow::SetAutoSpeed(int nSpeed) {
    CPlayWnd* pWnd = SelActiveWnd();
    if (!pWnd)
        return false;
    pWnd->SetAutoSpeed(nSpeed);
    return true;
}

int CDlgShow::GetSRViewMode() {
    CPlayWnd* pWnd = SelActiveWnd();
    return pWnd ? pWnd->GetSRViewMode() : -1;
}

bool CDlgShow::IsAutoTrans() {
    CPlayWnd* pWnd = SelActiveWnd();
    return pWnd ? pWnd->IsAutoTrans() : false;
}

bool CDlgShow::SetVIEModuConfig(int nModule, bool bEnable) {
    CPlayWnd* pWnd = SelActiveWnd();
    return pWnd ? pWnd->SetVIEModuConfig(nModule, bEnable) : false;
}

bool CDlgShow::SetVIEParam(TAVRIX_VIE_PARAM* pParam) {
    CPlayWnd* pWnd = SelActiveWnd();
    return pWnd ? pWnd->SetVIEParam(pParam) : false;
}

bool CDlgShow::GetVIEParam(TAVRIX_VIE_PARAM* pParam) {
    CPlayWnd* pWnd = SelActiveWnd();
    return pWnd ? pWnd->GetVIEParam(pParam) : false;
}
