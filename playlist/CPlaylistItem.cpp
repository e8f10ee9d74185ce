#include "CPlaylistItem.h"

#include <QEnterEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QListWidgetItem>
#include <QPainter>
#include <QPixmapCache>
#include <QPushButton>
#include <QSpacerItem>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_ROW = 13;
const int ROW_WIDTH = 240;
const int ROW_HEIGHT = 75;

// A label's style sheet is set only when it changes: setting it re-polishes the
// label, and rows are refreshed for every result of the thumbnail thread.
void SetStyleIfChanged(QWidget* pWidget, const QString& strStyle) {
    if (pWidget->styleSheet() != strStyle)
        pWidget->setStyleSheet(strStyle);
}

// A skin picture by its resource path. Rows are refreshed for every result of the
// thumbnail thread, so the rendered pictures are kept in Qt's pixmap cache instead
// of being parsed again each time; a new skin has new paths.
QPixmap SkinPicture(const QString& strPath) {
    QPixmap pix;
    if (strPath.isEmpty() || QPixmapCache::find(strPath, &pix))
        return pix;
    if (pix.load(strPath))
        QPixmapCache::insert(strPath, pix);
    return pix;
}

} // namespace

CPlaylistItem::CPlaylistItem(QWidget* pParent) : QWidget(pParent) {
    setObjectName(QStringLiteral("CPlaylistItem"));
    resize(ROW_WIDTH, ROW_HEIGHT);
    setFixedHeight(ROW_HEIGHT);
    // A row's widgets take no keyboard: keys go to the main dialog's hot keys.
    setFocusPolicy(Qt::NoFocus);
    BuildWidgets();

    connect(this, &CPlaylistItem::Sig_UpdateUI, this, &CPlaylistItem::On_UpdateUI);
    connect(this, &CPlaylistItem::Sig_UpdatePlayProgress, this, qOverload<>(&QWidget::update));
    connect(m_pBtnRemoveItem, &QPushButton::clicked, this, &CPlaylistItem::On_DeleteBtnClick);

    On_UpdateUI();
    // Joining delivers the current skin at once, which refreshes the row again.
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
}

CPlaylistItem::~CPlaylistItem() {
    SkinManager::DelObserver(this);
}

void CPlaylistItem::BuildWidgets() {
    m_pLabFileSize = new QLabel(this);
    m_pLabFileSize->setObjectName(QStringLiteral("m_pLabFileSize"));
    m_pLabFirstFrameClip = new QLabel(this);
    m_pLabFirstFrameClip->setObjectName(QStringLiteral("m_pLabFirstFrameClip"));
    m_pLabFirstFrameClip->setFixedSize(70, 54);
    m_pLabFirstFrameClip->setAlignment(Qt::AlignCenter);
    m_pLabFileName = new QLabel(this);
    m_pLabFileName->setObjectName(QStringLiteral("m_pLabFileName"));
    m_pLabFileName->setFixedWidth(120);
    m_pLabFileTime = new QLabel(this);
    m_pLabFileTime->setObjectName(QStringLiteral("m_pLabFileTime"));
    m_pBtnRemoveItem = new QPushButton(this);
    m_pBtnRemoveItem->setObjectName(QStringLiteral("m_pBtnRemoveItem"));
    m_pBtnRemoveItem->setFixedSize(16, 16);
    m_pBtnRemoveItem->setFocusPolicy(Qt::NoFocus);
    m_pBtnRemoveItem->hide();

    QGridLayout* pLayout = new QGridLayout(this);
    pLayout->setContentsMargins(10, 10, 20, 10);
    pLayout->setHorizontalSpacing(5);
    pLayout->setVerticalSpacing(1);
    pLayout->addWidget(m_pLabFirstFrameClip, 0, 0, 3, 1);
    pLayout->addWidget(m_pLabFileName, 0, 1);
    pLayout->addWidget(m_pLabFileTime, 1, 1);
    pLayout->addWidget(m_pLabFileSize, 2, 1);
    pLayout->addItem(new QSpacerItem(0, 0, QSizePolicy::Expanding, QSizePolicy::Minimum), 1, 2);
    pLayout->addWidget(m_pBtnRemoveItem, 1, 3);
}

void CPlaylistItem::SetListItem(QListWidgetItem* pListItem) {
    m_pListItem = pListItem;
}

bool CPlaylistItem::SetFileInfo(const Item_FileInfo* pFileInfo) {
    if (!pFileInfo)
        return false;
    m_stFileInfo = *pFileInfo;
    emit Sig_UpdateUI();
    return true;
}

