#include "CFileInfoDlg.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "FaFileInfo.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_FILE_INFO = 6;
const int THUMB_WIDTH = 128;
const int THUMB_HEIGHT = 72;
const int ROW_HEIGHT = 18;
const int NAME_WIDTH = 110;
// Widths the long texts are shortened to: the labels are fixed to them, so the
// text can be elided before the dialog is laid out.
const int HEAD_VALUE_WIDTH = 230;
const int VALUE_WIDTH = 250;

QLabel* MakeLabel(QWidget* pParent, const char* szName) {
    QLabel* pLabel = new QLabel(pParent);
    pLabel->setObjectName(QString::fromLatin1(szName));
    pLabel->setFixedHeight(ROW_HEIGHT);
    return pLabel;
}

// "yyyy/M/d HH:mm:ss", as the search bar of the playlist shows a moment.
QString MomentText(const TAVRIX_SYSTEM_TIME& st) {
    return QString::asprintf("%d/%d/%d %02d:%02d:%02d", st.nYear, st.nMonth, st.nDay, st.nHour, st.nMinute,
                             st.nSecond);
}

} // namespace

CFileInfoDlg::CFileInfoDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("CFileInfoDlg"));
}

CFileInfoDlg::~CFileInfoDlg() {
    SkinManager::DelObserver(this);
}

bool CFileInfoDlg::Init() {
    if (m_pLabelThumb)
        return true;
    SetupUI();
    ReTranslateUI();
    ConnectSignals();
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    else
        InitBkgs();
    return true;
}

QLabel* CFileInfoDlg::AddRow(QGridLayout* pGrid, QLabel** ppName, const char* szName, const char* szValue) {
    const int nRow = pGrid->rowCount();
    *ppName = MakeLabel(this, szName);
    (*ppName)->setFixedWidth(NAME_WIDTH);
    QLabel* pValue = MakeLabel(this, szValue);
    pValue->setFixedWidth(VALUE_WIDTH);
    pGrid->addWidget(*ppName, nRow, 0);
    pGrid->addWidget(pValue, nRow, 1);
    return pValue;
}

void CFileInfoDlg::SetupUI() {
    CustomDialog::SetupUI();
    QVBoxLayout* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 8);
    pRoot->setSpacing(6);
    AddTitleBar(pRoot, &m_pLabelTitle, &m_pBtnClose);

    QHBoxLayout* pHead = new QHBoxLayout();
    pHead->setContentsMargins(12, 0, 12, 0);
    pHead->setSpacing(10);
    m_pLabelThumb = new QLabel(this);
    m_pLabelThumb->setObjectName(QStringLiteral("m_pLabelThumb"));
    m_pLabelThumb->setFixedSize(THUMB_WIDTH, THUMB_HEIGHT);
    m_pLabelThumb->setAlignment(Qt::AlignCenter);
    pHead->addWidget(m_pLabelThumb);
    QVBoxLayout* pHeadTexts = new QVBoxLayout();
    pHeadTexts->setSpacing(4);
    m_pLabelValue_FileName = MakeLabel(this, "m_pLabelValue_FileName");
    m_pLabelValue_FileName->setFixedWidth(HEAD_VALUE_WIDTH);
    m_pLabelValue_FileTime = MakeLabel(this, "m_pLabelValue_FileTime");
    m_pLabelValue_FileDiskSize = MakeLabel(this, "m_pLabelValue_FileDiskSize");
    pHeadTexts->addWidget(m_pLabelValue_FileName);
    pHeadTexts->addWidget(m_pLabelValue_FileTime);
    pHeadTexts->addWidget(m_pLabelValue_FileDiskSize);
    pHeadTexts->addStretch(1);
    pHead->addLayout(pHeadTexts, 1);
    pRoot->addLayout(pHead);

    QGridLayout* pGrid = new QGridLayout();
    pGrid->setContentsMargins(12, 0, 12, 0);
    pGrid->setHorizontalSpacing(8);
    pGrid->setVerticalSpacing(1);
    m_pLabelValue_FileType =
        AddRow(pGrid, &m_pLabelName_FileType, "m_pLabelName_FileType", "m_pLabelValue_FileType");
    m_pLabelValue_Resolution =
        AddRow(pGrid, &m_pLabelName_Resolution, "m_pLabelName_Resolution", "m_pLabelValue_Resolution");
    m_pLabelValue_VideoType =
        AddRow(pGrid, &m_pLabelName_VideoType, "m_pLabelName_VideoType", "m_pLabelValue_VideoType");
    m_pLabelValue_FrameRate =
        AddRow(pGrid, &m_pLabelName_FrameRate, "m_pLabelName_FrameRate", "m_pLabelValue_FrameRate");
    m_pLabelValue_SoundType =
        AddRow(pGrid, &m_pLabelName_SoundType, "m_pLabelName_SoundType", "m_pLabelValue_SoundType");
    m_pLabelValue_FilePath =
        AddRow(pGrid, &m_pLabelName_FilePath, "m_pLabelName_FilePath", "m_pLabelValue_FilePath");
    m_pLabelValue_BitRate =
        AddRow(pGrid, &m_pLabelName_BitRate, "m_pLabelName_BitRate", "m_pLabelValue_BitRate");
    m_pLabelValue_GlobalTime =
        AddRow(pGrid, &m_pLabelName_GlobalTime, "m_pLabelName_GlobalTime", "m_pLabelValue_GlobalTime");
    m_pLabelValue_Encrypted =
        AddRow(pGrid, &m_pLabelName_Encrypted, "m_pLabelName_Encrypted", "m_pLabelValue_Encrypted");
    m_pLabelValue_Damaged =
        AddRow(pGrid, &m_pLabelName_Damaged, "m_pLabelName_Damaged", "m_pLabelValue_Damaged");
    pRoot->addLayout(pGrid);
    pRoot->addStretch(1);
}

