#include "CWatermarkDlg.h"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 7;

quint32 Le32(const unsigned char* p) {
    return quint32(p[0]) | quint32(p[1]) << 8 | quint32(p[2]) << 16 | quint32(p[3]) << 24;
}

bool IsAsciiLetter(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The serial number: with the mark 'X', up to three prefix letters (stopping
// at the first byte that is none) and the number zero-filled so that both
// make nine characters; otherwise the plain number.
QString SerialText(const unsigned char* pRecord) {
    const int nNumber = static_cast<int>(Le32(pRecord + 4));
    QString strPrefix;
    if (pRecord[17] == 'X') {
        for (int i = 0; i < 3 && IsAsciiLetter(pRecord[18 + i]); ++i)
            strPrefix += QLatin1Char(static_cast<char>(pRecord[18 + i]));
    }
    if (strPrefix.isEmpty())
        return QString::asprintf("%d", nNumber);
    return strPrefix + QString::asprintf("%0*d", 9 - int(strPrefix.size()), nNumber);
}

} // namespace

CWatermarkDlg::CWatermarkDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("CWatermarkDlg"));
}

CWatermarkDlg::~CWatermarkDlg() {
    if (m_pTimer)
        m_pTimer->stop();
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool CWatermarkDlg::Init() {
    if (m_bInited)
        return true;
    SetupUI();
    ConnectSignals();
    ReTranslateUI();
    // Runs until the dialog ends; visibility decides whether a tick asks.
    m_pTimer = new QTimer(this);
    connect(m_pTimer, &QTimer::timeout, this, &CWatermarkDlg::On_WatermarkTimer);
    m_pTimer->start(kTimerMs);
    m_bInited = true;
    // Calls SkinChanged() at once.
    SkinManager::AddObserver(this);
    m_bObserving = true;
    return true;
}

void CWatermarkDlg::MakeRow(const char* szName, const char* szText, QLabel** ppName, QLabel** ppValue) {
    const QString strName = QString::fromLatin1(szName);
    *ppName = new QLabel(QString::fromLatin1(szText), this);
    (*ppName)->setObjectName(QStringLiteral("m_pLabelName_") + strName);
    *ppValue = new QLabel(this);
    (*ppValue)->setObjectName(QStringLiteral("m_pLabelValue_") + strName);
    (*ppValue)->setTextInteractionFlags(Qt::TextSelectableByMouse);
}

void CWatermarkDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(false);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);
    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    // The names are the fields' own and are not translated.
    MakeRow("Mac", "MAC", &m_pLabelName_Mac, &m_pLabelValue_Mac);
    MakeRow("DeviceSN", "DeviceSN", &m_pLabelName_DeviceSN, &m_pLabelValue_DeviceSN);
    MakeRow("Chan", "Chan", &m_pLabelName_Chan, &m_pLabelValue_Chan);
    MakeRow("GTime", "GTime", &m_pLabelName_GTime, &m_pLabelValue_GTime);
    MakeRow("DeviceInfo", "DeviceInfo", &m_pLabelName_DeviceInfo, &m_pLabelValue_DeviceInfo);
    MakeRow("DeviceType", "DeviceType", &m_pLabelName_DeviceType, &m_pLabelValue_DeviceType);

    auto* pGrid = new QGridLayout();
    pGrid->setContentsMargins(24, 16, 24, 16);
    pGrid->setHorizontalSpacing(16);
    pGrid->setVerticalSpacing(12);
    QLabel* const apRows[][2] = {{m_pLabelName_Mac, m_pLabelValue_Mac},
                                 {m_pLabelName_DeviceSN, m_pLabelValue_DeviceSN},
                                 {m_pLabelName_Chan, m_pLabelValue_Chan},
                                 {m_pLabelName_GTime, m_pLabelValue_GTime},
                                 {m_pLabelName_DeviceInfo, m_pLabelValue_DeviceInfo},
                                 {m_pLabelName_DeviceType, m_pLabelValue_DeviceType}};
    int nRow = 0;
    for (const auto& row : apRows) {
        pGrid->addWidget(row[0], nRow, 0);
        pGrid->addWidget(row[1], nRow, 1);
        ++nRow;
    }
    pGrid->setColumnStretch(1, 1);
    pRoot->addLayout(pGrid);
    pRoot->addStretch();
}

void CWatermarkDlg::ConnectSignals() {
    connect(m_pBtnClose, &QPushButton::clicked, this, &CWatermarkDlg::On_Cancel);
}

void CWatermarkDlg::ReTranslateUI() {
    if (!m_pLabTitle)
        return;
    QString strTitle;
    CLanguageParser::FindString(QStringLiteral(IDS_Global_Watermark), strTitle, QStringLiteral("Watermark"));
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
}

void CWatermarkDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
}

void CWatermarkDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

void CWatermarkDlg::On_WatermarkTimer() {
    if (isVisible())
        emit Sig_WatermarkTimer();
}

bool CWatermarkDlg::SetWatermarkInfo(const unsigned char* pRecord) {
    if (!pRecord || !m_pLabelValue_Mac)
        return false;
    const quint32 nTime = Le32(pRecord);
    if (nTime == 0) {
        for (QLabel* pValue : {m_pLabelValue_Mac, m_pLabelValue_DeviceSN, m_pLabelValue_Chan,
                               m_pLabelValue_GTime, m_pLabelValue_DeviceInfo, m_pLabelValue_DeviceType})
            pValue->clear();
        return true;
    }
    const int nYear = int(nTime >> 26) + 2000;
    const int nMonth = int(nTime >> 22) & 0xf;
    const int nDay = int(nTime >> 17) & 0x1f;
    const int nHour = int(nTime >> 12) & 0x1f;
    const int nMinute = int(nTime >> 6) & 0x3f;
    const int nSecond = int(nTime) & 0x3f;
    const unsigned char* pMac = pRecord + 8;
    m_pLabelValue_Mac->setText(QString::asprintf("%02x:%02x:%02x:%02x:%02x:%02x", pMac[0], pMac[1], pMac[2],
                                                 pMac[3], pMac[4], pMac[5]));
    m_pLabelValue_DeviceSN->setText(SerialText(pRecord));
    m_pLabelValue_Chan->setText(QString::asprintf("%d", pRecord[16]));
    // The day is left-justified in two places, as recorders show it.
    m_pLabelValue_GTime->setText(
        QString::asprintf("%04d-%02d-%-02d %02d:%02d:%02d", nYear, nMonth, nDay, nHour, nMinute, nSecond));
    m_pLabelValue_DeviceInfo->setText(QString::asprintf("%d", pRecord[15]));
    m_pLabelValue_DeviceType->setText(QString::asprintf("%d", pRecord[14]));
    return true;
}
