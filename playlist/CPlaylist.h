#pragma once

#include <QList>
#include <QListWidget>
#include <QMap>
#include <QMutex>
#include <QPixmap>
#include <QPoint>
#include <QString>

#include "CPlaylistItem.h"
#include "GetThumbThread.h"
#include "IObserverBase.h"
#include "Item_FileInfo.h"

class QMimeData;
struct OpenInfo;

// The list of media the player knows: local files and network URLs, one row
// each, at most MAX_ROWS in all (hidden rows count). A row's identity is its
// path; local paths are kept with forward slashes and compared exactly. The row
// widgets are the only store of the entries: every query walks the rows. The list
// holds no playing state; open requests and closures go to the main dialog by
// signals. It owns the thread that examines each new local file.
//
// GUI thread only.
class CPlaylist : public QListWidget, public IObserverBase {
    Q_OBJECT

public:
    static constexpr int MAX_ROWS = 200;

    explicit CPlaylist(QWidget* pParent = nullptr);
    ~CPlaylist() override;

    // ---- adding ----------------------------------------------------------------
    // A local file. False if the list is full, the pointer is null, the type is 2
    // or the path is empty; true (and no change) if the path is listed already.
    bool AddFile(OpenInfo* pOpenInfo);
    // A network URL, compared as it stands. False if the list is full, the
    // pointer is null or the type is not 2; true if the URL is listed already.
    bool AddUrl(OpenInfo* pOpenInfo);

    // ---- removing: each row says Sig_CloseFile(path) before it goes ---------------
    bool RemoveRow(QListWidgetItem* pItem);
    bool RemoveRow(int nRow);
    bool RemoveItems(QList<QListWidgetItem*> lstItems);
    void ClearAll();

    // ---- queries -----------------------------------------------------------------
    // Row of a path (normalised to forward slashes), -1 if absent or empty.
    int GetRowByPath(QString strFilePath) const;
    QListWidgetItem* GetRowItem(QString strFilePath) const;
    bool GetOpenInfo(int nRow, OpenInfo* pOpenInfo) const;
    bool GetOpenInfo(QListWidgetItem* pItem, OpenInfo* pOpenInfo) const;
    bool GetEncrypted(QString strFilePath, bool* pbEncrypted) const;
    // A new pixmap of the row's shown picture, owned by the caller; null if the
    // row is absent or has no picture.
    QPixmap* GetThumbnail(QString strFilePath) const;
    // The file's global time range. False when it is not known yet: a local file
    // is then moved to the head of the examination queue, so the caller may ask
    // again after the result.
    bool GetGlobalTimeRange(QString strFilePath, FILE_INFO_SYNC* pGlobalTime);
    CPlaylistItem* GetRowWidget(int nRow) const;
    CPlaylistItem* GetRowWidget(QListWidgetItem* pItem) const;

    // ---- changing an entry --------------------------------------------------------
    bool SetDecryptKey(QString strFilePath, QString strDecryptKey);
    // bInvalid false for a local file also asks for a fresh examination at once.
    bool MarkInvalidFile(QString strFilePath, bool bInvalid);
    // Walks the map in path order; a path without a row stops the walk with false.
    bool UpdatePlayProgress(const QMap<QString, PlayProgress>& mapProgress);

    // The data a drag of the selected rows carries: one URL per row, local files
    // as file URLs, and a mark that lets this list know its own drags. Null for an
    // empty selection. Owned by the caller.
    QMimeData* CreateDragMimeData() const;

    GetThumbThread* GetThumbWorker() { return &m_thumbThread; }

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    // Open this entry in the selected window. The record lives for the emission.
    void Sig_OpenFileInSelectedWnd(OpenInfo* pOpenInfo);
    // The right button went down over the list; global position.
    void Sig_ListRButtonDown(QPoint ptGlobal);
    // A row is going: close this path wherever it plays.
    void Sig_CloseFile(QString strFilePath);

public slots:
    bool On_ItemDoubleClick(QListWidgetItem* pCurItem);
    bool On_FileInfoUpdate();
    // A play window's first frame for a row (URL rows get their picture this
    // way). Takes ownership of pimgThumbnail; pFileInfo may be null.
    bool On_UpdateThumbnail(QString strFilePath, QImage* pimgThumbnail, Item_FileInfo* pFileInfo);
    bool On_DeleteHoverItem(CPlaylistItem* pItem);
    // The filters of the search bar: rows that do not match are hidden, never
    // removed.
    bool On_SearchByFileName(QString strFileName);
    bool On_SearchByGlobalTime(TAVRIX_SYSTEM_TIME* pGlobalTime);
    bool On_SearchShowAllFiles();
    // A change of language: every row sets its texts again.
    void On_LanguageChanged();

protected:
    // Keys are the player's hot keys, not the list's: none is used here (arrows
    // would move the selection), each goes on to the parent, the main dialog.
    void keyPressEvent(QKeyEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void dragEnterEvent(QDragEnterEvent* ev) override;
    void dragMoveEvent(QDragMoveEvent* ev) override;
    void dropEvent(QDropEvent* ev) override;
    // The list's own item drag is replaced by the drag of mouseMoveEvent.
    void startDrag(Qt::DropActions supportedActions) override;

private:
    bool AddRow(Item_FileInfo* pFileInfo);
    bool IsOwnDrag(const QDropEvent* ev) const;
    void StartRowDrag();
    QPixmap MakeDragPixmap(int nTopRow);
    static bool IsStreamPath(const QString& strPath);
    static bool IsHttpStream(const QString& strPath);
    void SetRowHidden(int nRow, bool bHidden);

    QPoint m_ptDragStart;
    QPixmap m_pixDrag;
    CPlaylistItem m_rowDrag;
    GetThumbThread m_thumbThread;
    QMutex m_mutexUpdate;
    QString m_strDragPixOne;
    QString m_strDragPixMany;
    // One drag per press of the left button.
    bool m_bDragArmed = false;
};
