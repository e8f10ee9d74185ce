// The settings dialog and the hot keys: settings reach their users and survive a
// restart, limits, Cancel and resets hold, every hot key drives its command.

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QTimer>
#include <QtTest>

#include <functional>

#include "CConCapThread.h"
#include "CHotKeyEdit.h"
#include "CPlayWnd.h"
#include "CPlayerSetDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"

#define RETURN_IF_FAILED()                                                                                   \
    if (QTest::currentTestFailed())                                                                          \
    return

namespace {

const int kPlayTimeoutMs = 30000;
const char* const kClip = "sync_a_25fps.mp4";

template <typename T> T* Child(QObject* pParent, const char* szName) {
    return pParent ? pParent->findChild<T*>(QString::fromLatin1(szName)) : nullptr;
}

// Runs fn on the settings dialog opened as the menu does; one fn leaves open is cancelled, so no hang.
bool RunSetDlg(CVelquinDlg* pDlg, const std::function<void(CPlayerSetDlg*)>& fn) {
    bool bShown = false;
    // The timer is this function's own: should the dialog not run, it dies
    // here instead of firing later into a frame that has gone.
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, pDlg, [&] {
        auto* pSet = pDlg->findChild<CPlayerSetDlg*>();
        bShown = pSet && pSet->isVisible();
        if (bShown)
            fn(pSet);
        if (pSet && pSet->isVisible())
            pSet->reject();
    });
    timer.start(0);
    pDlg->On_ShowPlaySettingDlg();
    return bShown;
}

void Click(CPlayerSetDlg* pSet, const char* szName) {
    QAbstractButton* pBtn = Child<QAbstractButton>(pSet, szName);
    QVERIFY2(pBtn, szName);
    pBtn->click();
}

// Types a key into a hot key edit as the keyboard does.
void TypeKey(CHotKeyEdit* pEdit, int nCode) {
    QTest::keyClick(pEdit, Qt::Key(nCode & ~int(Qt::KeyboardModifierMask)),
                    Qt::KeyboardModifiers(nCode & int(Qt::KeyboardModifierMask)));
}

void PressKey(QWidget* pWidget, int nCode) {
    QTest::keyClick(pWidget->windowHandle(), Qt::Key(nCode & ~int(Qt::KeyboardModifierMask)),
                    Qt::KeyboardModifiers(nCode & int(Qt::KeyboardModifierMask)));
}

// Picks strFolder in the folder dialog that the browse button opens.
class FolderPicker : public QObject {
public:
    explicit FolderPicker(const QString& strFolder) : m_strFolder(strFolder) { startTimer(20); }
    int Picked() const { return m_nPicked; }

protected:
    void timerEvent(QTimerEvent*) override {
        for (QWidget* pWidget : QApplication::topLevelWidgets()) {
            auto* pDialog = qobject_cast<QFileDialog*>(pWidget);
            if (pDialog && pDialog->isVisible()) {
                // With nothing selected the dialog answers the folder it shows.
                pDialog->setDirectory(m_strFolder);
                ++m_nPicked;
                static_cast<QDialog*>(pDialog)->accept(); // QFileDialog::accept, which reads the choice
            }
        }
    }

private:
    QString m_strFolder;
    int m_nPicked = 0;
};

QStringList Pictures(const QString& strFolder, const char* szSuffix) {
    return QDir(strFolder).entryList({QStringLiteral("picture*.") + QLatin1String(szSuffix)}, QDir::Files,
                                     QDir::Name);
}

QByteArray Magic(const QString& strPath) {
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.read(3) : QByteArray();
}

bool OpenAndPlay(MainDlgFixture& fx) {
    return fx.pDlg->OpenFileList({GuiMedia::Clip(kClip)}) &&
           QTest::qWaitFor([&] { return fx.pStage->GetPlayState(0) == 1; }, kPlayTimeoutMs) &&
           QTest::qWaitFor([&] { return fx.pStage->IsFileRefCreated(); }, kPlayTimeoutMs);
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void settingsReachTheirUsersAndSurviveRestart();
    void limitsCancelAndResets();
    void hotKeysDriveTheirCommands();
};

