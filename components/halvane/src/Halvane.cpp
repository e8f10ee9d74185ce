#include "Halvane.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>
#include <cstring>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "Tavrix.h"

namespace {
// Longest 8-bit path the engine is handed.
const int kPathBytes = 1040;
const int kSecretKeyBytes = 16;
// Indexes of the hot key table that the dialog answers.
const int kHotKeyPlayOrPause = 3;
const int kHotKeyCapPic = 14;
const int kHotKeyExit = 16;
// The panorama's own shape: all round (360 degrees) by the quarter turn from
// the lens's axis to its rim (90), 4:1.
const int kDisplayWidth = 1200;
const int kDisplayHeight = 300;
} // namespace

Halvane::Halvane(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("Halvane"));
    m_nProjection = TAVRIX_SR_EQUIRECT;
}

Halvane::~Halvane() {
    ReleasePort();
}

void Halvane::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);
    QVBoxLayout* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);
    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);
    // A native child: the engine draws into it by its window id, like a play
    // window's display.
    m_pDisplayWnd = new QWidget(this);
    m_pDisplayWnd->setObjectName(QStringLiteral("m_pDisplayWnd"));
    m_pDisplayWnd->setAttribute(Qt::WA_NativeWindow);
    // Narrower on a small screen, never wider than the screen it opens on.
    int nWidth = kDisplayWidth;
    const QScreen* pScreen = parentWidget() ? parentWidget()->screen() : QGuiApplication::primaryScreen();
    if (pScreen)
        nWidth = std::clamp(pScreen->availableGeometry().width() - 40, 320, kDisplayWidth) / 4 * 4;
    m_pDisplayWnd->setFixedSize(nWidth, nWidth * kDisplayHeight / kDisplayWidth);
    m_pDisplayWnd->setFocusPolicy(Qt::NoFocus);
    pRoot->addWidget(m_pDisplayWnd);
}

void Halvane::ReTranslateUI() {
    const QString strTitle = LanguageText(IDS_FEC_FisheyeExpansion_2, "Fisheye Expansion");
    setWindowTitle(strTitle);
    if (m_pLabTitle)
        m_pLabTitle->setText(strTitle);
}

void Halvane::ConnectSignals() {
    connect(m_pBtnClose, &QPushButton::clicked, this, &Halvane::On_Cancel);
}

bool Halvane::InitHalvane() {
    if (m_pDisplayWnd)
        return m_nPort >= 0;
    SetupUI();
    ConnectSignals();
    ReTranslateUI();
    int32_t nPort = -1;
    if (!Tavrix_GetPort(&nPort)) {
        qDebug("Halvane: Tavrix_GetPort Fail");
        return false;
    }
    m_nPort = nPort;
    return true;
}

