// The main dialog's menus in every situation and both languages, the companion
// tools and the manual reached from them, and a change of language reaching every window.

#include <QAbstractButton>
#include <QAction>
#include <QFile>
#include <QHash>
#include <QMenu>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QtTest>

#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "NetServers.h"

// Stops a test at the first failure of a helper it called.
#define RETURN_IF_FAILED()                                                                                   \
    if (QTest::currentTestFailed())                                                                          \
    return

namespace {

const int kPlayTimeoutMs = 30000;
const QStringList kSyncClips = {"sync_a_25fps.mp4", "sync_b_30fps.mkv"};

using StringMap = QHash<QString, QString>;

StringMap LoadLangFile(const QString& strName) {
    StringMap map;
    QFile file(QStringLiteral(VELQUIN_SOURCE_DIR "/Resources/lang/") + strName);
    if (!file.open(QIODevice::ReadOnly))
        return map;
    const QString strXml = QString::fromUtf8(file.readAll());
    static const QRegularExpression re(QStringLiteral("<String key=\"(\\w+)\">(.*?)</String>"),
                                       QRegularExpression::DotMatchesEverythingOption);
    for (auto it = re.globalMatch(strXml); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        QString strText = m.captured(2);
        strText.replace("&lt;", "<").replace("&gt;", ">").replace("&quot;", "\"").replace("&apos;", "'");
        map.insert(m.captured(1), strText.replace("&amp;", "&"));
    }
    return map;
}

// The default texts of the key table: what a key absent from a file shows.
QSet<QString> LoadKeyDefaults() {
    QSet<QString> set;
    QFile file(QStringLiteral(VELQUIN_SOURCE_DIR "/components/LanguageKeys.h"));
    if (!file.open(QIODevice::ReadOnly))
        return set;
    static const QRegularExpression reLine(QStringLiteral("^#define IDS_\\w+\\s+\"\\w+\"\\s*//(.*)$"),
                                           QRegularExpression::MultilineOption);
    static const QRegularExpression reQuoted(QStringLiteral("\"([^\"]*)\""));
    const QString strText = QString::fromUtf8(file.readAll());
    for (auto it = reLine.globalMatch(strText); it.hasNext();) {
        const QString strComment = it.next().captured(1);
        for (auto q = reQuoted.globalMatch(strComment); q.hasNext();)
            set.insert(q.next().captured(1));
    }
    return set;
}

enum Situation { Empty, File, Stream, Multi, Sync, SituationCount };
const char* const kSituationNames[] = {"nothing open", "one file", "a stream", "several windows",
                                       "sync group"};

// Expected state of every visible entry, one letter per situation in the order
// above: e enabled, c enabled and checked, d disabled, - not shown. An entry is
// named by its menu's object name and its language key; a second entry of the
// same key in one menu gets "#2".
const QList<QPair<const char*, const char*>> kStates = {
    {"deeee", "m_pMainRightMenu/IDS_MainWnd_FullScreen m_pPlayControlMenu/IDS_Global_Stop "
              "m_pPlayControlMenu/IDS_MainWnd_ThrowFrame m_pPlayControlMenu/IDS_MainWnd_MotionFlow "
              "m_pMainRightMenu/IDS_PlaySetDlg_ImageControl m_pMainRightMenu/IDS_MainWnd_WHRatio "
              "m_pMainRightMenu/IDS_Global_Capture m_pMainRightMenu/IDS_Global_ContinuousCapture "
              "m_pMainRightMenu/IDS_Global_Part "},
    // A type without a name of its own reads "English" (LangEnglish#2).
    {"eeeee", "m_pMainRightMenu/IDS_MainWnd_TopDiaplay m_pOnTopModeMenu/IDS_MainWnd_PlayTop "
              "m_pOnTopModeMenu/IDS_MainWnd_AlwaysTop m_pMainRightMenu/IDS_Global_PlayControl "
              "m_pThrowFrameMenu/IDS_PlaySetDlg_ThrowB1 m_pThrowFrameMenu/IDS_PlaySetDlg_ThrowB2 "
              "m_pMotionFlowMenu/IDS_MainWnd_MotionFlow_CPU m_pPlayModeMenu/IDS_MainWnd_ListPlay "
              "m_pPlayModeMenu/IDS_MainWnd_SingleRepeat m_pPlayModeMenu/IDS_MainWnd_ListRepeat "
              "m_pMainRightMenu/IDS_Global_Mute m_pImageCtrlMenu/IDS_MainWnd_ImgTurn "
              "m_pImgTurnMenu/IDS_MainWnd_TurnLeft90 m_pImgTurnMenu/IDS_MainWnd_TurnRight90 "
              "m_pImgTurnMenu/IDS_MainWnd_Turn180 m_pImageCtrlMenu/IDS_MainWnd_FlipHorizontal "
              "m_pImageCtrlMenu/IDS_MainWnd_FlipVertical m_pImageCtrlMenu/IDS_PlaySetDlg_ColorAdjust "
              "m_pImageCtrlMenu/IDS_Global_Watermark m_pMainRightMenu/IDS_Global_Setting "
              "m_pMainMenu/IDS_Global_Setting m_pImageCtrlMenu/IDS_Global_IVS "
              "m_pImgScaleMenu/IDS_MainWnd_WHRatio_4_3 m_pImgScaleMenu/IDS_MainWnd_WHRatio_16_9 "
              "m_pImgScaleMenu/IDS_MainWnd_WHRatio_Covered m_pMainRightMenu/IDS_Global_Cut "
              "m_pMainRightMenu/IDS_Global_Convert m_pMainRightMenu/IDS_Global_Merge "
              "m_pMainRightMenu/IDS_Global_MediaStream m_pOpenMenu/IDS_Global_OpenFile "
              "m_pOpenMenu/IDS_Global_OpenFolder m_pOpenMenu/IDS_Global_OpenURL "
              "m_pMainMenu/IDS_MainWnd_Language m_pLanguageMenu/IDS_MainWnd_LangChinese_SI "
              "m_pLanguageMenu/IDS_MainWnd_LangEnglish#2 m_pMainMenu/IDS_Global_UserManual "
              "m_pMainMenu/IDS_Global_About m_pPlaylistRightMenu/IDS_MainWnd_RemoveInvalidFiles "
              "m_pPlaylistRightMenu/IDS_MainWnd_ClearPlaylist "},
    {"ccccc",
     "m_pOnTopModeMenu/IDS_MainWnd_NeverTop m_pThrowFrameMenu/IDS_PlaySetDlg_DonotThrowB "
     "m_pMotionFlowMenu/IDS_MainWnd_MotionFlow_No m_pPlayModeMenu/IDS_MainWnd_SinglePlay "
     "m_pImgTurnMenu/IDS_MainWnd_Turn0 m_pIVSInfoMenu/IDS_IVS_AnaIntelData m_pIVSInfoMenu/IDS_IVS_MD "
     "m_pIVSInfoMenu/IDS_IVS_AddPos m_pIVSInfoMenu/IDS_IVS_TEM m_pIVSInfoMenu/IDS_IVS_AddPic "
     "m_pIVSInfoMenu/IDS_IVS_FireDetec m_pImgScaleMenu/IDS_MainWnd_WHRatio_Original "
     "m_pLanguageMenu/IDS_MainWnd_LangEnglish "},
    {"eedee", "m_pPlayControlMenu/IDS_Global_PlayOrPause "},
    {"deded", "m_pPlayControlMenu/IDS_Global_BackPlay m_pPlayControlMenu/IDS_PlaySetDlg_TimeStampLocate "
              "m_pPlayControlMenu/IDS_PlaySetDlg_FrameLocate "
              "m_pPlayControlMenu/IDS_PlaySetDlg_GlobalTimeLocate m_pPlayControlMenu/IDS_Global_NextFrame "
              "m_pPlayControlMenu/IDS_Global_LastFrame m_pPlayControlMenu/IDS_Global_GotoStart "
              "m_pPlayControlMenu/IDS_Global_GotoEnd m_pPlayControlMenu/IDS_MainWnd_ABRepeat "},
    {"dedee", "m_pPlayControlMenu/IDS_Global_SpeedUp m_pPlayControlMenu/IDS_Global_SpeedDown "
              "m_pPlayControlMenu/IDS_Global_RestoreCommonSpeed m_pMainRightMenu/IDS_Global_FileInfo "
              "m_pMainRightMenu/IDS_FEC_FisheyeExpansion "},
    {"eeeed", "m_pMainRightMenu/IDS_MainWnd_PlayMode m_pMainMenu/IDS_Global_Open "},
    // The size entries need a single window.
    {"eee--", "m_pMainRightMenu/IDS_MainWnd_PlayWndPrecent m_pPlayWndPrecentMenu/IDS_Global_DoubleSize "
              "m_pPlayWndPrecentMenu/IDS_Global_NormalSize m_pPlayWndPrecentMenu/IDS_Global_HalfSize "
              "m_pPlayWndPrecentMenu/IDS_Global_QuarterSize "},
    // No layout change inside a group.
    {"eeee-", "m_pMainRightMenu/IDS_PlayWnd_PlayWndLayout m_pPlayWndLayoutMenu/IDS_PlayWnd_9PlayWnd "
              "m_pPlayWndLayoutMenu/IDS_PlayWnd_16PlayWnd "},
    {"ccce-", "m_pPlayWndLayoutMenu/IDS_PlayWnd_1PlayWnd "},
    {"eeec-", "m_pPlayWndLayoutMenu/IDS_PlayWnd_4PlayWnd "},
    // The file's row and the stream's row are selected in their situations.
    {"-e---",
     "m_pPlaylistRightMenu/IDS_Global_PlayOrPause m_pPlaylistRightMenu/IDS_MainWnd_OpenFolderOfFile "},
    {"-ee--", "m_pPlaylistRightMenu/IDS_MainWnd_DelFileInPlaylist "},
};
const QHash<QString, QString> kExpected = [] {
    QHash<QString, QString> hash;
    for (const auto& group : kStates) {
        for (const QString& strName : QString::fromLatin1(group.second).split(' ', Qt::SkipEmptyParts))
            hash.insert(strName, QString::fromLatin1(group.first));
    }
    return hash;
}();

struct MenuFixture : MainDlgFixture {
    NetServers servers;
    QString strUrl;