void TestSettings::settingsReachTheirUsersAndSurviveRestart() {
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString strCapFolder = QDir::toNativeSeparators(tmp.filePath("shots"));
    QVERIFY(QDir().mkpath(strCapFolder));
    const int kChangedPlayKey = Qt::Key_P;
    MainDlgFixture fx;
    QVERIFY(fx.Start());
    QVERIFY(OpenAndPlay(fx));
    QCOMPARE(fx.pDlg->GetTopMode(), 0);

    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        Child<QRadioButton>(pSet, "m_pRadioAlwaysTop")->click();
        Child<QRadioButton>(pSet, "m_pRadioLocateTimeStamp")->click();
        Child<QCheckBox>(pSet, "m_pCheckExitSavePlaylistFiles")->setChecked(false);
        Child<QCheckBox>(pSet, "m_pCheckStartHardDecodeEngine")->setChecked(true);
        Click(pSet, "m_pBtnCapPic");
        RETURN_IF_FAILED();
        QVERIFY(Child<QWidget>(pSet, "m_pCapPicPage")->isVisible());
        QVERIFY(!Child<QWidget>(pSet, "m_pCommonConfigPage")->isVisible());
        Child<QComboBox>(pSet, "m_pComboSaveType")->setCurrentIndex(0);
        {
            FolderPicker picker(strCapFolder);
            Click(pSet, "m_pBtnCapSaveFolder");
            QCOMPARE(picker.Picked(), 1);
        }
        QCOMPARE(Child<QLineEdit>(pSet, "m_pEditSaveFolder")->text(), strCapFolder);
        QLabel* pUnit = Child<QLabel>(pSet, "m_pLabelConCapUnit");
        QCOMPARE(pUnit->text(), QStringLiteral("Second"));
        Child<QDoubleSpinBox>(pSet, "m_pSpinConCapSpace")->setValue(10);
        Child<QComboBox>(pSet, "m_pComboConCapMode")->setCurrentIndex(1);
        // The unit follows the mode; the number stays.
        QCOMPARE(pUnit->text(), QStringLiteral("Frame"));
        QCOMPARE(Child<QDoubleSpinBox>(pSet, "m_pSpinConCapSpace")->value(), 10.0);
        Child<QDoubleSpinBox>(pSet, "m_pSpinConCapMaxNum")->setValue(3);
        Click(pSet, "m_pBtnHotKeys");
        TypeKey(Child<CHotKeyEdit>(pSet, "m_pHotKey_PlayOrPause"), kChangedPlayKey);

        // Apply: the top mode at once, with the dialog still open over it.
        Click(pSet, "m_pBtnApply");
        QVERIFY(pSet->isVisible());
        QCOMPARE(fx.pDlg->GetTopMode(), 2);
        QVERIFY(fx.pDlg->IsTopmost());
        QVERIFY(fx.pDlg->windowFlags() & Qt::WindowStaysOnTopHint);
        Click(pSet, "m_pBtnOK");
    }));
    RETURN_IF_FAILED();
    const PlayerConfig& cfg = fx.pDlg->GetPlayerConfig();
    QCOMPARE(cfg.nPlayLocateMode, 0);
    QCOMPARE(cfg.bExitKeepPlaylistFiles, false);
    QCOMPARE(cfg.bStartHardDecodeEngine, true);
    QCOMPARE(cfg.strCapPicFolder, strCapFolder);
    QCOMPARE(cfg.nCapPicSaveType, 0);
    QCOMPARE(cfg.nConCapPicMode, 1);
    QCOMPARE(cfg.nConCapPicGap, 10);
    QCOMPARE(cfg.nMaxConCapPicNum, 3);
    QCOMPARE(cfg.stHotKeys.nPlayOrPause, kChangedPlayKey);

    // A snapshot goes to the new folder as a BMP.
    QVERIFY(fx.pDlg->On_CapPic());
    QStringList lstShots = Pictures(strCapFolder, "bmp");
    QCOMPARE(lstShots.size(), 1);
    QCOMPARE(Magic(QDir(strCapFolder).filePath(lstShots.first())).left(2), QByteArray("BM"));

    // Every tenth frame, three pictures; at quarter speed none is dropped, so the
    // capture spans 2 + 2 x 10 frames (it ends with the frame after the third).
    QVERIFY(fx.pDlg->On_Slow() && fx.pDlg->On_Slow());
    CPlayWnd* pWnd = fx.pStage->GetPlayWnd(0);
    int nEndFrame = -1;
    QMetaObject::Connection conn = connect(pWnd, &CPlayWnd::Sig_UpdateCtrlStatus, this, [&] {
        if (nEndFrame < 0 && !pWnd->IsConCapping())
            nEndFrame = int(pWnd->GetCurrentFrameNum());
    });
    const int nStartFrame = int(pWnd->GetCurrentFrameNum());
    QVERIFY(fx.pDlg->On_ConCapPic());
    QVERIFY(pWnd->IsConCapping());
    QTRY_VERIFY_WITH_TIMEOUT(nEndFrame >= 0, 30000);
    disconnect(conn);
    QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->GetConCapThread()->PendingCount(), 0, 10000);
    lstShots = Pictures(strCapFolder, "bmp");
    QCOMPARE(lstShots.size(), 1 + 3);
    for (const QString& strName : lstShots)
        QCOMPARE(Magic(QDir(strCapFolder).filePath(strName)).left(2), QByteArray("BM"));
    const int nSpan = nEndFrame - nStartFrame;
    QVERIFY2(nSpan >= 20 && nSpan <= 25, qPrintable(QString::number(nSpan)));

    // After a restart the dialog shows what was set; the top mode is not kept.
    const QString strDir = fx.strConfigDir;
    fx.Stop();
    MainDlgFixture fx2(strDir);
    QVERIFY(fx2.Start());
    QCOMPARE(fx2.pDlg->GetTopMode(), 0);
    QCOMPARE(fx2.pDlg->GetPlayerConfig().stHotKeys.nPlayOrPause, kChangedPlayKey);
    QVERIFY(RunSetDlg(fx2.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        QVERIFY(Child<QRadioButton>(pSet, "m_pRadioNeverTop")->isChecked());
        QVERIFY(Child<QRadioButton>(pSet, "m_pRadioLocateTimeStamp")->isChecked());
        QVERIFY(!Child<QCheckBox>(pSet, "m_pCheckExitSavePlaylistFiles")->isChecked());
        QVERIFY(Child<QCheckBox>(pSet, "m_pCheckStartHardDecodeEngine")->isChecked());
        QCOMPARE(Child<QComboBox>(pSet, "m_pComboSaveType")->currentIndex(), 0);
        QCOMPARE(Child<QLineEdit>(pSet, "m_pEditSaveFolder")->text(), strCapFolder);
        QCOMPARE(Child<QComboBox>(pSet, "m_pComboConCapMode")->currentIndex(), 1);
        QCOMPARE(Child<QLabel>(pSet, "m_pLabelConCapUnit")->text(), QStringLiteral("Frame"));
        QCOMPARE(Child<QDoubleSpinBox>(pSet, "m_pSpinConCapSpace")->value(), 10.0);
        QCOMPARE(Child<QDoubleSpinBox>(pSet, "m_pSpinConCapMaxNum")->value(), 3.0);
        QCOMPARE(Child<CHotKeyEdit>(pSet, "m_pHotKey_PlayOrPause")->GetCurKey(), kChangedPlayKey);
        QCOMPARE(Child<CHotKeyEdit>(pSet, "m_pHotKey_PlayOrPause")->text(), QStringLiteral("P"));
        Click(pSet, "m_pBtnCancel");
    }));
}

