// The about box, layout and tools popups, start page and full screen sync ruler.

#include <QSignalSpy>
#include <QtTest>

#include <QAbstractButton>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>

#include <algorithm>
#include <memory>
#include <vector>

#include "AboutDlg.h"
#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlayWndLayoutMenu.h"
#include "CSkinButton.h"
#include "CToolsMenu.h"
#include "GuiMedia.h"
#include "OpenInfo.h"
#include "SkinManager.h"
#include "StartPageWnd.h"
#include "SyncPlayProgressFullScreenDlg.h"

using namespace GuiMedia;

// The main dialog as the full screen ruler finds it: this class name, a stage, play/pause.
class CVelquinDlg : public QDialog {
    Q_OBJECT
public:
    CVelquinDlg() {
        m_pStage = new CDlgShow(this);
        m_pStage->setObjectName(QStringLiteral("m_pDlgShow"));
        m_pStage->resize(400, 300);
    }
    CDlgShow* m_pStage = nullptr;
    int m_nPlayOrPause = 0;

public slots:
    bool On_PlayOrPause() {
        ++m_nPlayOrPause;
        return m_pStage->PlayOrPause();
    }
};

namespace {

TAVRIX_SYSTEM_TIME At(int nHour, int nMinute) {
    return TAVRIX_SYSTEM_TIME{2024, 3, 15, nHour, nMinute, 0, 0};
}

SYNC_WND_FILE Row(int nWndIndex, const TAVRIX_SYSTEM_TIME& stBegin, const TAVRIX_SYSTEM_TIME& stEnd) {
    SYNC_WND_FILE row;
    row.nWndIndex = nWndIndex;
    row.strFilePath = QStringLiteral("/rec/cam%1.mp4").arg(nWndIndex + 1);
    row.stFileTime = FILE_INFO_SYNC{stBegin, stEnd};
    row.nBeginStamp = CPlayHelper::GetGlobalTimeStamp(&stBegin);
    row.nEndStamp = CPlayHelper::GetGlobalTimeStamp(&stEnd);
    return row;
}

template <class T> T* Child(const QWidget* pParent, const char* szName) {
    return pParent->findChild<T*>(QString::fromLatin1(szName));
}

} // namespace

