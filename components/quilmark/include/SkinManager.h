#pragma once

#include <QColor>
#include <QFont>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <vector>

class IObserverBase;
class SkinTable;

// The skin: style sheets, colours, fonts and pictures of every skinned window,
// looked up by a resource number (one per window kind) and an index.
//
// Every operation is static and acts on the one instance, so both spellings work:
//   SkinManager::GetResColor(38, 0)  and  SkinManager::GetInstance()->GetResColor(38, 0).
// GUI thread only.
//
// Skins are compiled in as Qt resources under ":/skin/<name>/". Skin index 0 is
// "default"; an unknown index falls back to 0.
//
// Resource numbers of the default skin (qss = the window's own style sheet file,
// GetQssResPath; sheet = GetResStyleSheet; colour = GetResColor/GetResColorRef;
// font = GetResFont; picture = GetOtherResPath):
//
//   0  main dialog: qss MainDlg.qss (every object name of the dialog's widget tree).
//      sheets 0..17, each for setStyleSheet on the one button:
//        0 m_pBtnMax normal, 1 m_pBtnMax maximised (restore picture),
//        2 m_pBtnMute muted, 3 m_pBtnMute sound, 4 m_pBtnMute sound above 100,
//        5 m_pBtnPlayOrPause play picture, 6 m_pBtnPlayOrPause pause picture,
//        7 m_pBtnFullScreen enter, 8 m_pBtnFullScreen leave,
//        9, 10 unused by the dialog (playlist shown / hidden arrow),
//        11..13 m_pBtnTopMode for top mode 0, 1, 2,
//        14..17 m_pBtnPlayMode for play mode 1, 2, 3, 4.
//      colours 0 window background, 1 text, 2 accent; fonts 0 title, 1 normal text.
//   1  application-wide style sheet: qss Global.qss (tool tips, menus, scroll bars,
//      line edits, combo boxes, plain buttons, CustomDialog). The program gives it to
//      qApp->setStyleSheet(ReadQssFile(GetQssResPath(1))) once at start.
//   2  message boxes (CustomMessageBox, NonModalMessageBox): qss MessageBox.qss.
//   3  settings dialog: qss SettingDlg.qss; pictures 0..8 page buttons; colours 9, 10
//      page button text normal / selected.
//   4  open URL dialog: qss InputUrlDlg.qss.
//   5  locate dialogs: qss LocateDlg.qss.
//   6  file information dialog: qss FileInfoDlg.qss.
//   7  watermark dialog: qss WatermarkDlg.qss.
//   8  colour adjust dialog: qss ColorAdjustDlg.qss.
//   9  start page: qss StartPage.qss; pictures 0 centre, 1 left corner, 2 right corner.
//   10 about dialog: qss AboutDlg.qss; picture 0 program icon.
//   11 decryption key dialog: qss DecryptKeyDlg.qss; sheets 0 name label, 1 key field,
//      2 "Apply to all" button.
//   12 playlist search bar: qss PlaylistSearchBar.qss.
//   13 playlist row: qss PlaylistItem.qss; pictures 0 default thumbnail, 1 thumbnail
//      frame, 2 lock without key, 3 lock with key; sheets 4 name, 5 name invalid,
//      6 info, 7 info invalid; colours 8 invalid text, 9 progress back, 10 progress
//      fill, 11 selected progress back, 12 selected progress fill.
//   14 playlist: qss Playlist.qss; pictures 0 drag of one row, 1 drag of several rows.
//   15 drag prompt (AutoExpandWnd): qss AutoExpandWnd.qss; pictures 0 background,
//      1..4 layouts 1, 4, 9, 16.
//   16 layout popup: qss LayoutMenu.qss; colours 12, 13 button text normal / selected;
//      pictures 0..3 layouts 1, 4, 9, 16; 4..7 the same, selected.
//   17 tools popup: qss ToolsMenu.qss; colour 12 button text; pictures 0..3 clip,
//      convert, merge, stream.
//   18 synchronous time ruler: qss SyncRuler.qss; colours 0 scale background,
//      1 rows background, 2 text, 3 ticks, 4 row separator, 5 file bar, 6 file bar of
//      the selected window; font 2; sheet 7 horizontal scroll bar.
//   19 full screen synchronous ruler: qss SyncRulerFull.qss; sheets 0 button paused,
//      1 button running; picture 2 mask.
//   35 partial zoom window: qss PartZoomWnd.qss.
//   36 progress slider: qss ProgressSlider.qss; colours 0 bar before the A mark,
//      1 played part, 2 span between the A and B marks, 3 the rest of the bar.
//   37 slider tip: qss SliderTips.qss; picture 0 tip background.
//   38 play window: qss PlayWnd.qss; colour 0 background, picture 1 cursor of the
//      picture drag, colour 2 partial zoom rectangle.
//   39 stage: qss DlgShow.qss; colours 0 window border, 1 selected window border.
//   41 eagle eye bar (EagleEyeCtrlBar): qss EagleEyeCtrlBar.qss.
//   42 playlist handle, playlist hidden: qss PlaylistCtrlHidden.qss.
//   43 playlist handle, playlist shown: qss PlaylistCtrlShown.qss.
//
// Missing entries answer empty: an empty string, an invalid QColor, QFont(), 0.
class SkinManager {
public:
    // Made at first call; null only if it could not be made.
    static SkinManager* GetInstance();
    // Ends the instance; observers are forgotten, not notified.
    static void DeleteInstance();

    // Registers an observer and calls its SkinChanged() at once. Adding one twice
    // keeps one entry.
    static void AddObserver(IObserverBase* pObserver);
    static void DelObserver(IObserverBase* pObserver);

    // Selects a skin and notifies every observer. An unknown index selects 0.
    static void ChangeSkin(int nIndex);
    static int CurrentSkinIndex();

    // Resource path (":/skin/<name>/<file>.qss") of a resource's style sheet file;
    // empty if the skin has none.
    static QString GetQssResPath(int nResource);
    // Text of a style sheet file; empty when it cannot be read.
    static QString ReadQssFile(const QString& strPath);

    static QString GetResStyleSheet(int nResource, int nIndex);
    static QColor GetResColor(int nResource, int nIndex);
    // The same colour as a native colour number 0x00BBGGRR; 0 when missing.
    static uint32_t GetResColorRef(int nResource, int nIndex);
    static QFont GetResFont(int nResource, int nIndex);
    // Resource path of a picture; empty when missing.
    static QString GetOtherResPath(int nResource, int nIndex);

private:
    SkinManager();
    ~SkinManager();
    SkinManager(const SkinManager&) = delete;
    SkinManager& operator=(const SkinManager&) = delete;

    static SkinManager* s_pInstance;

    std::vector<IObserverBase*> m_vecObservers;
    std::unique_ptr<SkinTable> m_pTable;
    int m_nSkinIndex = -1;
};