    // Three languages on offer, English shown: Chinese, and a type the
    // program has no name for.
    bool Start() {
        const QByteArray baLangs = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GlobalConfig>\n"
                                   "<Language>1</Language><Skin>0</Skin>\n<LanguageList>\n"
                                   "<Item type=\"1\" name=\"English\" />\n<Item type=\"0\" name=\"zh\" />\n"
                                   "<Item type=\"99\" name=\"other\" />\n</LanguageList>\n</GlobalConfig>\n";
        for (const char* szName : {"GlobalLanguageConfig.xml", "GlobalConfig.xml"}) {
            QFile file(strConfigDir + "/" + szName);
            if (!file.open(QIODevice::WriteOnly) || file.write(baLangs) != baLangs.size())
                return false;
        }
        return MainDlgFixture::Start(QSize(1000, 640));
    }
    QMenu* Menu(const char* szName) const { return pDlg->findChild<QMenu*>(QString::fromLatin1(szName)); }
    // Pops a menu as the user does: 0 the stage's right menu (a right press on
    // the stage), 1 the main menu (its button), 2 the playlist's right menu.
    QMenu* Pop(int nMenu) {
        if (nMenu == 0) {
            const QPoint ptLocal(pStage->width() / 2, pStage->height() / 2);
            QMouseEvent ev(QEvent::MouseButtonPress, QPointF(ptLocal), QPointF(pStage->mapToGlobal(ptLocal)),
                           Qt::RightButton, Qt::RightButton, Qt::NoModifier);
            pDlg->On_DlgShowMousePressEvent(&ev);
        } else if (nMenu == 1) {
            QTest::mouseClick(Button("m_pBtnMainMenu"), Qt::LeftButton);
        } else {
            pDlg->On_ShowPlaylistRightMenu(pList->mapToGlobal(QPoint(10, 10)));
        }
        QMenu* pMenu = Menu(nMenu == 0   ? "m_pMainRightMenu"
                            : nMenu == 1 ? "m_pMainMenu"
                                         : "m_pPlaylistRightMenu");
        return pMenu->isVisible() ? pMenu : nullptr;
    }
    // Triggers the entry of key szKey in a menu popped by Pop(nMenu).
    bool Trigger(int nMenu, const char* szKey) {
        QMenu* pMenu = Pop(nMenu);
        if (!pMenu)
            return false;
        for (QAction* pAction : pMenu->actions()) {
            if (pAction->property("langKey").toString() == QLatin1String(szKey))
                pAction->trigger();
        }
        pMenu->hide();
        return true;
    }
    void SelectRow(const QString& strPath) {
        pList->clearSelection();
        const int nRow = strPath.isEmpty() ? -1 : pList->GetRowByPath(strPath);
        if (nRow >= 0)
            pList->item(nRow)->setSelected(true);
    }
    // Window i plays lstPaths[i], for each path given.
    bool WaitPlaying(const QStringList& lstPaths) {
        return QTest::qWaitFor(
            [&] {
                for (int i = 0; i < lstPaths.size(); ++i) {
                    if (pStage->GetPlayState(i) != 1 || pStage->GetWndFilePath(i) != lstPaths[i])
                        return false;
                }
                return true;
            },
            kPlayTimeoutMs);
    }
};

// Visible entries of a menu and its visible submenus, named as kExpected names them.
void WalkMenu(QMenu* pMenu, QList<QPair<QString, QAction*>>& lstOut) {
    QHash<QString, int> hashSeen;
    for (QAction* pAction : pMenu->actions()) {
        if (pAction->isSeparator() || !pAction->isVisible())
            continue;
        QString strName = pMenu->objectName() + "/" + pAction->property("langKey").toString();
        const int nSeen = ++hashSeen[strName];
        if (nSeen > 1)
            strName += "#" + QString::number(nSeen);
        lstOut.append({strName, pAction});
        if (pAction->menu())
            WalkMenu(pAction->menu(), lstOut);
    }
}

} // namespace

