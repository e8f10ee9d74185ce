#include "CPlaylist.h"

#include <QApplication>
#include <QDir>
#include <QDrag>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QMutexLocker>
#include <QPainter>
#include <QScrollBar>
#include <QUrl>

#include <memory>

#include "CPlayHelper.h"
#include "OpenInfo.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_LIST = 14;
const int LIST_WIDTH = 250;
const int ROW_HINT_HEIGHT = 70;
const int DRAG_ROW_WIDTH = 242;
const int DRAG_ROW_HEIGHT = 69;
// Marks the data of a drag that started in a playlist; the value names the list.
const char* const DRAG_MARK_FORMAT = "application/x-velquin-playlist-drag";

// Paths are kept with forward slashes whatever the platform writes, so that
// C:\a\b.mp4 and C:/a/b.mp4 are one entry.
QString NormalisePath(const QString& strPath) {
    QString strOut = QDir::fromNativeSeparators(strPath);
    strOut.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return strOut;
}

QByteArray DragMarkOf(const CPlaylist* pList) {
    return QByteArray::number(quintptr(pList));
}

// ---- name search ---------------------------------------------------------------

// Position of pattern in text from nStart, or -1. Letter case does not count and
// "?" stands for exactly one character.
int FindNoCase(const QString& strText, const QString& strPattern, int nStart) {
    if (nStart < 0 || nStart >= strText.length())
        return -1;
    int i = nStart;
    int j = 0;
    while (i < strText.length() && j < strPattern.length()) {
        const QChar ch = strText.at(i);
        const QChar pat = strPattern.at(j);
        if (ch == pat.toUpper() || ch == pat.toLower() || pat == QLatin1Char('?')) {
            ++i;
            ++j;
        } else {
            i = i - j + 1;
            j = 0;
        }
    }
    return j == strPattern.length() ? i - strPattern.length() : -1;
}

// Runs of spaces and of stars shrink to one; stars and spaces at either end go.
QString NormaliseKey(const QString& strKey) {
    if (strKey.isEmpty())
        return QString();
    const QStringList lstWords = strKey.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (lstWords.isEmpty())
        return QString();
    const QStringList lstParts = lstWords.join(QLatin1Char(' ')).split(QLatin1Char('*'), Qt::SkipEmptyParts);
    if (lstParts.isEmpty())
        return QStringLiteral("*");
    return lstParts.join(QLatin1Char('*'));
}

// A token without a star is a substring; with stars its parts must occur in order,
// without overlap.
bool MatchToken(const QString& strName, const QString& strToken) {
    if (strName.isEmpty() || strToken.isEmpty())
        return false;
    if (!strToken.contains(QLatin1Char('*')))
        return FindNoCase(strName, strToken, 0) >= 0;
    const QStringList lstParts = strToken.split(QLatin1Char('*'), Qt::SkipEmptyParts);
    int nFrom = 0;
    for (const QString& strPart : lstParts) {
        const int nPos = FindNoCase(strName, strPart, nFrom);
        if (nPos < 0)
            return false;
        nFrom = nPos + strPart.length();
    }
    return true;
}

} // namespace

