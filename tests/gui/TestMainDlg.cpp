// The main dialog offscreen: start and restart, widget names, title and clock,
// keys, the start page, opening, the end of a file and run-time errors.

#include <QtTest>

#include <QDateTime>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QScreen>
#include <QSlider>
#include <QTemporaryDir>

#include "AllGlobalConfig.h"
#include "CPlayWnd.h"
#include "CPlayerConfigFile.h"
#include "GlobalCfgHelper.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "MainDlgNames.h"
#include "StartPageWnd.h"

namespace {

const int kPlayTimeoutMs = 20000;
using Fixture = MainDlgFixture;

bool WriteText(const QString& strPath, const QByteArray& baText) {
    QFile file(strPath);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(baText) == baText.size();
}

const QByteArray kLanguageList = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GlobalConfig><LanguageList>"
                                 "<Item type=\"1\" name=\"English\" /><Item type=\"0\" name=\"Chinese\" />"
                                 "</LanguageList></GlobalConfig>\n";

QByteArray GlobalConfig(int nLanguage) {
    return QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GlobalConfig><Language>%1</Language>"
                          "<Skin>0</Skin></GlobalConfig>\n")
        .arg(nLanguage)
        .toUtf8();
}

// The dialog's own maximised geometry: the available screen, or the minimum
// size where the screen is smaller (the offscreen screen may be).
QRect MaximisedGeometry(const QWidget* pDlg) {
    const QRect rcAvail = QGuiApplication::primaryScreen()->availableGeometry();
    return QRect(rcAvail.topLeft(), rcAvail.size().expandedTo(pDlg->minimumSize()));
}

bool WaitPlaying(const Fixture& fx, int nWnd) {
    return QTest::qWaitFor([&] { return Fixture::Playing(fx.pStage->GetPlayState(nWnd)); }, kPlayTimeoutMs);
}

} // namespace