class TestMenusLanguage : public QObject {
    Q_OBJECT

    StringMap m_mapEn;
    StringMap m_mapZh;
    QSet<QString> m_setDefaults;

    // The text an entry must show: its key's string in the file of the
    // language, or its default where that file lacks the key.
    QString Expected(QAction* pAction, int nLanguage) const {
        const QString strKey = pAction->property("langKey").toString();
        const StringMap& map = nLanguage == 0 ? m_mapZh : m_mapEn;
        return map.value(strKey, pAction->property("langDefault").toString());
    }

    // Walks the menu just popped; every entry must be known, show its text and
    // have the state of the situation.
    void CheckMenu(QMenu* pMenu, Situation eSit, int nLanguage, QSet<QString>& setSeen) {
        QList<QPair<QString, QAction*>> lstEntries;
        WalkMenu(pMenu, lstEntries);
        for (const auto& entry : lstEntries) {
            const QString strWhere =
                QString("%1 in %2, language %3").arg(entry.first, kSituationNames[eSit]).arg(nLanguage);
            QAction* pAction = entry.second;
            QVERIFY2(pAction->text() == Expected(pAction, nLanguage),
                     qPrintable(strWhere + ": \"" + pAction->text() + "\""));
            QVERIFY2(kExpected.contains(entry.first), qPrintable("unexpected entry " + strWhere));
            QChar cWant = kExpected.value(entry.first).at(eSit);
            // The table's check of the language menu is the English one's.
            if (nLanguage == 0 && (entry.first == "m_pLanguageMenu/IDS_MainWnd_LangEnglish" ||
                                   entry.first == "m_pLanguageMenu/IDS_MainWnd_LangChinese_SI"))
                cWant = cWant == 'c' ? 'e' : 'c';
            const QChar cHave = !pAction->isEnabled() ? 'd' : pAction->isChecked() ? 'c' : 'e';
            QVERIFY2(cHave == cWant,
                     qPrintable(QString("%1: state %2, expected %3").arg(strWhere).arg(cHave).arg(cWant)));
            setSeen.insert(entry.first);
        }
        pMenu->hide();
    }

