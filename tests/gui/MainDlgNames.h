#pragma once

// Object names of the main dialog's widgets. The dialog must create each one and
// the skin must style each one by name, so a rename on either side shows in a test.

#include <QString>
#include <QStringList>

inline QStringList MainDlgWidgetNames() {
    return QString::fromLatin1(
               "m_pTitleBarContainer m_pLabMainWndTitle m_pBtnLanguage m_pBtnMainMenu m_pBtnTopMode "
               "m_pBtnMin m_pBtnMax m_pBtnExit m_pPlaylistCtrlContainer m_pListToolBarContainer "
               "m_pLabPlaylistTitle m_pBtnListAdd m_pBtnListDelete m_pBtnPlayMode m_pBtnSearch "
               "m_pLabelListBottomBorder m_pMainWndContainer m_pStatusBarContainer m_pLabPlayStatus "
               "m_pLabFileName m_pLabFrameIndex m_pBtnEagleEyeCtrl m_pBtnPanoPlayer m_pBtnPartZoom "
               "m_pBtnCapPic m_pBtnConCapPic m_pDlgShow m_pCtrlBarContainer m_pProgressBarContainer "
               "m_pLabCurPlayTime m_pPlayProgressSlider m_pLabWholeTime m_pCtrlBtnsContainer "
               "m_pBtnOpenFiles m_pBtnTools m_pBtnReversePlay m_pBtnSlow m_pBtnLastFrame "
               "m_pBtnPlayOrPause m_pBtnStop m_pBtnNextFrame m_pBtnFast m_pBtnSyncPlay m_pBtnMute "
               "m_pSliderSound m_pBtnLayout m_pBtnFullScreen")
        .split(QLatin1Char(' '));
}