bool CPlaylistItem::GetFileInfo(Item_FileInfo* pFileInfo) const {
    if (!pFileInfo)
        return false;
    *pFileInfo = m_stFileInfo;
    return true;
}

bool CPlaylistItem::SetThumbnail(QImage* pImage) {
    if (pImage)
        m_imgThumbnail.swap(*pImage);
    else
        m_imgThumbnail = QImage();
    emit Sig_UpdateUI();
    return true;
}

QPixmap* CPlaylistItem::GetShownPixmap() const {
    if (!m_pixShown.isNull())
        return new QPixmap(m_pixShown);
    if (!m_pixDefault.isNull())
        return new QPixmap(m_pixDefault);
    return nullptr;
}

bool CPlaylistItem::SetDecryptKey(QString strDecryptKey) {
    m_stFileInfo.strDecryptKey = strDecryptKey;
    On_UpdateUI();
    return true;
}

bool CPlaylistItem::GetGlobalTime(FILE_INFO_SYNC* pGlobalTime) const {
    if (!pGlobalTime || m_stFileInfo.bInvalid || m_stFileInfo.nMediaType == 2)
        return false;
    if (!CPlayHelper::IsSystemTimeValid(&m_stFileInfo.stGlobalTime.stBegin) ||
        !CPlayHelper::IsSystemTimeValid(&m_stFileInfo.stGlobalTime.stEnd))
        return false;
    *pGlobalTime = m_stFileInfo.stGlobalTime;
    return true;
}

bool CPlaylistItem::SetPlayProgress(const PlayProgress* pProgress) {
    if (!pProgress)
        return false;
    m_nPlayedTime = pProgress->nPlayedTime;
    m_nTotalTime = pProgress->nTotalTime;
    m_bInPlay = m_nPlayedTime != 0;
    if (m_bInPlay)
        m_pLabFileTime->setText(FormatSeconds(m_nPlayedTime) + QLatin1Char('/') +
                                FormatSeconds(m_nTotalTime));
    else
        m_pLabFileTime->setText(FormatSeconds(m_stFileInfo.nFileTime));
    emit Sig_UpdatePlayProgress();
    return true;
}

QString CPlaylistItem::GetFileTimeText() const {
    return m_pLabFileTime->text();
}

QString CPlaylistItem::GetFileSizeText() const {
    return m_pLabFileSize->text();
}

QString CPlaylistItem::FormatSeconds(uint32_t nSeconds) {
    return QString::asprintf("%02u:%02u:%02u", nSeconds / 3600, (nSeconds % 3600) / 60, nSeconds % 60);
}

QString CPlaylistItem::FormatFileSize(uint64_t nSize) {
    const double dGB = 1073741824.0;
    const double dMB = 1048576.0;
    const double dKB = 1024.0;
    if (nSize == 0)
        return QString();
    if (nSize >= 1073741824ULL)
        return QString::asprintf("%.2f GB", double(nSize) / dGB);
    if (nSize >= 1048576ULL)
        return QString::asprintf("%.2f MB", double(nSize) / dMB);
    if (nSize >= 1024ULL)
        return QString::asprintf("%.2f KB", double(nSize) / dKB);
    return QString::asprintf("%d B", int(nSize));
}

void CPlaylistItem::On_UpdateUI() {
    const QString strName = m_stFileInfo.nMediaType == 2 ? m_stFileInfo.strFilePath
                                                         : QFileInfo(m_stFileInfo.strFilePath).fileName();
    CPlayHelper::SetTextLabelElidedText(m_pLabFileName, strName);
    setToolTip(strName);

    if (!m_bInPlay)
        m_pLabFileTime->setText(FormatSeconds(m_stFileInfo.nFileTime));
    m_pLabFileSize->setText(FormatFileSize(m_stFileInfo.nFileSize));

    const bool bInvalid = m_stFileInfo.bInvalid;
    SetStyleIfChanged(m_pLabFileName, bInvalid ? m_strStyleNameInvalid : m_strStyleName);
    SetStyleIfChanged(m_pLabFileTime, bInvalid ? m_strStyleInfoInvalid : m_strStyleInfo);
    SetStyleIfChanged(m_pLabFileSize, bInvalid ? m_strStyleInfoInvalid : m_strStyleInfo);

    if (m_pixDefault.isNull())
        m_pixDefault = SkinPicture(m_strPixDefault);
    ComposeShownPixmap();
    m_pLabFirstFrameClip->setPixmap(m_pixShown);
}