void CFileInfoDlg::ReTranslateUI() {
    const QString strTitle = LanguageText(IDS_Global_FileInfo, "File Info");
    setWindowTitle(strTitle);
    m_pLabelTitle->setText(strTitle);
    m_pLabelName_FileType->setText(LanguageText(IDS_FileInfoDlg_FileType, "File Type"));
    m_pLabelName_Resolution->setText(LanguageText(IDS_FileInfoDlg_Resolution, "Resolution"));
    m_pLabelName_VideoType->setText(LanguageText(IDS_FileInfoDlg_VideoFormat, "Video Format"));
    m_pLabelName_FrameRate->setText(LanguageText(IDS_FileInfoDlg_VideoFrameRate, "Frame Rate"));
    m_pLabelName_SoundType->setText(LanguageText(IDS_FileInfoDlg_AudioFormat, "Audio Format"));
    m_pLabelName_FilePath->setText(LanguageText(IDS_FileInfoDlg_FilePath, "File Path"));
    m_pLabelName_BitRate->setText(LanguageText(IDS_FileInfoDlg_BitRate, "Bit Rate"));
    m_pLabelName_GlobalTime->setText(LanguageText(IDS_Global_GlobalTime, "Global Time"));
    m_pLabelName_Encrypted->setText(LanguageText(IDS_FileInfoDlg_Encrypted, "Encrypted"));
    m_pLabelName_Damaged->setText(LanguageText(IDS_FileInfoDlg_DamagedPictures, "Damaged Pictures"));
}

void CFileInfoDlg::InitBkgs() {
    setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(SKIN_RES_FILE_INFO)));
}

void CFileInfoDlg::ConnectSignals() {
    connect(m_pBtnClose, &QPushButton::clicked, this, &CFileInfoDlg::On_Exit);
}

void CFileInfoDlg::SkinChanged() {
    if (m_pLabelThumb)
        InitBkgs();
}

bool CFileInfoDlg::SetFileInfo(StreamInfo* pInfo, unsigned nFileTime, QPixmap* pThumb) {
    if (!pInfo || !m_pLabelThumb)
        return false;
    const QString strPath = pInfo->strFilePath;
    _FA_FILE_INFO_ stFa{};
    if (!CPlayHelper::AnalyzeFileInfo(strPath, &stFa))
        return false;

    const QString strName = CPlayHelper::GetFileNameFormPath(strPath);
    unsigned long long nSize = 0;
    CPlayHelper::GetFileDiskSize(strPath, nSize);

    CPlayHelper::SetTextLabelElidedText(m_pLabelValue_FileName, strName, Qt::ElideRight, HEAD_VALUE_WIDTH);
    m_pLabelValue_FileName->setToolTip(strName);
    m_pLabelValue_FileTime->setText(FileTimeText(nFileTime));
    m_pLabelValue_FileDiskSize->setText(DiskSizeText(nSize));
    // The container by the player's finer codes: an MP4 is not a 3GPP file.
    m_pLabelValue_FileType->setText(SystemFormatText(stFa.nSystemFormatEx));
    m_pLabelValue_Resolution->setText(QString::asprintf("%d * %d", pInfo->nWidth, pInfo->nHeight));
    m_pLabelValue_VideoType->setText(VideoFormatText(stFa.nVideoFormat));
    m_pLabelValue_FrameRate->setText(FrameRateText(pInfo->nFrameRate));
    m_pLabelValue_SoundType->setText(AudioFormatText(stFa.nAudioFormat));
    CPlayHelper::SetTextLabelElidedText(m_pLabelValue_FilePath, strPath, Qt::ElideMiddle, VALUE_WIDTH);
    m_pLabelValue_FilePath->setToolTip(strPath);
    if (pThumb && !pThumb->isNull())
        m_pLabelThumb->setPixmap(
            pThumb->scaled(THUMB_WIDTH, THUMB_HEIGHT, Qt::KeepAspectRatio, Qt::SmoothTransformation));

    if (stFa.nBitRate > 0)
        m_pLabelValue_BitRate->setText(QStringLiteral("%1 kbps").arg((stFa.nBitRate + 500) / 1000));
    FILE_INFO_SYNC stRange{};
    if (CPlayHelper::GetFileGlobalTimeRange(strPath, &stRange)) {
        const QString strRange =
            MomentText(stRange.stBegin) + QStringLiteral(" - ") + MomentText(stRange.stEnd);
        m_pLabelValue_GlobalTime->setText(strRange);
        m_pLabelValue_GlobalTime->setToolTip(strRange);
    }
    bool bEncrypted = false;
    if (CPlayHelper::IsEncryption(strPath, &bEncrypted))
        m_pLabelValue_Encrypted->setText(bEncrypted ? LanguageText(IDS_Global_Yes, "Yes")
                                                    : LanguageText(IDS_Global_No, "No"));
    return true;
}