bool Halvane::StartPlay(const QString& strFilePath, const QString& strCapPicFolder, int nCapPicSaveType,
                        int* pHotKeys, int nHotKeyNum, bool bEncrypted, const QString& strDecryptKey,
                        uint nPrivateDataMask) {
    if (m_nPort < 0 || m_bOpen || strFilePath.isEmpty())
        return false;
    m_strFilePath = strFilePath;
    m_strCapPicFolder = strCapPicFolder;
    m_nCapPicSaveType = nCapPicSaveType;
    if (pHotKeys) {
        m_nKeyPlayOrPause = nHotKeyNum > kHotKeyPlayOrPause ? pHotKeys[kHotKeyPlayOrPause] : 0;
        m_nKeyCapPic = nHotKeyNum > kHotKeyCapPic ? pHotKeys[kHotKeyCapPic] : 0;
        m_nKeyExit = nHotKeyNum > kHotKeyExit ? pHotKeys[kHotKeyExit] : 0;
    }

    if (!Tavrix_SetStreamOpenMode(m_nPort, TAVRIX_STREAM_FILE))
        return false;
    if (bEncrypted && !strDecryptKey.isEmpty()) {
        // The same 16 zero padded 8-bit bytes a play window hands over.
        char szNarrow[kSecretKeyBytes * 4 + 1] = {};
        char szKey[kSecretKeyBytes] = {};
        if (CPlayHelper::UnicodeToAscii(strDecryptKey.left(kSecretKeyBytes), szNarrow, int(sizeof(szNarrow))))
            std::memcpy(szKey, szNarrow, std::min<size_t>(std::strlen(szNarrow), sizeof(szKey)));
        Tavrix_SetSecretKey(m_nPort, 1, szKey, 128);
    }
    char szPath[kPathBytes] = {};
    if (!CPlayHelper::UnicodeToAscii(strFilePath, szPath, kPathBytes) || !Tavrix_OpenFile(m_nPort, szPath)) {
        qDebug("Halvane: Tavrix_OpenFile Fail GetLastError()=%u", Tavrix_GetLastError(m_nPort));
        Tavrix_CloseFile(m_nPort);
        return false;
    }
    m_bOpen = true;
    // Kinds the user switched off stay off here as well.
    for (uint nType = 1; nType <= 32; nType <<= 1)
        Tavrix_RenderPrivateData(m_nPort, int32_t(nType), (nPrivateDataMask & nType) != 0);
    // A panorama needs a fisheye picture: the engine refuses other files.
    if (!Tavrix_SR_SetViewKind(m_nPort, m_nProjection)) {
        qDebug("Halvane: Tavrix_SR_SetViewKind Fail GetLastError()=%u", Tavrix_GetLastError(m_nPort));
        ReleasePort();
        return false;
    }
    if (!Tavrix_Play(m_nPort, static_cast<uintptr_t>(m_pDisplayWnd->winId()))) {
        qDebug("Halvane: Tavrix_Play Fail GetLastError()=%u", Tavrix_GetLastError(m_nPort));
        ReleasePort();
        return false;
    }
    m_bPaused = false;
    return true;
}

bool Halvane::SetProjection(int nProjection) {
    if (nProjection != TAVRIX_SR_EQUIRECT && nProjection != TAVRIX_SR_CYLINDER)
        return false;
    if (m_bOpen && !Tavrix_SR_SetViewKind(m_nPort, nProjection))
        return false;
    m_nProjection = nProjection;
    return true;
}

bool Halvane::On_PlayOrPause() {
    if (!m_bOpen)
        return false;
    if (!Tavrix_Pause(m_nPort, m_bPaused ? 0 : 1))
        return false;
    m_bPaused = !m_bPaused;
    return true;
}

QString Halvane::CapturePanorama() {
    if (!m_bOpen)
        return QString();
    QDir dir(m_strCapPicFolder.isEmpty() ? QDir::tempPath() : m_strCapPicFolder);
    if (!dir.exists() && !dir.mkpath(QStringLiteral(".")))
        return QString();
    const QString strName =
        QStringLiteral("%1_pano_%2.%3")
            .arg(QFileInfo(m_strFilePath).completeBaseName(),
                 QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmsszzz")),
                 m_nCapPicSaveType == 0 ? QStringLiteral("bmp") : QStringLiteral("jpg"));
    const QString strPath = dir.absoluteFilePath(strName);
    char szPath[kPathBytes] = {};
    if (!CPlayHelper::UnicodeToAscii(QDir::toNativeSeparators(strPath), szPath, kPathBytes) ||
        !Tavrix_SR_Capture(m_nPort, m_nCapPicSaveType, szPath))
        return QString();
    return strPath;
}

void Halvane::keyPressEvent(QKeyEvent* pEvent) {
    const int nKey = int(pEvent->modifiers()) + pEvent->key();
    if (nKey != 0 && nKey == m_nKeyPlayOrPause) {
        On_PlayOrPause();
        return;
    }
    if (nKey != 0 && nKey == m_nKeyCapPic) {
        CapturePanorama();
        return;
    }
    if (nKey != 0 && nKey == m_nKeyExit) {
        On_Cancel();
        return;
    }
    CustomDialog::keyPressEvent(pEvent);
}

void Halvane::done(int nResult) {
    // The port goes before exec() returns: the caller lets its own windows play
    // on right after.
    ReleasePort();
    CustomDialog::done(nResult);
}

void Halvane::ReleasePort() {
    if (m_nPort < 0)
        return;
    if (m_bOpen) {
        Tavrix_Stop(m_nPort);
        Tavrix_CloseFile(m_nPort);
        m_bOpen = false;
    }
    Tavrix_FreePort(m_nPort);
    m_nPort = -1;
}