    void CheckAllMenus(MenuFixture& fx, Situation eSit, int nLanguage) {
        QSet<QString> setSeen;
        for (int nMenu = 0; nMenu < 3; ++nMenu) {
            QMenu* pMenu = fx.Pop(nMenu);
            QVERIFY(pMenu);
            CheckMenu(pMenu, eSit, nLanguage, setSeen);
            RETURN_IF_FAILED();
        }
        // Nothing the table shows for this situation was missing from the menus.
        for (auto it = kExpected.cbegin(); it != kExpected.cend(); ++it) {
            if (it.value().at(eSit) != '-')
                QVERIFY2(setSeen.contains(it.key()),
                         qPrintable(it.key() + " missing, " + kSituationNames[eSit]));
        }
    }

    // Picks a language through the main menu.
    bool SwitchTo(MenuFixture& fx, int nIndex) {
        QMenu* pMenu = fx.Pop(1);
        if (!pMenu)
            return false;
        fx.Menu("m_pLanguageMenu")->actions().value(nIndex)->trigger();
        pMenu->hide();
        return true;
    }

    void CheckBothLanguages(MenuFixture& fx, Situation eSit) {
        CheckAllMenus(fx, eSit, 1);
        RETURN_IF_FAILED();
        QVERIFY(SwitchTo(fx, 1));
        QCOMPARE(fx.pDlg->GetLanguage(), 0);
        CheckAllMenus(fx, eSit, 0);
        RETURN_IF_FAILED();
        QVERIFY(SwitchTo(fx, 0));
        QCOMPARE(fx.pDlg->GetLanguage(), 1);
    }