class TestPopups : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(SkinManager::GetInstance());
        qRegisterMetaType<QMouseEvent*>();
    }

    // The compiler's date text (an unknown month stays); the engine version byte by byte.
    void buildDateAndVersion() {
        QCOMPARE(AboutDlg::BuildDateDigits(QStringLiteral("Jul  2 2018")), QStringLiteral("20180702"));
        QCOMPARE(AboutDlg::BuildDateDigits(QStringLiteral("Dec 25 2023")), QStringLiteral("20231225"));
        QCOMPARE(AboutDlg::BuildDateDigits(QStringLiteral("Foo 25 2023")), QStringLiteral("2023Foo25"));
        QVERIFY(AboutDlg::BuildDateDigits(QStringLiteral("2023")).isEmpty());
        QVERIFY(AboutDlg::BuildDateDigits(QStringLiteral("Jul   2 2018")).isEmpty());
        QCOMPARE(AboutDlg::EngineVersionText(0xFF000A00u), QStringLiteral("Tavrix.dll, V255.0.10.0"));

        AboutDlg dlg;
        QVERIFY(dlg.Init());
        const QString strVersion = Child<QLabel>(&dlg, "m_pLabelPlayerVision")->text();
        QCOMPARE(strVersion.left(21), QStringLiteral("Velquin, V7.4.1 Build"));
        QVERIFY2(QRegularExpression(QStringLiteral("^20\\d{6}$")).match(strVersion.mid(21)).hasMatch(),
                 qPrintable(strVersion));
    }

    // Layout counts and marks, tools without a file, both popups fold away on focus loss.
    void layoutAndToolsPopups() {
        CPlayWndLayoutMenu layoutMenu;
        QVERIFY(layoutMenu.Init());
        const char* szNames[] = {"m_pBtn1Wnd", "m_pBtn4Wnd", "m_pBtn9Wnd", "m_pBtn16Wnd"};
        const int nNums[] = {1, 4, 9, 16};
        CSkinButton* pBtns[4];
        layoutMenu.show();
        QVERIFY(QTest::qWaitForWindowExposed(&layoutMenu));
        QSignalSpy spyNum(&layoutMenu, &CPlayWndLayoutMenu::Sig_ChangePlayWndNum);
        for (int i = 0; i < 4; ++i) {
            pBtns[i] = Child<CSkinButton>(&layoutMenu, szNames[i]);
            QVERIFY(pBtns[i]);
            QTest::mouseClick(pBtns[i], Qt::LeftButton);
            QCOMPARE(spyNum.count(), i + 1);
            QCOMPARE(spyNum.at(i).at(0).toInt(), nNums[i]);
        }

        QVERIFY(layoutMenu.SetCurWndNum(9));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(pBtns[i]->IsSelected(), nNums[i] == 9);
        QVERIFY(!layoutMenu.SetCurWndNum(2)); // an unknown count marks none
        QVERIFY(std::none_of(pBtns, pBtns + 4, [](CSkinButton* p) { return p->IsSelected(); }));

        CToolsMenu toolsMenu;
        QVERIFY(toolsMenu.Init());
        toolsMenu.show();
        QVERIFY(QTest::qWaitForWindowExposed(&toolsMenu));
        QSignalSpy spyConvert(&toolsMenu, &CToolsMenu::Sig_ShowFileConvertDlg);
        QSignalSpy spyMerge(&toolsMenu, &CToolsMenu::Sig_ShowFileMergeDlg);
        QSignalSpy spyCut(&toolsMenu, &CToolsMenu::Sig_ShowFileCutDlg);
        QSignalSpy spyNps(&toolsMenu, &CToolsMenu::Sig_ShowNpsDlg);
        const std::pair<const char*, QSignalSpy*> tools[] = {{"m_pBtnConvert", &spyConvert},
                                                             {"m_pBtnMerge", &spyMerge},
                                                             {"m_pBtnCut", &spyCut},
                                                             {"m_pBtnNps", &spyNps}};
        for (const auto& [szButton, pSpy] : tools) {
            QTest::mouseClick(Child<QPushButton>(&toolsMenu, szButton), Qt::LeftButton);
            QCOMPARE(pSpy->count(), 1);
            QCOMPARE(pSpy->at(0).at(0).toBool(), false); // no file goes with the tool
        }

        QDialog other;
        other.resize(100, 100);
        auto LoseFocus = [&other](QDialog* pPopup) {
            pPopup->show();
            pPopup->activateWindow();
            if (!QTest::qWaitForWindowActive(pPopup))
                return false;
            pPopup->setFocus();
            other.show();
            other.activateWindow();
            const bool bHidden = QTest::qWaitFor([pPopup]() { return !pPopup->isVisible(); }, 5000);
            other.hide();
            return bHidden;
        };
        toolsMenu.hide();
        QVERIFY(LoseFocus(&layoutMenu));
        QSignalSpy spyFocusOut(&toolsMenu, &CToolsMenu::Sig_focusOutEvent);
        QVERIFY(LoseFocus(&toolsMenu));
        QCOMPARE(spyFocusOut.count(), 1);
    }

    // A press on the page or a panel button folds the panel; the page follows the stage.
    void startPageOverEmptyStage() {
        CDlgShow stage;
        stage.resize(640, 480);
        stage.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage));
        StartPageWnd* pPage = stage.findChild<StartPageWnd*>();
        QVERIFY(pPage);
        QTRY_VERIFY(pPage->isVisible());
        QSignalSpy spyPress(&stage, &CDlgShow::Sig_MousePressEvent);
        auto OpenPanel = [&]() {
            QTest::mouseClick(Child<QPushButton>(pPage, "m_pBtnDropMenu"), Qt::LeftButton);
            return pPage->IsOpenMenuShown();
        };
        QVERIFY(OpenPanel());
        QTest::mousePress(pPage, Qt::LeftButton, Qt::NoModifier, QPoint(20, pPage->height() - 20));
        QVERIFY(!pPage->IsOpenMenuShown());
        QCOMPARE(spyPress.count(), 1);
        for (const char* szButton : {"m_pBtnOpenFolder", "m_pBtnOpenStream"}) {
            QVERIFY(OpenPanel());
            QTest::mouseClick(Child<QPushButton>(pPage, szButton), Qt::LeftButton);
            QVERIFY2(!pPage->IsOpenMenuShown(), szButton);
        }
        stage.resize(800, 500);
        QTRY_COMPARE(pPage->size(), QSize(800, 500));
    }

    // Rows, red line, the shape's tab in the middle, exit idle outside sync, play button.
    void fullScreenRuler() {
        CVelquinDlg main;
        main.resize(400, 300);
        auto pRuler = std::make_unique<SyncPlayProgressFullScreenDlg>(&main);
        QVERIFY(pRuler->Init());
        QVERIFY(pRuler->SetMainDlg(&main));
        pRuler->resize(1000, 300);
        pRuler->show();
        QVERIFY(QTest::qWaitForWindowExposed(pRuler.get()));
        QWidget* pRows = Child<QWidget>(pRuler.get(), "m_pWndPlayTimes");

        std::vector<SYNC_WND_FILE> vecOne = {Row(0, At(10, 0), At(11, 0))};
        std::vector<SYNC_WND_FILE*> vecPtrs = {&vecOne[0]};
        QVERIFY(pRuler->StartSyncRuler(vecPtrs, &vecOne[0].stFileTime, &vecOne[0].stFileTime));
        QCOMPARE(pRows->height(), 2 * SyncPlayProgressFullScreenDlg::ROW_HEIGHT);

        std::vector<SYNC_WND_FILE> vecTwo = {Row(0, At(10, 0), At(11, 0)), Row(5, At(14, 30), At(16, 0))};
        vecPtrs = {&vecTwo[0], &vecTwo[1]};
        QVERIFY(pRuler->StartSyncRuler(vecPtrs, &vecTwo[0].stFileTime, &vecTwo[1].stFileTime));
        const QImage img = pRows->grab().toImage();
        const int nWidth = img.width();
        auto Column = [nWidth](int nHour, int nMinute) {
            return int((nHour * 3600.0 + nMinute * 60) / 86399 * nWidth);
        };
        const QRgb clrBar = SkinManager::GetResColor(18, 5).rgb();
        const QRgb clrSelected = SkinManager::GetResColor(18, 6).rgb();
        const QRgb clrBack = SkinManager::GetResColor(18, 1).rgb();
        const int y0 = 11;
        const int y1 = SyncPlayProgressFullScreenDlg::ROW_HEIGHT + 11;
        QCOMPARE(img.pixel(Column(10, 30), y0), clrSelected); // window 0 is the stage's selection
        QCOMPARE(img.pixel(Column(15, 0), y1), clrBar);
        QCOMPARE(img.pixel(Column(15, 0), y0), clrBack);
        QCOMPARE(img.pixel(Column(10, 30), y1), clrBack);
        QCOMPARE(img.pixel(Column(12, 30), y0), clrBack);
        QLabel* pRedLine = Child<QLabel>(pRuler.get(), "m_pLabelPlayPosRedLine");
        QVERIFY(pRedLine->isVisible());
        QCOMPARE(pRedLine->x() + 4, Column(10, 0));

        for (int nDlgWidth : {1000, 1366, 640}) {
            pRuler->resize(nDlgWidth, pRuler->height());
            QTRY_COMPARE(pRuler->width(), nDlgWidth);
            const QRegion rgnMask = pRuler->mask();
            QVERIFY(rgnMask.contains(QPoint(nDlgWidth / 2, 8)));
            QVERIFY(!rgnMask.contains(QPoint(8, 8)));
            QVERIFY(!rgnMask.contains(QPoint(nDlgWidth - 8, 8)));
            QVERIFY(rgnMask.contains(QPoint(8, 60)));
            QVERIFY(rgnMask.contains(QPoint(nDlgWidth - 8, SyncPlayProgressFullScreenDlg::DLG_HEIGHT - 2)));
            QPushButton* pBtnPlay = Child<QPushButton>(pRuler.get(), "m_pBtnPlayPause");
            QVERIFY(rgnMask.contains(pBtnPlay->mapTo(pRuler.get(), pBtnPlay->rect().center())));
        }

        QSignalSpy spyCancel(pRuler.get(), &SyncPlayProgressFullScreenDlg::Sig_CancelSyncPlay);
        QTest::mouseClick(Child<QPushButton>(pRuler.get(), "m_pBtnExitSync"), Qt::LeftButton);
        QCOMPARE(spyCancel.count(), 0);

        QPushButton* pBtnPlay = Child<QPushButton>(pRuler.get(), "m_pBtnPlayPause");
        QCOMPARE(pBtnPlay->toolTip(), QStringLiteral("Play"));
        OpenInfo info = FileInfo(Clip("sync_a_25fps.mp4"));
        QVERIFY(main.m_pStage->OpenFileInWnd(0, &info));
        QTRY_COMPARE_WITH_TIMEOUT(main.m_pStage->GetPlayState(), 1, 10000);
        QTest::mouseClick(pBtnPlay, Qt::LeftButton);
        QCOMPARE(main.m_nPlayOrPause, 1);
        QCOMPARE(main.m_pStage->GetPlayState(), 2);
        QCOMPARE(pBtnPlay->toolTip(), QStringLiteral("Pause"));
        QTest::mouseClick(pBtnPlay, Qt::LeftButton);
        QCOMPARE(main.m_nPlayOrPause, 2);
        QCOMPARE(pBtnPlay->toolTip(), QStringLiteral("Play"));
        main.m_pStage->Stop(0);
    }
};

QTEST_MAIN(TestPopups)
#include "TestPopups.moc"