void TestSettings::limitsCancelAndResets() {
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    {
        MainDlgFixture fx(tmp.path());
        QVERIFY(fx.Start());
    } // the exit writes PlayerConfig.xml
    // A count above the widget's limit, and a gap below it, edited into the file.
    const QString strCfg = tmp.filePath("PlayerConfig.xml");
    QFile file(strCfg);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray baXml = file.readAll();
    file.close();
    QVERIFY(baXml.contains("<MaxConCapPicNum>100</MaxConCapPicNum>"));
    QVERIFY(baXml.contains("<ConCapPicGap>1</ConCapPicGap>"));
    baXml.replace("<MaxConCapPicNum>100</MaxConCapPicNum>", "<MaxConCapPicNum>500</MaxConCapPicNum>");
    baXml.replace("<ConCapPicGap>1</ConCapPicGap>", "<ConCapPicGap>0</ConCapPicGap>");
    baXml.replace("<KeepPlayProgress>0</KeepPlayProgress>", "<KeepPlayProgress>1</KeepPlayProgress>");
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QVERIFY(file.write(baXml) == baXml.size());
    file.close();

    MainDlgFixture fx(tmp.path());
    QVERIFY(fx.Start());
    const PlayerConfig& cfg = fx.pDlg->GetPlayerConfig();
    QCOMPARE(cfg.nMaxConCapPicNum, 500);
    QVERIFY(cfg.bKeepPlayProgress);
    const PlayerConfig cfgBefore = cfg;

    // The spin boxes cut the stored values; Apply stores them so. Cancel after
    // Apply keeps what Apply did.
    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        auto* pMax = Child<QDoubleSpinBox>(pSet, "m_pSpinConCapMaxNum");
        auto* pGap = Child<QDoubleSpinBox>(pSet, "m_pSpinConCapSpace");
        QCOMPARE(pMax->value(), 200.0);
        QCOMPARE(pGap->value(), 1.0);
        pMax->setValue(0);
        QCOMPARE(pMax->value(), 1.0);
        pMax->setValue(201);
        QCOMPARE(pMax->value(), 200.0);
        pGap->setValue(-5);
        QCOMPARE(pGap->value(), 1.0);
        Click(pSet, "m_pBtnApply");
        QCOMPARE(fx.pDlg->GetPlayerConfig().nMaxConCapPicNum, 200);
        QCOMPARE(fx.pDlg->GetPlayerConfig().nConCapPicGap, 1);
        pMax->setValue(7);
        Click(pSet, "m_pBtnCancel");
    }));
    RETURN_IF_FAILED();
    QCOMPARE(cfg.nMaxConCapPicNum, 200);

    // The resets give the defaults on the widgets only: Cancel loses them.
    auto resetAll = [&](CPlayerSetDlg* pSet) {
        Click(pSet, "m_pBtnResetCommon");
        Click(pSet, "m_pBtnResetCapPic");
        Click(pSet, "m_pBtnResetHotKeys");
    };
    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        Click(pSet, "m_pBtnHotKeys");
        TypeKey(Child<CHotKeyEdit>(pSet, "m_pHotKey_Stop"), Qt::Key_F5);
        Click(pSet, "m_pBtnApply");
        resetAll(pSet);
        Click(pSet, "m_pBtnCancel");
    }));
    RETURN_IF_FAILED();
    QCOMPARE(cfg.stHotKeys.nStop, int(Qt::Key_F5));
    QCOMPARE(cfg.bKeepPlayProgress, true);
    QCOMPARE(cfg.strCapPicFolder, cfgBefore.strCapPicFolder);

    // Reset and OK: the values of a first start, the hidden boxes off.
    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        QCOMPARE(Child<CHotKeyEdit>(pSet, "m_pHotKey_Stop")->GetCurKey(), int(Qt::Key_F5));
        Child<QRadioButton>(pSet, "m_pRadioAlwaysTop")->click();
        Child<QRadioButton>(pSet, "m_pRadioLocateTimeStamp")->click();
        Child<QComboBox>(pSet, "m_pComboSaveType")->setCurrentIndex(0);
        Child<QComboBox>(pSet, "m_pComboConCapMode")->setCurrentIndex(1);
        resetAll(pSet);
        QVERIFY(Child<QRadioButton>(pSet, "m_pRadioNeverTop")->isChecked());
        QVERIFY(Child<QRadioButton>(pSet, "m_pRadioLocateFrameNum")->isChecked());
        QVERIFY(Child<QCheckBox>(pSet, "m_pCheckExitSavePlaylistFiles")->isChecked());
        for (const char* szName : {"m_pCheckExitSavePlayProgress", "m_pCheckAutoAddSimilarFiles",
                                   "m_pCheckAutoShowGuide", "m_pCheckStartHardDecodeEngine"})
            QVERIFY2(!Child<QCheckBox>(pSet, szName)->isChecked(), szName);
        QCOMPARE(Child<QComboBox>(pSet, "m_pComboSaveType")->currentIndex(), 1);
        QCOMPARE(Child<QLineEdit>(pSet, "m_pEditSaveFolder")->text(),
                 QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + "/Screenshot/"));
        QCOMPARE(Child<QComboBox>(pSet, "m_pComboConCapMode")->currentIndex(), 0);
        QCOMPARE(Child<QDoubleSpinBox>(pSet, "m_pSpinConCapSpace")->value(), 1.0);
        QCOMPARE(Child<QDoubleSpinBox>(pSet, "m_pSpinConCapMaxNum")->value(), 100.0);
        QCOMPARE(Child<CHotKeyEdit>(pSet, "m_pHotKey_Stop")->GetCurKey(), 0x04000053);
        QCOMPARE(Child<CHotKeyEdit>(pSet, "m_pHotKey_Stop")->text(), QKeySequence(0x04000053).toString());
        // The hidden boxes stay hidden on the general page.
        Click(pSet, "m_pBtnCommonConfig");
        QVERIFY(Child<QCheckBox>(pSet, "m_pCheckStartHardDecodeEngine")->isVisible());
        QVERIFY(!Child<QCheckBox>(pSet, "m_pCheckExitSavePlayProgress")->isVisible());
        Click(pSet, "m_pBtnOK");
    }));
    RETURN_IF_FAILED();
    const HotKeysCfg stDefaults;
    QVERIFY(memcmp(&cfg.stHotKeys, &stDefaults, sizeof(HotKeysCfg)) == 0);
    QCOMPARE(fx.pDlg->GetTopMode(), 0);
    QVERIFY(!cfg.bKeepPlayProgress);

    // The dialog made in English speaks the language chosen since.
    QVERIFY(fx.pDlg->On_ChangeLanguageCN_EN());
    QCOMPARE(cfg.nLanguage, 0);
    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        QCOMPARE(Child<QLabel>(pSet, "m_pLabTitle")->text(), QStringLiteral("播放器设置"));
        QCOMPARE(Child<QAbstractButton>(pSet, "m_pBtnApply")->text(), QStringLiteral("应用"));
        Click(pSet, "m_pBtnCancel");
    }));
}