    // Texts of no language: numbers, times, sizes, paths, the program's and the
    // clips' names (whole, or cut short with an ellipsis).
    bool IsNeutral(const QString& strText) const {
        static const QRegularExpression reNeutral(QStringLiteral("^[\\d\\s:./%()*+x\\-\u2014|,]*$"));
        static const QRegularExpression reSize(QStringLiteral("^[\\d.,]+\\s*(B|KB|MB|GB)$"));
        if (reNeutral.match(strText).hasMatch() || reSize.match(strText).hasMatch() || strText.contains('/'))
            return true;
        QStringList lstNames = kSyncClips;
        lstNames << "bars.mp4"
                 << "Velquin";
        const int nEllipsis = strText.indexOf(QChar(0x2026));
        if (nEllipsis > 0) {
            const QString strStart = strText.left(nEllipsis).trimmed();
            for (const QString& strName : lstNames) {
                if (strName.startsWith(strStart))
                    return true;
            }
        }
        QString strRest = strText;
        for (const QString& strName : lstNames)
            strRest.remove(strName);
        return strRest != strText && reNeutral.match(strRest).hasMatch();
    }
    // One of the language's strings, whole or as the start of a text that
    // adds numbers ("Volume: 50%"), or filled in where it has a place holder.
    bool IsOfLanguage(const QString& strRaw, int nLanguage) const {
        const QString strText = strRaw.trimmed();
        if (strText.isEmpty() || IsNeutral(strText))
            return true;
        const StringMap& map = nLanguage == 0 ? m_mapZh : m_mapEn;
        QList<QString> lstAllowed = map.values();
        if (nLanguage == 1)
            lstAllowed += m_setDefaults.values();
        for (const QString& strAllowed : lstAllowed) {
            if (strAllowed.isEmpty())
                continue;
            if (strText == strAllowed)
                return true;
            if (strText.startsWith(strAllowed) && IsNeutral(strText.mid(strAllowed.size())))
                return true;
            if (strAllowed.contains(QLatin1String("%d")) || strAllowed.contains(QLatin1String("%s"))) {
                QString strPattern = QRegularExpression::escape(strAllowed);
                strPattern.replace(QLatin1String("%d"), QLatin1String("\\d+"))
                    .replace(QLatin1String("%s"), ".+");
                if (QRegularExpression("^" + strPattern + "$").match(strText).hasMatch())
                    return true;
            }
        }
        return false;
    }