CPlaylist::CPlaylist(QWidget* pParent) : QListWidget(pParent), m_rowDrag(this) {
    setObjectName(QStringLiteral("CPlaylist"));
    setFixedWidth(LIST_WIDTH);
    setAcceptDrops(true);
    setDragEnabled(true);
    setMouseTracking(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDragDropOverwriteMode(false);
    setDropIndicatorShown(false);
    setSortingEnabled(false);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    // A click selects a row without taking the keyboard: keys must reach the
    // main dialog's hot keys (space, arrows) whatever was clicked last.
    setFocusPolicy(Qt::NoFocus);
    verticalScrollBar()->setFocusPolicy(Qt::NoFocus);
    horizontalScrollBar()->setFocusPolicy(Qt::NoFocus);
    viewport()->setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setContextMenuPolicy(Qt::NoContextMenu);
    m_rowDrag.hide();

    connect(this, &QListWidget::itemDoubleClicked, this, &CPlaylist::On_ItemDoubleClick);
    // Queued: the result is read on this thread while the worker waits for the
    // hand-over, so the worker never holds GUI-thread work.
    connect(&m_thumbThread, &GetThumbThread::Sig_FileInfoReady, this, &CPlaylist::On_FileInfoUpdate,
            Qt::QueuedConnection);

    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
}

CPlaylist::~CPlaylist() {
    // The rows go first; the thread stops in its own destructor. The list goes
    // down with its owner, whose slots may no longer be there to hear of the
    // closing rows.
    blockSignals(true);
    ClearAll();
    SkinManager::DelObserver(this);
}

// ---- adding ---------------------------------------------------------------------

bool CPlaylist::AddFile(OpenInfo* pOpenInfo) {
    if (count() >= MAX_ROWS || !pOpenInfo || pOpenInfo->nMediaType == 2)
        return false;
    const QString strPath = NormalisePath(pOpenInfo->strFilePath);
    if (strPath.isEmpty())
        return false;
    if (GetRowByPath(strPath) >= 0)
        return true;

    Item_FileInfo stFileInfo;
    stFileInfo.nMediaType = 0;
    stFileInfo.strFilePath = strPath;
    stFileInfo.strDecryptKey = pOpenInfo->strDecryptKey;
    if (!m_thumbThread.isRunning())
        m_thumbThread.start(QThread::InheritPriority);
    m_thumbThread.AddFile(strPath, pOpenInfo->strDecryptKey);
    return AddRow(&stFileInfo);
}

bool CPlaylist::AddUrl(OpenInfo* pOpenInfo) {
    if (count() >= MAX_ROWS || !pOpenInfo || pOpenInfo->nMediaType != 2)
        return false;
    for (int nRow = 0; nRow < count(); ++nRow) {
        const CPlaylistItem* pRow = GetRowWidget(nRow);
        if (pRow && QString::compare(pRow->GetFilePath(), pOpenInfo->strFilePath) == 0)
            return true;
    }
    Item_FileInfo stFileInfo;
    stFileInfo.nMediaType = 2;
    stFileInfo.strFilePath = pOpenInfo->strFilePath;
    stFileInfo.nTransmitMode = pOpenInfo->nTransmitMode;
    stFileInfo.nPort = pOpenInfo->nPort;
    return AddRow(&stFileInfo);
}

bool CPlaylist::AddRow(Item_FileInfo* pFileInfo) {
    if (count() >= MAX_ROWS || !pFileInfo || pFileInfo->strFilePath.isEmpty())
        return false;
    QListWidgetItem* pItem = new QListWidgetItem();
    addItem(pItem);
    CPlaylistItem* pRow = new CPlaylistItem(this);
    pRow->SetListItem(pItem);
    pRow->setAcceptDrops(true);
    setItemWidget(pItem, pRow);
    pRow->SetFileInfo(pFileInfo);
    connect(pRow, &CPlaylistItem::Sig_DeleteHoverItem, this, &CPlaylist::On_DeleteHoverItem);
    pItem->setSizeHint(QSize(width(), ROW_HINT_HEIGHT));
    return true;
}

// ---- removing -------------------------------------------------------------------

bool CPlaylist::RemoveRow(QListWidgetItem* pItem) {
    CPlaylistItem* pRow = GetRowWidget(pItem);
    if (!pRow)
        return false;
    const QString strPath = pRow->GetFilePath();
    emit Sig_CloseFile(strPath);
    m_thumbThread.RemoveFile(strPath);
    setItemWidget(pItem, nullptr);
    removeItemWidget(pItem);
    delete pItem;
    // Later, not now: the row's own delete button may be the caller, still inside
    // its click. Out of the view it is no longer found by any query.
    disconnect(pRow, nullptr, this, nullptr);
    pRow->hide();
    pRow->deleteLater();
    return true;
}

bool CPlaylist::RemoveRow(int nRow) {
    if (nRow < 0 || nRow >= count())
        return false;
    return RemoveRow(item(nRow));
}

bool CPlaylist::RemoveItems(QList<QListWidgetItem*> lstItems) {
    if (lstItems.isEmpty())
        return false;
    for (QListWidgetItem* pItem : lstItems)
        RemoveRow(pItem);
    return true;
}

void CPlaylist::ClearAll() {
    m_thumbThread.ClearFiles();
    for (int nRow = count() - 1; nRow >= 0; --nRow)
        RemoveRow(nRow);
}

// ---- queries --------------------------------------------------------------------

CPlaylistItem* CPlaylist::GetRowWidget(QListWidgetItem* pItem) const {
    if (!pItem)
        return nullptr;
    return qobject_cast<CPlaylistItem*>(itemWidget(pItem));
}

CPlaylistItem* CPlaylist::GetRowWidget(int nRow) const {
    if (nRow < 0 || nRow >= count())
        return nullptr;
    return GetRowWidget(item(nRow));
}

int CPlaylist::GetRowByPath(QString strFilePath) const {
    if (strFilePath.isEmpty())
        return -1;
    const QString strPath = NormalisePath(strFilePath);
    for (int nRow = 0; nRow < count(); ++nRow) {
        const CPlaylistItem* pRow = GetRowWidget(nRow);
        if (pRow && QString::compare(pRow->GetFilePath(), strPath) == 0)
            return nRow;
    }
    return -1;
}

QListWidgetItem* CPlaylist::GetRowItem(QString strFilePath) const {
    const int nRow = GetRowByPath(strFilePath);
    return nRow >= 0 ? item(nRow) : nullptr;
}

bool CPlaylist::GetOpenInfo(int nRow, OpenInfo* pOpenInfo) const {
    if (nRow < 0 || nRow >= count())
        return false;
    return GetOpenInfo(item(nRow), pOpenInfo);
}

bool CPlaylist::GetOpenInfo(QListWidgetItem* pItem, OpenInfo* pOpenInfo) const {
    const CPlaylistItem* pRow = GetRowWidget(pItem);
    if (!pRow || !pOpenInfo)
        return false;
    Item_FileInfo stFileInfo;
    pRow->GetFileInfo(&stFileInfo);
    pOpenInfo->nMediaType = stFileInfo.nMediaType;
    pOpenInfo->strFilePath = stFileInfo.strFilePath;
    pOpenInfo->bEncrypted = stFileInfo.bEncrypted;
    pOpenInfo->strDecryptKey = stFileInfo.strDecryptKey;
    pOpenInfo->bEncryptChecked = stFileInfo.bInfoReady;
    pOpenInfo->nTransmitMode = stFileInfo.nTransmitMode;
    pOpenInfo->nPort = stFileInfo.nPort;
    return true;
}

bool CPlaylist::GetEncrypted(QString strFilePath, bool* pbEncrypted) const {
    const CPlaylistItem* pRow = GetRowWidget(GetRowItem(strFilePath));
    if (!pRow || !pbEncrypted)
        return false;
    *pbEncrypted = pRow->IsEncrypted();
    return true;
}

QPixmap* CPlaylist::GetThumbnail(QString strFilePath) const {
    const CPlaylistItem* pRow = GetRowWidget(GetRowItem(strFilePath));
    return pRow ? pRow->GetShownPixmap() : nullptr;
}

bool CPlaylist::GetGlobalTimeRange(QString strFilePath, FILE_INFO_SYNC* pGlobalTime) {
    const CPlaylistItem* pRow = GetRowWidget(GetRowItem(strFilePath));
    if (!pRow)
        return false;
    if (pGlobalTime && pRow->GetGlobalTime(pGlobalTime))
        return true;
    Item_FileInfo stFileInfo;
    pRow->GetFileInfo(&stFileInfo);
    if (stFileInfo.nMediaType == 2 || IsHttpStream(stFileInfo.strFilePath))
        return false;
    // A file examined and found good but without a wall-clock time has none to find.
    if (stFileInfo.bInfoReady && !stFileInfo.bInvalid)
        return false;
    m_thumbThread.AddFileFirst(stFileInfo.strFilePath, stFileInfo.strDecryptKey);
    return false;
}

// ---- changing an entry ---------------------------------------------------------------

bool CPlaylist::SetDecryptKey(QString strFilePath, QString strDecryptKey) {
    if (strFilePath.isEmpty())
        return false;
    CPlaylistItem* pRow = GetRowWidget(GetRowItem(strFilePath));
    if (!pRow)
        return false;
    return pRow->SetDecryptKey(strDecryptKey);
}

bool CPlaylist::IsHttpStream(const QString& strPath) {
    return strPath.contains(QLatin1String("http:"), Qt::CaseInsensitive) &&
           strPath.contains(QLatin1String(".m3u8"), Qt::CaseInsensitive);
}

bool CPlaylist::IsStreamPath(const QString& strPath) {
    return strPath.contains(QLatin1String("rtsp:"), Qt::CaseInsensitive) || IsHttpStream(strPath);
}

bool CPlaylist::MarkInvalidFile(QString strFilePath, bool bInvalid) {
    if (strFilePath.isEmpty())
        return false;
    CPlaylistItem* pRow = GetRowWidget(GetRowItem(strFilePath));
    if (!pRow)
        return false;
    Item_FileInfo stFileInfo;
    pRow->GetFileInfo(&stFileInfo);
    // A local file that has just opened well is examined again at once.
    if (!bInvalid && !IsStreamPath(strFilePath))
        m_thumbThread.AddFileFirst(stFileInfo.strFilePath, stFileInfo.strDecryptKey);
    stFileInfo.bInvalid = bInvalid;
    return pRow->SetFileInfo(&stFileInfo);
}

bool CPlaylist::UpdatePlayProgress(const QMap<QString, PlayProgress>& mapProgress) {
    if (mapProgress.isEmpty())
        return false;
    for (auto it = mapProgress.constBegin(); it != mapProgress.constEnd(); ++it) {
        CPlaylistItem* pRow = GetRowWidget(GetRowItem(it.key()));
        if (!pRow)
            return false;
        pRow->SetPlayProgress(&it.value());
    }
    return true;
}

// ---- slots ------------------------------------------------------------------------

bool CPlaylist::On_ItemDoubleClick(QListWidgetItem* pCurItem) {
    OpenInfo stOpenInfo;
    if (!GetOpenInfo(pCurItem, &stOpenInfo))
        return false;
    emit Sig_OpenFileInSelectedWnd(&stOpenInfo);
    return true;
}

bool CPlaylist::On_FileInfoUpdate() {
    Item_FileInfo stFileInfo;
    QImage imgThumb;
    if (!m_thumbThread.TakeFileInfo(&stFileInfo, &imgThumb))
        return false;
    // A row that went in the meantime leaves the result unused.
    for (int nRow = 0; nRow < count(); ++nRow) {
        CPlaylistItem* pRow = GetRowWidget(nRow);
        if (!pRow || QString::compare(pRow->GetFilePath(), stFileInfo.strFilePath) != 0)
            continue;
        // The key may have been set since the file was queued.
        stFileInfo.strDecryptKey = pRow->GetDecryptKey();
        pRow->SetFileInfo(&stFileInfo);
        QImage imgRow = imgThumb;
        pRow->SetThumbnail(&imgRow);
    }
    return true;
}

bool CPlaylist::On_UpdateThumbnail(QString strFilePath, QImage* pimgThumbnail, Item_FileInfo* pFileInfo) {
    std::unique_ptr<QImage> pOwned(pimgThumbnail);
    if (strFilePath.isEmpty())
        return false;
    QMutexLocker locker(&m_mutexUpdate);
    for (int nRow = 0; nRow < count(); ++nRow) {
        CPlaylistItem* pRow = GetRowWidget(nRow);
        if (!pRow || QString::compare(pRow->GetFilePath(), strFilePath) != 0)
            continue;
        if (pFileInfo)
            pRow->SetFileInfo(pFileInfo);
        pRow->SetThumbnail(pOwned.get());
    }
    return true;
}

bool CPlaylist::On_DeleteHoverItem(CPlaylistItem* pItem) {
    for (int nRow = 0; nRow < count(); ++nRow) {
        if (GetRowWidget(nRow) == pItem)
            return RemoveRow(nRow);
    }
    return true;
}

void CPlaylist::On_LanguageChanged() {
    for (int nRow = 0; nRow < count(); ++nRow) {
        if (CPlaylistItem* pRow = GetRowWidget(nRow))
            pRow->On_UpdateUI();
    }
}

// ---- filters ----------------------------------------------------------------------

void CPlaylist::SetRowHidden(int nRow, bool bHidden) {
    QListWidgetItem* pItem = item(nRow);
    CPlaylistItem* pRow = GetRowWidget(pItem);
    if (!pRow)
        return;
    pItem->setHidden(bHidden);
    pRow->setVisible(!bHidden);
}

bool CPlaylist::On_SearchByFileName(QString strFileName) {
    const QString strKey = NormaliseKey(NormalisePath(strFileName));
    if (strKey.isEmpty())
        return false;
    QList<QPair<int, QString>> lstEntries; // row, name searched
    for (int nRow = 0; nRow < count(); ++nRow) {
        const CPlaylistItem* pRow = GetRowWidget(nRow);
        if (!pRow)
            continue;
        SetRowHidden(nRow, false);
        Item_FileInfo stFileInfo;
        pRow->GetFileInfo(&stFileInfo);
        lstEntries.append({nRow, stFileInfo.nMediaType == 2
                                     ? stFileInfo.strFilePath
                                     : CPlayHelper::GetFileNameFormPath(stFileInfo.strFilePath)});
    }
    const QStringList lstTokens = strKey.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (lstTokens.isEmpty())
        return false;
    for (const auto& entry : lstEntries) {
        bool bAccept = true;
        for (const QString& strToken : lstTokens) {
            if (strToken != QLatin1String("*") && !MatchToken(entry.second, strToken)) {
                bAccept = false;
                break;
            }
        }
        SetRowHidden(entry.first, !bAccept);
    }
    return true;
}

bool CPlaylist::On_SearchByGlobalTime(TAVRIX_SYSTEM_TIME* pGlobalTime) {
    if (!pGlobalTime)
        return false;
    for (int nRow = 0; nRow < count(); ++nRow) {
        const CPlaylistItem* pRow = GetRowWidget(nRow);
        if (!pRow)
            continue;
        FILE_INFO_SYNC stRange;
        const bool bInside = pRow->GetGlobalTime(&stRange) &&
                             !CPlayHelper::IsOneTimeEarly(pGlobalTime, &stRange.stBegin) &&
                             !CPlayHelper::IsOneTimeEarly(&stRange.stEnd, pGlobalTime);
        SetRowHidden(nRow, !bInside);
    }
    return true;
}

bool CPlaylist::On_SearchShowAllFiles() {
    for (int nRow = 0; nRow < count(); ++nRow)
        SetRowHidden(nRow, false);
    return true;
}

// ---- keys, mouse, drag and drop ----------------------------------------------------------

void CPlaylist::keyPressEvent(QKeyEvent* ev) {
    ev->ignore();
}

void CPlaylist::mousePressEvent(QMouseEvent* ev) {
    if (ev->button() == Qt::RightButton) {
        // A right click on a selected row keeps a multiple selection for the menu.
        QListWidgetItem* pItem = itemAt(ev->position().toPoint());
        if (pItem && !pItem->isSelected())
            setCurrentItem(pItem, QItemSelectionModel::ClearAndSelect);
        emit Sig_ListRButtonDown(ev->globalPosition().toPoint());
        return;
    }
    if (ev->button() == Qt::LeftButton) {
        m_ptDragStart = ev->position().toPoint();
        m_bDragArmed = true;
    }
    QListWidget::mousePressEvent(ev);
}

void CPlaylist::mouseMoveEvent(QMouseEvent* ev) {
    if ((ev->buttons() & Qt::LeftButton) && m_bDragArmed &&
        (ev->position().toPoint() - m_ptDragStart).manhattanLength() >= QApplication::startDragDistance()) {
        m_bDragArmed = false;
        StartRowDrag();
    }
    QListWidget::mouseMoveEvent(ev);
}

void CPlaylist::startDrag(Qt::DropActions /*supportedActions*/) {}

QMimeData* CPlaylist::CreateDragMimeData() const {
    const QList<QListWidgetItem*> lstSel = selectedItems();
    if (lstSel.isEmpty())
        return nullptr;
    // Rows in list order, whatever the order of selection.
    QList<QUrl> lstUrls;
    for (int nRow = 0; nRow < count(); ++nRow) {
        QListWidgetItem* pItem = item(nRow);
        OpenInfo stInfo;
        if (!pItem->isSelected() || !GetOpenInfo(pItem, &stInfo))
            continue;
        QUrl url;
        if (stInfo.nMediaType == 2)
            url.setUrl(stInfo.strFilePath);
        else
            url = QUrl::fromLocalFile(stInfo.strFilePath);
        lstUrls.append(url);
    }
    if (lstUrls.isEmpty())
        return nullptr;
    QMimeData* pData = new QMimeData();
    pData->setUrls(lstUrls);
    pData->setData(QString::fromLatin1(DRAG_MARK_FORMAT), DragMarkOf(this));
    return pData;
}

QPixmap CPlaylist::MakeDragPixmap(int nTopRow) {
    const CPlaylistItem* pTopRow = GetRowWidget(nTopRow);
    QPixmap pixRow;
    if (pTopRow) {
        Item_FileInfo stFileInfo;
        pTopRow->GetFileInfo(&stFileInfo);
        m_rowDrag.resize(DRAG_ROW_WIDTH, DRAG_ROW_HEIGHT);
        m_rowDrag.SetFileInfo(&stFileInfo);
        pixRow = m_rowDrag.grab();
        std::unique_ptr<QPixmap> pShown(pTopRow->GetShownPixmap());
        if (pShown && !pixRow.isNull()) {
            QPainter painter(&pixRow);
            painter.drawPixmap(10, 10, *pShown);
        }
    }
    const QString& strBack = selectedItems().size() > 1 ? m_strDragPixMany : m_strDragPixOne;
    QPixmap pixDrag = strBack.isEmpty() ? QPixmap() : QPixmap(strBack);
    if (pixDrag.isNull()) {
        pixDrag = QPixmap(DRAG_ROW_WIDTH, DRAG_ROW_HEIGHT);
        pixDrag.fill(Qt::transparent);
    }
    if (!pixRow.isNull()) {
        QPainter painter(&pixDrag);
        painter.drawPixmap(QRect(0, 0, DRAG_ROW_WIDTH, DRAG_ROW_HEIGHT), pixRow);
    }
    return pixDrag;
}

void CPlaylist::StartRowDrag() {
    QMimeData* pData = CreateDragMimeData();
    if (!pData)
        return;
    int nTopRow = count();
    for (QListWidgetItem* pItem : selectedItems())
        nTopRow = qMin(nTopRow, row(pItem));
    m_pixDrag = MakeDragPixmap(nTopRow);
    QDrag* pDrag = new QDrag(this);
    pDrag->setMimeData(pData);
    pDrag->setPixmap(m_pixDrag);
    pDrag->exec(Qt::LinkAction);
}

bool CPlaylist::IsOwnDrag(const QDropEvent* ev) const {
    if (ev->source() == this)
        return true;
    const QMimeData* pData = ev->mimeData();
    return pData && pData->data(QString::fromLatin1(DRAG_MARK_FORMAT)) == DragMarkOf(this);
}

void CPlaylist::dragEnterEvent(QDragEnterEvent* ev) {
    // Rows are not reordered by dragging: a drag from this list is refused.
    if (IsOwnDrag(ev)) {
        ev->ignore();
        return;
    }
    ev->acceptProposedAction();
}

void CPlaylist::dragMoveEvent(QDragMoveEvent* ev) {
    if (IsOwnDrag(ev)) {
        ev->ignore();
        return;
    }
    ev->acceptProposedAction();
}

void CPlaylist::dropEvent(QDropEvent* ev) {
    if (IsOwnDrag(ev) || !ev->mimeData()) {
        ev->ignore();
        return;
    }
    // Files beyond the limit are not added; the main dialog's own commands are the
    // ones that tell the user.
    for (const QUrl& url : ev->mimeData()->urls()) {
        OpenInfo stInfo;
        stInfo.nMediaType = 0;
        stInfo.strFilePath = url.toLocalFile();
        AddFile(&stInfo);
    }
    ev->acceptProposedAction();
}

// ---- skin -------------------------------------------------------------------------------

void CPlaylist::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_LIST);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
    m_strDragPixOne = SkinManager::GetOtherResPath(SKIN_RES_LIST, 0);
    m_strDragPixMany = SkinManager::GetOtherResPath(SKIN_RES_LIST, 1);
}