void TestSettings::hotKeysDriveTheirCommands() {
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString strCapFolder = QDir::toNativeSeparators(tmp.filePath("keys"));
    MainDlgFixture fx;
    QVERIFY(fx.Start());
    QVERIFY(OpenAndPlay(fx));
    // Snapshots of this run go to a temporary folder.
    QVERIFY(RunSetDlg(fx.pDlg.get(), [&](CPlayerSetDlg* pSet) {
        Child<QLineEdit>(pSet, "m_pEditSaveFolder")->setText(strCapFolder);
        Click(pSet, "m_pBtnOK");
    }));
    RETURN_IF_FAILED();

    CVelquinDlg* pDlg = fx.pDlg.get();
    CDlgShow* pStage = fx.pStage;
    QSlider* pSound = pDlg->findChild<QSlider*>("m_pSliderSound");
    QVERIFY(pSound);
    const HotKeysCfg& keys = pDlg->GetPlayerConfig().stHotKeys;
    const uint nTotal = pStage->GetFileTotalFrames();
    QVERIFY(nTotal > 100);
    auto repeatSet = [&] {
        bool bA = false, bB = false;
        uint nA = 0, nB = 0;
        pStage->GetRepeatA(&bA, &nA);
        pStage->GetRepeatB(&bB, &nB);
        return bA && bB;
    };

    // Each key, in an order that leaves each command a state it acts in, with the
    // value read after it: absolute, or (bStep) added to the value before.
    auto frame = [&] { return int(pStage->GetCurrentFrameNum()); };
    auto state = [&] { return pStage->GetPlayState(0); };
    auto speed = [&] { return pStage->GetPlaySpeed(); };
    auto volume = [&] { return pSound->value(); };
    struct KeyCase {
        const char* szName;
        int HotKeysCfg::*pKey;
        std::function<int()> read;
        int nWant;
        bool bStep;
    };
    const QList<KeyCase> lstCases = {
        {"PlayOrPause", &HotKeysCfg::nPlayOrPause, state, 2, false},
        {"FrameForward", &HotKeysCfg::nFrameForward, frame, 1, true},
        {"FrameBackward", &HotKeysCfg::nFrameBackward, frame, -1, true},
        {"Fast", &HotKeysCfg::nFast, speed, 1, false},
        {"RestoreSpeed", &HotKeysCfg::nRestoreSpeed, speed, 0, false},
        {"Slow", &HotKeysCfg::nSlow, speed, -1, false},
        {"VolumeUp", &HotKeysCfg::nVolumeUp, volume, 10, true},
        {"VolumeDown", &HotKeysCfg::nVolumeDown, volume, -10, true},
        {"GotoEnd", &HotKeysCfg::nGotoEnd, [&] { return int(frame() + 3 >= int(nTotal)); }, 1, false},
        {"GotoBegin", &HotKeysCfg::nGotoBegin, frame, 0, false},
        {"CapPic", &HotKeysCfg::nCapPic, [&] { return int(Pictures(strCapFolder, "jpeg").size()); }, 1,
         false},
        {"RepeatAB", &HotKeysCfg::nRepeatAB, [&] { return int(repeatSet()); }, 1, false},
    };
    for (const KeyCase& c : lstCases) {
        const int nWant = c.nWant + (c.bStep ? c.read() : 0);
        PressKey(pDlg, keys.*c.pKey);
        // The jumps may take a while to find their frame on a loaded machine.
        const int nMs = c.pKey == &HotKeysCfg::nGotoEnd || c.pKey == &HotKeysCfg::nGotoBegin ? 10000 : 5000;
        [&] { QTRY_COMPARE_WITH_TIMEOUT(c.read(), nWant, nMs); }();
        if (QTest::currentTestFailed())
            QFAIL(c.szName);
    }
    QVERIFY(pDlg->On_RestoreCommonSpeed());
    PressKey(pDlg, keys.nRepeatAB); // a second press clears
    QVERIFY(!repeatSet());
    PressKey(pDlg, keys.nFullScreen);
    QVERIFY(pDlg->IsFullScreen());
    // In full screen the stage has the keys; it hands them on.
    QTest::keyClick(pStage, Qt::Key(keys.nFullScreen & ~int(Qt::KeyboardModifierMask)),
                    Qt::KeyboardModifiers(keys.nFullScreen & int(Qt::KeyboardModifierMask)));
    QVERIFY(!pDlg->IsFullScreen());
    for (const auto& entry :
         {qMakePair(keys.nOpenFiles, "QFileDialog"), qMakePair(keys.nOpenFolder, "QFileDialog"),
          qMakePair(keys.nOpenURL, "InputURLDlg")}) {
        ModalRejecter rejecter(entry.second);
        PressKey(pDlg, entry.first);
        QTRY_COMPARE(rejecter.Rejected(), 1);
    }
    PressKey(pDlg, keys.nStop);
    QTRY_COMPARE(pStage->GetPlayState(0), 3);

    // Stopped, the key plays the selected row. A key another action holds is refused;
    // a new key works at once after Apply, the old one no longer does.
    fx.pList->setCurrentRow(0);
    PressKey(pDlg, keys.nPlayOrPause);
    QTRY_COMPARE_WITH_TIMEOUT(pStage->GetPlayState(0), 1, kPlayTimeoutMs);
    QVERIFY(RunSetDlg(pDlg, [&](CPlayerSetDlg* pSet) {
        Click(pSet, "m_pBtnHotKeys");
        auto* pPlay = Child<CHotKeyEdit>(pSet, "m_pHotKey_PlayOrPause");
        auto* pForward = Child<CHotKeyEdit>(pSet, "m_pHotKey_FrameForward");
        QSignalSpy spyNew(pPlay, &CHotKeyEdit::Sig_NewHotKey);
        // A modifier alone is no key.
        TypeKey(pPlay, int(Qt::ControlModifier) + Qt::Key_Control);
        QCOMPARE(spyNew.count(), 0);
        TypeKey(pPlay, Qt::Key_Right);
        QCOMPARE(spyNew.count(), 1);
        QCOMPARE(pPlay->GetCurKey(), int(Qt::Key_Space));
        QCOMPARE(pPlay->text(), QKeySequence(Qt::Key_Space).toString(QKeySequence::NativeText));
        QCOMPARE(pForward->GetCurKey(), int(Qt::Key_Right));
        // Its own key again is no conflict; a modified key is a key of its own.
        TypeKey(pPlay, Qt::Key_Space);
        QCOMPARE(pPlay->GetCurKey(), int(Qt::Key_Space));
        TypeKey(pPlay, int(Qt::ShiftModifier) + Qt::Key_Right);
        QCOMPARE(pPlay->GetCurKey(), int(Qt::ShiftModifier) + int(Qt::Key_Right));
        Click(pSet, "m_pBtnApply");
        Click(pSet, "m_pBtnOK");
    }));
    RETURN_IF_FAILED();
    QCOMPARE(keys.nPlayOrPause, int(Qt::ShiftModifier) + int(Qt::Key_Right));
    QCOMPARE(keys.nFrameForward, int(Qt::Key_Right));
    // Space is nothing now, so Space then Shift+Right pauses exactly once.
    PressKey(pDlg, Qt::Key_Space);
    PressKey(pDlg, keys.nPlayOrPause);
    QTRY_COMPARE(pStage->GetPlayState(0), 2);
    const uint nFrame = pStage->GetCurrentFrameNum();
    PressKey(pDlg, Qt::Key_Right);
    QTRY_COMPARE_WITH_TIMEOUT(pStage->GetCurrentFrameNum(), nFrame + 1, 5000);
    QCOMPARE(pStage->GetPlayState(0), 2);

    // The hot key reset brings Space back.
    QVERIFY(RunSetDlg(pDlg, [&](CPlayerSetDlg* pSet) {
        Click(pSet, "m_pBtnResetHotKeys");
        Click(pSet, "m_pBtnOK");
    }));
    RETURN_IF_FAILED();
    QCOMPARE(keys.nPlayOrPause, int(Qt::Key_Space));
    PressKey(pDlg, Qt::Key_Space);
    QTRY_COMPARE(pStage->GetPlayState(0), 1);

    // Exit closes the dialog as its close button does.
    PressKey(pDlg, keys.nExit);
    QTRY_VERIFY(!pDlg->isVisible());
}

QTEST_MAIN(TestSettings)
#include "TestSettings.moc"