    // Every text of every window of the program in the given language.
    void CheckAllTexts(int nLanguage) {
        for (QWidget* pWidget : QApplication::allWidgets()) {
            if (pWidget->window()->objectName() == QLatin1String("NonModalMessageBox"))
                continue;
            QStringList lstTexts;
            lstTexts << pWidget->toolTip();
            if (pWidget->isWindow())
                lstTexts << pWidget->windowTitle();
            if (auto* pLabel = qobject_cast<QLabel*>(pWidget))
                lstTexts << pLabel->text();
            if (auto* pBtn = qobject_cast<QAbstractButton*>(pWidget))
                lstTexts << pBtn->text();
            if (auto* pMenu = qobject_cast<QMenu*>(pWidget)) {
                for (QAction* pAction : pMenu->actions())
                    lstTexts << pAction->text();
            }
            for (const QString& strText : lstTexts) {
                QVERIFY2(IsOfLanguage(strText, nLanguage),
                         qPrintable(QString("\"%1\" of %2 (%3) in language %4")
                                        .arg(strText, pWidget->objectName(),
                                             QString::fromLatin1(pWidget->metaObject()->className()))
                                        .arg(nLanguage)));
            }
        }
    }

private slots:
    void initTestCase() {
        m_mapEn = LoadLangFile("en_US.xml");
        m_mapZh = LoadLangFile("zh_CN.xml");
        m_setDefaults = LoadKeyDefaults();
        QVERIFY(m_mapEn.size() > 100 && m_mapZh.size() > 100 && m_setDefaults.size() > 100);
        for (const QString& strName : kSyncClips + QStringList{"bars.mp4", "stream_d1.ts"})
            QVERIFY2(QFile::exists(GuiMedia::Clip(strName)), "run make-test-media.sh");
    }

    void cleanup() { MainDlgFixture::CloseMessages(); }

    // Every menu in every situation, in both languages; the tools and the manual.
    void menuTreeInEverySituation() {
        MenuFixture fx;
        const quint16 nPort = fx.servers.StartHttpTs();
        QVERIFY2(nPort != 0, qPrintable(fx.servers.LastError()));
        QVERIFY(fx.Start());
        QCOMPARE(fx.pDlg->GetLanguage(), 1);

        // A stand-in for the merge tool that writes down its arguments.
        const QString strTool = QCoreApplication::applicationDirPath() + "/velquin-merge";
        QTemporaryDir dirOut;
        const QString strArgsFile = dirOut.path() + "/args.txt";
        {
            QFile script(strTool);
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$VELQUIN_TOOL_ARGS\"\n");
            script.close();
            QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        }
        auto removeTool = qScopeGuard([&] { QFile::remove(strTool); });
        qputenv("VELQUIN_TOOL_ARGS", strArgsFile.toLocal8Bit());
        auto toolArgs = [&]() -> QStringList {
            QFile file(strArgsFile);
            if (!file.open(QIODevice::ReadOnly))
                return {};
            return QString::fromLocal8Bit(file.readAll()).split('\n', Qt::SkipEmptyParts);
        };

        // Nothing open.
        fx.SelectRow(QString());
        CheckBothLanguages(fx, Empty);
        RETURN_IF_FAILED();
        // Choosing the language already shown loads nothing.
        QLabel* pTitle = fx.pDlg->findChild<QLabel*>("m_pLabPlaylistTitle");
        pTitle->setText("x");
        QVERIFY(SwitchTo(fx, 0));
        QCOMPARE(pTitle->text(), QStringLiteral("x"));
        QVERIFY(SwitchTo(fx, 1));
        QCOMPARE(pTitle->text(), m_mapZh.value("IDS_Global_Playlist"));
        QVERIFY(SwitchTo(fx, 0));
        // A tool without a file gets the language and the skin.
        QVERIFY(fx.Trigger(0, "IDS_Global_Merge"));
        QTRY_COMPARE_WITH_TIMEOUT(toolArgs(), (QStringList{"1", "0"}), 10000);
        // A missing tool and a missing manual are told.
        QVERIFY(fx.Trigger(0, "IDS_Global_Cut"));
        QCOMPARE(MainDlgFixture::MessageTexts("Information"), QStringList{"Need velquin-clip"});
        MainDlgFixture::CloseMessages();
        QVERIFY(fx.Trigger(1, "IDS_Global_UserManual"));
        QCOMPARE(MainDlgFixture::MessageTexts("Information"), QStringList{"No user manual found."});
        MainDlgFixture::CloseMessages();

