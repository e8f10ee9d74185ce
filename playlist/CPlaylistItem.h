#pragma once

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <QWidget>

#include <cstdint>

#include "IObserverBase.h"
#include "Item_FileInfo.h"

class QEnterEvent;
class QLabel;
class QListWidgetItem;
class QPushButton;

// Progress of one path as the main dialog hands it to the playlist on each
// timer tick. Zero for both ends the progress look of the row.
struct PlayProgress {
    uint32_t nPlayedTime = 0; // seconds
    uint32_t nTotalTime = 0;  // seconds
};

// The widget of one playlist row and the only store of that entry's record,
// picture and progress. It shows the first-frame picture, the name, the play
// time and the size, paints the play progress as its own background, marks
// invalid files, shows a padlock on encrypted ones, and offers a delete button
// while the pointer is over it.
class CPlaylistItem : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit CPlaylistItem(QWidget* pParent = nullptr);
    ~CPlaylistItem() override;

    // The list item that holds this row (not owned); null in a row that only
    // paints drag images.
    void SetListItem(QListWidgetItem* pListItem);
    QListWidgetItem* GetListItem() const { return m_pListItem; }

    // Copies the whole record in (and refreshes the row) or out; false for null.
    bool SetFileInfo(const Item_FileInfo* pFileInfo);
    bool GetFileInfo(Item_FileInfo* pFileInfo) const;
    // Swaps the picture with *pImage (the caller gets the old one); null clears it.
    bool SetThumbnail(QImage* pImage);
    // A new copy of the shown picture (else the blank one), owned by the caller;
    // null when there is neither.
    QPixmap* GetShownPixmap() const;
    bool HasThumbnail() const { return !m_imgThumbnail.isNull(); }

    QString GetFilePath() const { return m_stFileInfo.strFilePath; }
    QString GetDecryptKey() const { return m_stFileInfo.strDecryptKey; }
    bool SetDecryptKey(QString strDecryptKey);
    bool IsEncrypted() const { return m_stFileInfo.bEncrypted; }
    bool IsInfoReady() const { return m_stFileInfo.bInfoReady; }
    bool IsInvalid() const { return m_stFileInfo.bInvalid; }
    // The file's global time range, if it has a usable one: not invalid, not a
    // network row, both times real calendar times.
    bool GetGlobalTime(FILE_INFO_SYNC* pGlobalTime) const;
    bool SetPlayProgress(const PlayProgress* pProgress);
    QString GetFileTimeText() const;
    QString GetFileSizeText() const;

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    void Sig_DeleteHoverItem(CPlaylistItem* pItem);
    void Sig_UpdateUI();
    void Sig_UpdatePlayProgress();

public slots:
    // Refreshes texts, styles and the picture from the record; also for a change
    // of language.
    void On_UpdateUI();
    void On_DeleteBtnClick();

protected:
    void paintEvent(QPaintEvent* ev) override;
    void enterEvent(QEnterEvent* ev) override;
    void leaveEvent(QEvent* ev) override;

private:
    void BuildWidgets();
    void ComposeShownPixmap();
    static QString FormatSeconds(uint32_t nSeconds);
    static QString FormatFileSize(uint64_t nSize);

    Item_FileInfo m_stFileInfo;
    QImage m_imgThumbnail;
    QPixmap m_pixDefault;
    QPixmap m_pixShown;
    uint32_t m_nPlayedTime = 0;
    uint32_t m_nTotalTime = 0;
    bool m_bInPlay = false;
    QListWidgetItem* m_pListItem = nullptr;

    QLabel* m_pLabFileSize = nullptr;
    QLabel* m_pLabFirstFrameClip = nullptr;
    QLabel* m_pLabFileName = nullptr;
    QLabel* m_pLabFileTime = nullptr;
    QPushButton* m_pBtnRemoveItem = nullptr;

    QString m_strPixDefault;
    QString m_strPixFrame;
    QString m_strPixLockNoKey;
    QString m_strPixLockKey;
    QString m_strStyleName;
    QString m_strStyleNameInvalid;
    QString m_strStyleInfo;
    QString m_strStyleInfoInvalid;

    QColor m_clrInvalidText;
    QColor m_clrProgressBack;
    QColor m_clrProgressFill;
    QColor m_clrSelProgressBack;
    QColor m_clrSelProgressFill;
};
