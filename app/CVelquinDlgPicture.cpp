// The main dialog: picture commands of the selected window and the colour dialog.

#include "CVelquinDlg.h"

#include <QAction>
#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CSkinButton.h"
#include "ColorAdjustDlg.h"
#include "LanguageKeys.h"

namespace {

const int kColorDlgWidth = 410;
const int kColorDlgHeight = 260;
// The dialog is never made smaller than its minimum by a size command.
const int kMinDlgWidth = 914;
const int kMinDlgHeight = 565;
// Margin of the stage's grid on both sides of the picture.
const int kStageMargin = 4;

// The order in which a window's private data choices are given to a newly opened file.
const uint kPrivateDataApplyOrder[] = {1, 2, 4, 32, 8, 16};

bool IsActive(int nState) {
    return nState == 1 || nState == 2;
}

} // namespace

// ---------------------------------------------------------------------------
// Commands of the selected window

bool CVelquinDlg::On_SwitchThrowFrame(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetThrowBFrame(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchMotionFlow(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetMotionFlow(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchImgRotate(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetRotateAngle(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchImgFlip(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    // The window's own bits decide, not the action's check mark: the menu may
    // be older than the window's state.
    const uint nBit = pAction->data().toUInt();
    return m_pDlgShow->SetFlip(m_pDlgShow->GetFlip() ^ nBit);
}

bool CVelquinDlg::On_SwitchImageScaleMode(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetImageScaleMode(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchPlayWndPrecentMode(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    if (m_pDlgShow->GetPlayWndNum() != 1 && !m_pDlgShow->IsMaxWnd())
        return false;
    CPlayWnd* pSelWnd = m_pDlgShow->GetPlayWnd(m_pDlgShow->GetSelWndIndex());
    if (!pSelWnd || !IsActive(pSelWnd->GetPlayState()))
        return false;
    int nSrcW = 0;
    int nSrcH = 0;
    if (!pSelWnd->GetSourceSize(&nSrcW, &nSrcH) || nSrcW == 0 || nSrcH == 0)
        return false;

    // The frame around the picture stays; the stage's share is sized to the picture.
    const int nExtraW = width() - (m_pDlgShow->width() - kStageMargin);
    const int nExtraH = height() - (m_pDlgShow->height() - kStageMargin);
    const int nMode = pAction->data().toInt();
    int nPicW = nSrcW;
    int nPicH = nSrcH;
    CPlayWnd::PercentSize(nMode, nSrcW, nSrcH, &nPicW, &nPicH); // other modes keep the source size
    const int nTargetW = std::max(nPicW + nExtraW, kMinDlgWidth);
    const int nTargetH = std::max(nPicH + nExtraH, kMinDlgHeight);

    QScreen* pScreen = QGuiApplication::primaryScreen();
    const QRect rcAvail = pScreen ? pScreen->availableGeometry() : QRect(0, 0, nTargetW, nTargetH);
    if (nTargetW >= rcAvail.width() && nTargetH >= rcAvail.height()) {
        if (!m_bMaximized)
            On_ShowMaximized();
    } else {
        if (m_bMaximized)
            On_ShowMaximized();
        QRect rcDlg;
        if (nTargetW >= rcAvail.width()) {
            const int nH = static_cast<int>(static_cast<qint64>(nTargetH) * rcAvail.width() / nTargetW);
            rcDlg = QRect(0, (rcAvail.height() - nH) / 2, rcAvail.width(), nH);
        } else if (nTargetH >= rcAvail.height()) {
            const int nW = static_cast<int>(static_cast<qint64>(nTargetW) * rcAvail.height() / nTargetH);
            rcDlg = QRect((rcAvail.width() - nW) / 2, 0, nW, rcAvail.height());
        } else {
            rcDlg = QRect((rcAvail.width() - nTargetW) / 2, (rcAvail.height() - nTargetH) / 2, nTargetW,
                          nTargetH);
        }
        setGeometry(rcDlg);
    }
    // The dialog's resize has laid the windows out already; the size mode
    // comes after it so that it is not replaced at once.
    return m_pDlgShow->SetDisplayPercentMode(nMode);
}

bool CVelquinDlg::On_ShowIVSInfo(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    const uint nBit = pAction->data().toUInt();
    const uint nMask = m_pDlgShow->GetPrivateDataMask();
    return m_pDlgShow->RenderPrivateData(m_pDlgShow->GetSelWndIndex(), nBit, (nMask & nBit) == 0);
}

bool CVelquinDlg::On_AdjustSelWndColor(int nBrightness, int nContrast, int nSaturation, int nHue) {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    m_pDlgShow->SetColor(nBrightness, nContrast, nSaturation, nHue);
    m_nBrightness = nBrightness;
    m_nContrast = nContrast;
    m_nSaturation = nSaturation;
    m_nHue = nHue;
    return true;
}

bool CVelquinDlg::On_ShowColorAdjustDlg() {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    ColorAdjustDlg dlg(this);
    dlg.Init();
    dlg.resize(kColorDlgWidth, kColorDlgHeight);
    connect(&dlg, &ColorAdjustDlg::Sig_AdjustColor, this, &CVelquinDlg::On_AdjustSelWndColor);
    dlg.SetColorValues(m_nBrightness, m_nContrast, m_nSaturation, m_nHue);
    dlg.exec();
    return true;
}

bool CVelquinDlg::On_PartZoom() {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    m_pDlgShow->SetPartZoom(!m_pDlgShow->IsPartZoom());
    On_UpdateCtrlsState();
    return true;
}

// ---------------------------------------------------------------------------
// A window that has just opened a file

void CVelquinDlg::ApplyPrivateDataMask(int nWnd) {
    CPlayWnd* pWnd = m_pDlgShow ? m_pDlgShow->GetPlayWnd(nWnd) : nullptr;
    if (!pWnd)
        return;
    // The window's choices survive a new file: the engine starts each with all on.
    const uint nMask = pWnd->GetPrivateDataMask();
    for (uint nBit : kPrivateDataApplyOrder)
        m_pDlgShow->RenderPrivateData(nWnd, nBit, (nMask & nBit) != 0);
}

void CVelquinDlg::ApplyRememberedColor(int nWnd) {
    CPlayWnd* pWnd = m_pDlgShow ? m_pDlgShow->GetPlayWnd(nWnd) : nullptr;
    if (pWnd)
        pWnd->SetColor(m_nBrightness, m_nContrast, m_nSaturation, m_nHue);
}