        // One file, its row selected; the tool gets it as one argument.
        const QString strFile = GuiMedia::Clip("bars.mp4");
        QVERIFY(fx.pDlg->OpenFileList({strFile}));
        QVERIFY(fx.WaitPlaying({strFile}));
        fx.SelectRow(strFile);
        CheckBothLanguages(fx, File);
        RETURN_IF_FAILED();
        QFile::remove(strArgsFile);
        QVERIFY(fx.Trigger(0, "IDS_Global_Merge"));
        QTRY_COMPARE_WITH_TIMEOUT(toolArgs(), (QStringList{"1", strFile, "0"}), 10000);
        // The toolbox starts the same tool without the file.
        QFile::remove(strArgsFile);
        QTest::mouseClick(fx.Button("m_pBtnTools"), Qt::LeftButton);
        QWidget* pToolbox = fx.pDlg->findChild<QWidget*>("CToolsMenu");
        QVERIFY(pToolbox && pToolbox->isVisible());
        QTest::mouseClick(pToolbox->findChild<QAbstractButton*>("m_pBtnMerge"), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(toolArgs(), (QStringList{"1", "0"}), 10000);
        QVERIFY(!fx.pStage->updatesEnabled()); // held while the toolbox is up
        pToolbox->hide();
        QVERIFY(fx.pStage->updatesEnabled()); // and painting again however it closed

        // A stream, its row selected.
        OpenInfo stUrl;
        stUrl.nMediaType = 2;
        stUrl.strFilePath = QString("http://127.0.0.1:%1/live.ts").arg(nPort);
        QVERIFY(fx.pList->AddUrl(&stUrl));
        QVERIFY(fx.pDlg->PlayFileInWnd(0, &stUrl));
        QVERIFY(fx.WaitPlaying({stUrl.strFilePath}));
        QCOMPARE(fx.pStage->GetOpenMode(0), 2);
        fx.SelectRow(stUrl.strFilePath);
        CheckBothLanguages(fx, Stream);
        RETURN_IF_FAILED();

        // Several windows, the layout chosen in the control bar's popup.
        QTest::mouseClick(fx.Button("m_pBtnLayout"), Qt::LeftButton);
        QWidget* pLayoutPopup = fx.pDlg->findChild<QWidget*>("CPlayWndLayoutMenu");
        QVERIFY(pLayoutPopup && pLayoutPopup->isVisible());
        QTest::mouseClick(pLayoutPopup->findChild<QAbstractButton*>("m_pBtn4Wnd"), Qt::LeftButton);
        QCOMPARE(fx.pStage->GetPlayWndNum(), 4);
        QVERIFY(!pLayoutPopup->isVisible()); // the choice closes it
        const QStringList lstSync = {GuiMedia::Clip(kSyncClips[0]), GuiMedia::Clip(kSyncClips[1])};
        QVERIFY(fx.pDlg->OpenFileList(lstSync));
        QVERIFY(fx.WaitPlaying(lstSync));
        QVERIFY(fx.pStage->On_ChangeSelWnd(0) || fx.pStage->GetSelWndIndex() == 0);
        fx.SelectRow(QString());
        CheckBothLanguages(fx, Multi);
        RETURN_IF_FAILED();

        // The same windows as one group.
        QVERIFY(fx.pDlg->On_SyncPlay());
        QVERIFY(fx.pStage->IsSyncPlay());
        CheckBothLanguages(fx, Sync);
    }

    // English, Chinese, English with the ruler, the toolbox and the layout popup
    // made: no window keeps a text of the other language.
    void languageSwitchReachesEveryWindow() {
        MenuFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        const QStringList lstSync = {GuiMedia::Clip(kSyncClips[0]), GuiMedia::Clip(kSyncClips[1])};
        QVERIFY(fx.pDlg->OpenFileList(lstSync));
        QVERIFY(fx.WaitPlaying(lstSync));
        QVERIFY(fx.pDlg->On_SyncPlay());
        QVERIFY(fx.pDlg->On_ShowToolsDlg());
        QVERIFY(fx.pDlg->On_ShowSelectMultiWndsDlg());
        // Every state-dependent text is set by now.
        QVERIFY(fx.pDlg->On_UpdateCtrlsState());
        CheckAllTexts(1);
        for (int nIndex : {1, 0}) {
            QVERIFY(SwitchTo(fx, nIndex));
            const int nLanguage = nIndex == 1 ? 0 : 1;
            QCOMPARE(fx.pDlg->GetLanguage(), nLanguage);
            CheckAllTexts(nLanguage);
        }
    }
};

QTEST_MAIN(TestMenusLanguage)
#include "TestMenusLanguage.moc"