void CFileInfoDlg::SetDamagedFrames(unsigned nFrames) {
    if (m_pLabelValue_Damaged)
        m_pLabelValue_Damaged->setText(QString::number(nFrames));
}

QString CFileInfoDlg::SystemFormatText(uint32_t nCode) {
    switch (nCode) {
    case FA_SYSTEM_NONE:
        return QStringLiteral("no");
    case 1:
        return QStringLiteral("qor");
    case FA_SYSTEM_PS:
        return QStringLiteral("PS");
    case FA_SYSTEM_TS:
        return QStringLiteral("TS");
    case FA_SYSTEM_RTP:
        return QStringLiteral("RTP");
    case FA_SYSTEM_ISO_MEDIA:
        return QStringLiteral("3GPP");
    case FA_SYSTEM_MATROSKA:
        return QStringLiteral("MKV");
    case FA_SYSTEM_AVI:
        return QStringLiteral("AVI");
    case FA_SYSTEM_FLV:
        return QStringLiteral("FLV");
    case FA_SYSTEM_MP4:
        return QStringLiteral("MP4");
    case FA_SYSTEM_MOV:
        return QStringLiteral("MOV");
    default:
        return QString();
    }
}

QString CFileInfoDlg::VideoFormatText(uint32_t nCode) {
    switch (nCode) {
    case FA_VIDEO_NONE:
        return QStringLiteral("No");
    case FA_VIDEO_H264:
        return QStringLiteral("H264");
    case FA_VIDEO_MPEG2:
        return QStringLiteral("MPEG2");
    case FA_VIDEO_MPEG4:
        return QStringLiteral("MPEG4");
    case FA_VIDEO_MJPEG:
        return QStringLiteral("MJPEG");
    case FA_VIDEO_H265:
        return QStringLiteral("H265");
    case 6:
        return QStringLiteral("SVAC");
    case 0x100:
        return QStringLiteral("AVC264");
    default:
        return QString();
    }
}

QString CFileInfoDlg::AudioFormatText(uint32_t nCode) {
    switch (nCode) {
    case FA_AUDIO_NONE:
        return QStringLiteral("No");
    case FA_AUDIO_MPEG:
        return QStringLiteral("MPEG");
    case FA_AUDIO_AAC:
        return QStringLiteral("AAC");
    case FA_AUDIO_AMR:
        return QStringLiteral("AMR");
    case FA_AUDIO_PCM:
        return QStringLiteral("PCM");
    case FA_AUDIO_G711_U:
        return QStringLiteral("G711_U");
    case FA_AUDIO_G711_A:
        return QStringLiteral("G711_A");
    case FA_AUDIO_G722:
        return QStringLiteral("G722");
    case FA_AUDIO_G726:
        return QStringLiteral("G726");
    default:
        return QString();
    }
}

QString CFileInfoDlg::DiskSizeText(unsigned long long nBytes) {
    if (nBytes >= 1048576ull)
        return QString::asprintf("%.2f MB", double(nBytes) / 1048576.0);
    if (nBytes >= 1024ull)
        return QString::asprintf("%.2f KB", double(nBytes) / 1024.0);
    return QString::asprintf("%d B", int(nBytes));
}

QString CFileInfoDlg::FileTimeText(unsigned nSeconds) {
    return QString::asprintf("%02d:%02d:%02d", int(nSeconds / 3600), int(nSeconds % 3600 / 60),
                             int(nSeconds % 60));
}

QString CFileInfoDlg::FrameRateText(int nFrameRate) {
    if (nFrameRate >= 1)
        return QString::number(nFrameRate);
    return LanguageText(IDS_FileInfoDlg_FrameRateLessThan1, "Frame rate is less than 1 fps.");
}