class TestMainDlg : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(GuiMedia::Clip("h264_aac.mp4")), "run make-test-media.sh"); }

    // ---- start and configuration ----

    void languageFromConfigurationFiles_data() {
        QTest::addColumn<bool>("bGlobal");
        QTest::addColumn<int>("nStored");
        QTest::addColumn<bool>("bList");
        QTest::addColumn<int>("nExpected");
        QTest::newRow("no files: English") << false << -1 << false << 1;
        QTest::newRow("stored language in the list") << true << 0 << true << 0;
        QTest::newRow("stored language not in the list: first entry") << true << 7 << true << 1;
        QTest::newRow("no language list: English") << true << 0 << false << 1;
        QTest::newRow("no GlobalConfig: system language")
            << false << -1 << true << CVelquinDlg::DefaultLanguageFromLocale(QLocale::system());
    }
    void languageFromConfigurationFiles() {
        QFETCH(bool, bGlobal);
        QFETCH(int, nStored);
        QFETCH(bool, bList);
        QFETCH(int, nExpected);
        Fixture fx;
        if (bGlobal)
            QVERIFY(WriteText(fx.dirConfig.filePath("GlobalConfig.xml"), GlobalConfig(nStored)));
        if (bList)
            QVERIFY(WriteText(fx.dirConfig.filePath("GlobalLanguageConfig.xml"), kLanguageList));
        QVERIFY(fx.Start());
        QCOMPARE(fx.pDlg->GetLanguage(), nExpected);
        QCOMPARE(fx.pDlg->GetPlayerConfig().vecLanguages.size(), bList ? 2 : 0);
        // A first start takes its size from the screen.
        QCOMPARE(fx.pDlg->size(),
                 CVelquinDlg::InitialSizeForScreen(QGuiApplication::primaryScreen()->size()));
        if (nStored != 0 || !bList)
            return;
        // The hidden language button switches Chinese and English; stored at exit only.
        QVERIFY(fx.pDlg->On_ChangeLanguageCN_EN());
        QCOMPARE(fx.pDlg->GetLanguage(), 1);
        AllGlobalConfig cfg;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(fx.dirConfig.filePath("GlobalConfig.xml"), &cfg));
        QCOMPARE(cfg.nLanguage, 0);
        QVERIFY(fx.pDlg->UnInit());
        fx.pDlg.reset();
        QVERIFY(GlobalCfgHelper::ReadConfigFile(fx.dirConfig.filePath("GlobalConfig.xml"), &cfg));
        QCOMPARE(cfg.nLanguage, 1);
        QCOMPARE(cfg.nSkinIndex, 0);
    }

    void startRules() {
        QCOMPARE(CVelquinDlg::DefaultLanguageFromLocale(QLocale(QLocale::Chinese, QLocale::China)), 0);
        QCOMPARE(CVelquinDlg::DefaultLanguageFromLocale(QLocale(QLocale::Chinese, QLocale::Taiwan)), 1);
        QCOMPARE(CVelquinDlg::InitialSizeForScreen(QSize(1920, 1079)), QSize(914, 565));
        QCOMPARE(CVelquinDlg::InitialSizeForScreen(QSize(1919, 1200)), QSize(914, 565));
        QCOMPARE(CVelquinDlg::InitialSizeForScreen(QSize(1920, 1080)), QSize(1160, 660));
    }

    void restartBringsBackLayoutSoundAndGeometry() {
        QTemporaryDir dirConfig;
        QRect rcNormal;
        {
            Fixture fx(dirConfig.path());
            QVERIFY(fx.Start());
            QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
            QVERIFY(fx.pDlg->SetVolumeValue(130));
            QVERIFY(fx.pDlg->On_Mute());
            // A normal geometry that fits the screen, so that it comes back as it is.
            const QRect rcAvail = QGuiApplication::primaryScreen()->availableGeometry();
            QVERIFY(rcAvail.height() >= 580);
            rcNormal =
                QRect(rcAvail.topLeft() + QPoint(qBound(0, rcAvail.width() - 914, 20), 10), QSize(914, 570));
            fx.pDlg->setGeometry(rcNormal);
            QTRY_COMPARE(fx.pDlg->geometry(), rcNormal);
            QTest::mouseClick(fx.Button("m_pBtnMax"), Qt::LeftButton);
            QTRY_COMPARE(fx.pDlg->geometry(), MaximisedGeometry(fx.pDlg.get()));
        } // the exit writes the configuration

        Fixture fx(dirConfig.path());
        QVERIFY(fx.Start());
        QCOMPARE(fx.pStage->GetPlayWndNum(), 4);
        QSlider* pSound = fx.pDlg->findChild<QSlider*>("m_pSliderSound");
        QCOMPARE(pSound->value(), 100); // the slider ends at 100; the volume goes on to 130
        QCOMPARE(pSound->toolTip(), QStringLiteral("Volume: 130%"));
        QCOMPARE(fx.Button("m_pBtnMute")->toolTip(), QStringLiteral("Cancel Mute"));
        QTRY_COMPARE(fx.Button("m_pBtnMax")->toolTip(), QStringLiteral("Restore window"));
        QCOMPARE(fx.pDlg->geometry(), MaximisedGeometry(fx.pDlg.get()));
        // Out of the maximised state the dialog goes back where it was left.
        QTest::mouseClick(fx.Button("m_pBtnMax"), Qt::LeftButton);
        QTRY_COMPARE(fx.pDlg->geometry(), rcNormal);
        QCOMPARE(fx.Button("m_pBtnMax")->toolTip(), QStringLiteral("Maximize"));

        // Paths given at start fill the remembered layout from window 0; the last is selected.
        const QStringList lstClips = {GuiMedia::Clip("h264_aac.mp4"), GuiMedia::Clip("mpeg4.mp4"),
                                      GuiMedia::Clip("silent_h264.mp4")};
        QVERIFY(fx.pDlg->OpenFileList(lstClips));
        for (int i = 0; i < 3; ++i) {
            QVERIFY(WaitPlaying(fx, i));
            QCOMPARE(QDir::fromNativeSeparators(fx.pStage->GetWndFilePath(i)), lstClips.at(i));
        }
        QCOMPARE(fx.pStage->GetPlayState(3), 0);
        QCOMPARE(fx.pStage->GetSelWndIndex(), 2);
        // One Down key takes the remembered 130 to 120 and lifts the mute.
        QTest::keyClick(fx.pDlg->windowHandle(), Qt::Key_Down);
        QCOMPARE(pSound->toolTip(), QStringLiteral("Volume: 120%"));
        QCOMPARE(fx.Button("m_pBtnMute")->toolTip(), QStringLiteral("Mute"));
    }

    void geometryOffEveryScreenComesBackOnScreen() {
        // A monitor that has gone: the stored place lies far off every screen.
        Fixture fx;
        PlayerConfig cfg;
        CPlayerConfigFile::SetDefaults(&cfg, fx.strConfigDir);
        cfg.rcMainDlg = QRect(-6000, -4000, 1000, 640);
        QVERIFY(CPlayerConfigFile().WritePlayerConfig(fx.dirConfig.filePath("PlayerConfig.xml"), &cfg));
        QVERIFY(fx.Start());
        const QRect rcAvail = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect rcDlg = fx.pDlg->geometry();
        // Its title bar, where it is dragged from, is on the screen.
        QVERIFY2(rcAvail.contains(rcDlg.topLeft()),
                 qPrintable(QStringLiteral("%1,%2").arg(rcDlg.x()).arg(rcDlg.y())));
        QVERIFY(rcDlg.width() >= 914 && rcDlg.height() >= 565);
        QVERIFY(rcDlg.height() <= qMax(rcAvail.height(), 565));
        QCOMPARE(fx.Button("m_pBtnMax")->toolTip(), QStringLiteral("Maximize"));
    }

    // ---- widget tree, title bar ----

    // The skins select on these names; the dialog must carry every one.
    void freshDialogNamesLayoutMenuAndDrag() {
        Fixture fx;
        QVERIFY(fx.Start());
        const QStringList names = MainDlgWidgetNames() << "verticalLayout_4"
                                                       << "m_pHLayoutMainClient";
        for (const QString& strName : names)
            QVERIFY2(fx.pDlg->findChild<QObject*>(strName), qPrintable(strName));
        QVERIFY(fx.Button("m_pBtnLanguage")->isHidden());
        QVERIFY(fx.Button("m_pBtnListDelete")->isHidden());
        QCOMPARE(fx.pDlg->minimumSize(), QSize(914, 565));

        // The layout menu; from a maximised window the new layout starts restored.
        QMenu* pMenu = fx.pDlg->findChild<QMenu*>("m_pPlayWndLayoutMenu");
        QVERIFY(pMenu && pMenu->actions().size() == 4);
        pMenu->actions().at(2)->trigger();
        QCOMPARE(fx.pStage->GetPlayWndNum(), 9);
        fx.pStage->ToggleMaxWnd();
        QVERIFY(fx.pStage->IsMaxWnd());
        pMenu->actions().at(1)->trigger();
        QCOMPARE(fx.pStage->GetPlayWndNum(), 4);
        QVERIFY(!fx.pStage->IsMaxWnd());

        // The title bar drags the dialog.
        fx.pDlg->move(100, 100);
        QTRY_COMPARE(fx.pDlg->pos(), QPoint(100, 100));
        QWidget* pTitle = fx.pDlg->findChild<QWidget*>("m_pTitleBarContainer");
        const QPoint ptLocal(pTitle->width() / 2, pTitle->height() / 2);
        auto drag = [&](QPoint ptBy) {
            const QPoint ptAt = pTitle->mapToGlobal(ptLocal);
            auto send = [&](QEvent::Type eType, QPoint pt, Qt::MouseButtons buttons) {
                QMouseEvent ev(eType, fx.pDlg->mapFromGlobal(pt), pt, Qt::LeftButton, buttons,
                               Qt::NoModifier);
                QCoreApplication::sendEvent(fx.pDlg.get(), &ev);
            };
            send(QEvent::MouseButtonPress, ptAt, Qt::LeftButton);
            send(QEvent::MouseMove, ptAt + ptBy, Qt::LeftButton);
            send(QEvent::MouseButtonRelease, ptAt + ptBy, Qt::NoButton);
        };
        drag(QPoint(40, 30));
        QTRY_COMPARE(fx.pDlg->pos(), QPoint(140, 130));
        // A drag that leaves the title bar above the screen snaps back to y = 1.
        drag(QPoint(0, -300));
        QTRY_COMPARE(fx.pDlg->pos().y(), 1);
    }

    // ---- title, clock, keys and the start page ----

    void titleAndClockFollowSelectedWindow() {
        Fixture fx;
        QVERIFY(fx.Start());
        QLabel* pTitle = fx.pDlg->findChild<QLabel*>("m_pLabMainWndTitle");
        QCOMPARE(fx.pDlg->windowTitle(), QStringLiteral("Velquin"));
        QCOMPARE(pTitle->text(), QStringLiteral("Velquin"));
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        // Window 0: a recording with a creation time, 2024-03-15 10:00:00 at 25
        // frames a second; window 1, selected last: none.
        QVERIFY(fx.pDlg->OpenFileList({GuiMedia::Clip("sync_a_25fps.mp4"), GuiMedia::Clip("no_clock.mp4")}));
        QVERIFY(WaitPlaying(fx, 0) && WaitPlaying(fx, 1));
        QCOMPARE(fx.pStage->GetSelWndIndex(), 1);
        QTRY_COMPARE(fx.pDlg->windowTitle(), QStringLiteral("no_clock.mp4 \u2014 Velquin"));
        QCOMPARE(pTitle->text(), fx.pDlg->windowTitle());
        QTRY_VERIFY(!fx.Label("m_pLabFrameIndex").isEmpty()); // the timer has read window 1
        QCOMPARE(fx.Label("m_pLabGlobalTime"), QString());

        QVERIFY(fx.pStage->On_ChangeSelWnd(0));
        QCOMPARE(fx.pDlg->windowTitle(), QStringLiteral("sync_a_25fps.mp4 \u2014 Velquin"));
        // Some way into the file, so that the offset counts.
        QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetCurrentFrameNum() >= 30 &&
                                     fx.pStage->GetCurrentFrameNum() != 0xFFFFFFFFu,
                                 kPlayTimeoutMs);
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_COMPARE(fx.pStage->GetPlayState(0), 2);
        // Paused, the label must name the shown frame's time: 10:00:00 plus its offset.
        const QDateTime dtBegin(QDate(2024, 3, 15), QTime(10, 0, 0), Qt::UTC);
        auto clockError = [&]() -> qint64 {
            const QDateTime dtShown =
                QDateTime::fromString(fx.Label("m_pLabGlobalTime"), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
            if (!dtShown.isValid())
                return -1;
            const qint64 nFrameMs = qint64(fx.pStage->GetCurrentFrameNum()) * 1000 / 25;
            return qAbs(
                QDateTime(dtShown.date(), dtShown.time(), Qt::UTC).msecsTo(dtBegin.addMSecs(nFrameMs)));
        };
        QTRY_VERIFY_WITH_TIMEOUT(clockError() >= 0 && clockError() < 1000, 5000);

        // Back to the clip without a clock: the label empties at once.
        QVERIFY(fx.pStage->On_ChangeSelWnd(1));
        QCOMPARE(fx.Label("m_pLabGlobalTime"), QString());
        // Closing what the selected window shows leaves the program's name.
        QVERIFY(fx.pDlg->On_CloseByFilePath(GuiMedia::Clip("no_clock.mp4")));
        QTRY_COMPARE(fx.pDlg->windowTitle(), QStringLiteral("Velquin"));
        QCOMPARE(pTitle->text(), QStringLiteral("Velquin"));
    }

    void keysReachDialogAfterClickInPlaylist() {
        Fixture fx;
        QVERIFY(fx.Start());
        // Nothing in the dialog takes the keyboard but fields to type into.
        for (QWidget* pWidget : fx.pDlg->findChildren<QWidget*>()) {
            if (pWidget->isWindow() || pWidget->inherits("QLineEdit") ||
                pWidget->inherits("QAbstractSpinBox") || pWidget->inherits("QTextEdit"))
                continue;
            QVERIFY2(pWidget->focusPolicy() == Qt::NoFocus,
                     qPrintable(QStringLiteral("%1 %2").arg(pWidget->metaObject()->className(),
                                                            pWidget->objectName())));
        }

        QVERIFY(fx.pDlg->OpenFileList({GuiMedia::Clip("sync_a_25fps.mp4")}));
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->GetPlayState(0), 1, kPlayTimeoutMs);
        OpenInfo stSecond = GuiMedia::FileInfo(GuiMedia::Clip("no_clock.mp4"));
        QVERIFY(fx.pList->AddFile(&stSecond)); // a row below, for the list's own Down to move to
        QTest::mouseClick(fx.pList->viewport(), Qt::LeftButton, Qt::NoModifier,
                          fx.pList->visualItemRect(fx.pList->item(0)).center());
        QVERIFY(fx.pList->item(0)->isSelected());
        QWidget* pFocus = QApplication::focusWidget();
        QVERIFY2(!pFocus || (pFocus != fx.pList && !fx.pList->isAncestorOf(pFocus)),
                 pFocus ? pFocus->metaObject()->className() : "");

        // Keys as the window system delivers them: the hot keys work.
        QSlider* pSound = fx.pDlg->findChild<QSlider*>("m_pSliderSound");
        QWindow* pWindow = fx.pDlg->windowHandle();
        QTest::keyClick(pWindow, Qt::Key_Space);
        QTRY_COMPARE(fx.pStage->GetPlayState(0), 2);
        QTest::keyClick(pWindow, Qt::Key_Up);
        QCOMPARE(pSound->value(), 60);
        // A key that reaches the list is not the list's: Down moves no selection,
        // it turns the volume down.
        QTest::keyClick(fx.pList, Qt::Key_Down);
        QCOMPARE(pSound->value(), 50);
        QVERIFY(fx.pList->item(0)->isSelected() && !fx.pList->item(1)->isSelected());
        // A play window hands its keys to the stage, the stage to the dialog.
        QTest::keyClick(fx.pStage->GetPlayWnd(0), Qt::Key_Up);
        QCOMPARE(pSound->value(), 60);
        // Escape does not close the dialog.
        QTest::keyClick(pWindow, Qt::Key_Escape);
        QVERIFY(fx.pDlg->isVisible());

        // Volume: the slider takes 0 to 100, keys go on past it.
        QVERIFY(!fx.pDlg->On_SliderSetVolume(101));
        QVERIFY(!fx.pDlg->On_SliderSetVolume(-1));
        QVERIFY(fx.pDlg->On_SliderSetVolume(30));
        QCOMPARE(pSound->toolTip(), QStringLiteral("Volume: 30%"));
        // The keys step by 10 and stop at 100 on the way up; past it the slider stays at 100.
        QVERIFY(fx.pDlg->SetVolumeValue(95));
        QTest::keyClick(fx.pDlg.get(), Qt::Key_Up);
        QCOMPARE(pSound->value(), 100);
        QCOMPARE(pSound->toolTip(), QStringLiteral("Volume: 100%"));
        QTest::keyClick(fx.pDlg.get(), Qt::Key_Up);
        QCOMPARE(pSound->toolTip(), QStringLiteral("Volume: 110%"));
        QCOMPARE(pSound->value(), 100);
    }

    void startPageButtonsReachOpenDialogs() {
        Fixture fx;
        QVERIFY(fx.Start());
        StartPageWnd* pPage = fx.pStage->findChild<StartPageWnd*>();
        QVERIFY(pPage);
        QTRY_VERIFY(pPage->isVisible());
        QTRY_COMPARE(pPage->geometry(), fx.pStage->rect());
        auto click = [&](const char* szButton) {
            QAbstractButton* pBtn = pPage->findChild<QAbstractButton*>(QString::fromLatin1(szButton));
            QVERIFY2(pBtn, szButton);
            pBtn->click();
        };
        {
            ModalRejecter rejecter("QFileDialog");
            click("m_pBtnOpenFile");
            QCOMPARE(rejecter.Rejected(), 1);
            click("m_pBtnOpenFolder");
            QCOMPARE(rejecter.Rejected(), 2);
        }
        {
            // The stream dialog comes from the event loop, after the click.
            ModalRejecter rejecter("InputURLDlg");
            click("m_pBtnOpenStream");
            QTRY_COMPARE(rejecter.Rejected(), 1);
        }
        QVERIFY(fx.pDlg->OpenFileList({GuiMedia::Clip("h264_aac.mp4")}));
        QVERIFY(WaitPlaying(fx, 0));
        QTRY_VERIFY(!pPage->isVisible());
    }

    // ---- opening and playing ----

    void onePathPlaysInSelectedWindow() {
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        QVERIFY(fx.pStage->On_ChangeSelWnd(2));
        const QString strClip = GuiMedia::Clip("h264_aac.mp4");
        QVERIFY(fx.pDlg->OpenFileList({strClip}));
        QCOMPARE(fx.pStage->GetSelWndIndex(), 2);
        QVERIFY(WaitPlaying(fx, 2));
        QCOMPARE(QDir::fromNativeSeparators(fx.pStage->GetWndFilePath(2)), strClip);
        for (int i : {0, 1, 3})
            QCOMPARE(fx.pStage->GetPlayState(i), 0);
        QVERIFY(fx.Button("m_pBtnStop")->isEnabled());

        // Play/pause toggles the selected window, stop stops it.
        QTest::mouseClick(fx.Button("m_pBtnPlayOrPause"), Qt::LeftButton);
        QTRY_COMPARE(fx.pStage->GetPlayState(2), 2);
        QTRY_COMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Pause"));
        QTest::mouseClick(fx.Button("m_pBtnPlayOrPause"), Qt::LeftButton);
        QTRY_COMPARE(fx.pStage->GetPlayState(2), 1);
        QTest::mouseClick(fx.Button("m_pBtnStop"), Qt::LeftButton);
        QTRY_COMPARE(fx.pStage->GetPlayState(2), 3);
        QVERIFY(!fx.Button("m_pBtnStop")->isEnabled());
        QCOMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Ready"));

        // With nothing playing, play starts the selected playlist row.
        QVERIFY(fx.pList->count() >= 1);
        fx.pList->setCurrentRow(0);
        QVERIFY(fx.Button("m_pBtnPlayOrPause")->isEnabled());
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QTest::mouseClick(fx.Button("m_pBtnPlayOrPause"), Qt::LeftButton);
        QVERIFY(WaitPlaying(fx, 2));

        // The play timer fills the labels while the file plays: 50 frames at 25/s.
        const int nFrames = GuiMedia::FrameCount("h264_aac.mp4");
        QTRY_COMPARE_WITH_TIMEOUT(fx.Label("m_pLabWholeTime"), QStringLiteral("00:00:02"), kPlayTimeoutMs);
        QTRY_VERIFY(fx.Label("m_pLabFrameIndex").endsWith(QStringLiteral("/%1").arg(nFrames)));
        QCOMPARE(fx.Label("m_pLabFileName"), QStringLiteral("h264_aac.mp4"));
        QCOMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Playing"));
        // Single play: the window that ended stops and the controls follow.
        QVERIFY(spyEnd.wait(kPlayTimeoutMs) || spyEnd.count() > 0);
        QCOMPARE(spyEnd.first().at(0).toInt(), 2);
        QTRY_COMPARE(fx.pStage->GetPlayState(2), 3);
        QTRY_VERIFY(!fx.Button("m_pBtnStop")->isEnabled());
        QTRY_COMPARE(fx.Label("m_pLabWholeTime"), QStringLiteral("00:00:00"));
        QCOMPARE(fx.Label("m_pLabFrameIndex"), QString());
    }

    void runTimeErrorStopsByTypeInItsWindow() {
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        const QString strClip = GuiMedia::Clip("h264_aac.mp4");
        const QString strLong = GuiMedia::Clip("ch02_20240315103000_20240315103010.mp4");
        QVERIFY(fx.pDlg->OpenFileList({strClip, strLong}));
        QVERIFY(WaitPlaying(fx, 0) && WaitPlaying(fx, 1));

        // Type 0 on ordinary material is only reported, the window goes on.
        emit fx.pStage->Sig_ErrorToStopPlay(strClip, 0, false);
        QCoreApplication::processEvents();
        QVERIFY(fx.Playing(fx.pStage->GetPlayState(0)));
        // A wrong key (type 5) stops the window of that file; the selected one plays on.
        emit fx.pStage->Sig_ErrorToStopPlay(strClip, 5, false);
        QTRY_VERIFY(!fx.Playing(fx.pStage->GetPlayState(0)));
        QVERIFY(fx.Playing(fx.pStage->GetPlayState(1)));
        // Type 0 on fisheye material stops as well.
        emit fx.pStage->Sig_ErrorToStopPlay(strLong, 0, true);
        QTRY_VERIFY(!fx.Playing(fx.pStage->GetPlayState(1)));
    }
};

QTEST_MAIN(TestMainDlg)
#include "TestMainDlg.moc"