void CPlaylistItem::ComposeShownPixmap() {
    if (m_stFileInfo.bInvalid) {
        m_pixShown = m_pixDefault;
        if (m_pixShown.isNull())
            return;
        QString strInvalid;
        CLanguageParser::FindString(QStringLiteral(IDS_Global_Invalid), strInvalid,
                                    QStringLiteral("Invalid"));
        QPainter painter(&m_pixShown);
        painter.setPen(m_clrInvalidText);
        painter.drawText(m_pixShown.rect(), Qt::AlignCenter, strInvalid);
        return;
    }
    if (!m_imgThumbnail.isNull()) {
        m_pixShown = SkinPicture(m_strPixFrame);
        if (m_pixShown.isNull()) {
            // Without a frame picture the thumbnail still shows, on a clear ground.
            m_pixShown = QPixmap(68, 52);
            m_pixShown.fill(Qt::transparent);
        }
        QPainter painter(&m_pixShown);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        painter.drawImage(QRect(2, 2, 64, 48), m_imgThumbnail);
        if (m_stFileInfo.bEncrypted && !m_strPixLockKey.isEmpty())
            painter.drawPixmap(QRect(1, 1, 60, 50), SkinPicture(m_strPixLockKey));
        return;
    }
    m_pixShown = m_pixDefault;
    if (m_stFileInfo.bEncrypted && !m_pixShown.isNull()) {
        const QString& strLock = m_stFileInfo.strDecryptKey.isEmpty() ? m_strPixLockNoKey : m_strPixLockKey;
        const QPixmap pixLock = SkinPicture(strLock);
        if (pixLock.isNull())
            return;
        QPainter painter(&m_pixShown);
        painter.drawPixmap(0, 0, pixLock);
    }
}

void CPlaylistItem::On_DeleteBtnClick() {
    m_pBtnRemoveItem->hide();
    emit Sig_DeleteHoverItem(this);
}

void CPlaylistItem::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_ROW);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
    m_strPixDefault = SkinManager::GetOtherResPath(SKIN_RES_ROW, 0);
    m_strPixFrame = SkinManager::GetOtherResPath(SKIN_RES_ROW, 1);
    m_strPixLockNoKey = SkinManager::GetOtherResPath(SKIN_RES_ROW, 2);
    m_strPixLockKey = SkinManager::GetOtherResPath(SKIN_RES_ROW, 3);
    m_strStyleName = SkinManager::GetResStyleSheet(SKIN_RES_ROW, 4);
    m_strStyleNameInvalid = SkinManager::GetResStyleSheet(SKIN_RES_ROW, 5);
    m_strStyleInfo = SkinManager::GetResStyleSheet(SKIN_RES_ROW, 6);
    m_strStyleInfoInvalid = SkinManager::GetResStyleSheet(SKIN_RES_ROW, 7);
    m_clrInvalidText = SkinManager::GetResColor(SKIN_RES_ROW, 8);
    m_clrProgressBack = SkinManager::GetResColor(SKIN_RES_ROW, 9);
    m_clrProgressFill = SkinManager::GetResColor(SKIN_RES_ROW, 10);
    m_clrSelProgressBack = SkinManager::GetResColor(SKIN_RES_ROW, 11);
    m_clrSelProgressFill = SkinManager::GetResColor(SKIN_RES_ROW, 12);
    // A new skin may bring a new blank picture.
    m_pixDefault = QPixmap();
    On_UpdateUI();
    update();
}

void CPlaylistItem::paintEvent(QPaintEvent* ev) {
    const bool bSelected = m_pListItem && m_pListItem->isSelected();
    if (m_nTotalTime == 0 || m_nPlayedTime > m_nTotalTime) {
        QWidget::paintEvent(ev);
        return;
    }
    QRect rcBar = rect();
    rcBar.setTop(2);
    rcBar.setBottom(rcBar.bottom() - 5);
    QPainter painter(this);
    painter.fillRect(rcBar, bSelected ? m_clrSelProgressBack : m_clrProgressBack);
    const int nFill = int(int64_t(rcBar.width()) * m_nPlayedTime / m_nTotalTime);
    if (nFill <= 0)
        return;
    rcBar.setWidth(nFill);
    painter.fillRect(rcBar, bSelected ? m_clrSelProgressFill : m_clrProgressFill);
}

void CPlaylistItem::enterEvent(QEnterEvent* ev) {
    m_pBtnRemoveItem->show();
    QWidget::enterEvent(ev);
}

void CPlaylistItem::leaveEvent(QEvent* ev) {
    m_pBtnRemoveItem->hide();
    QWidget::leaveEvent(ev);
}
