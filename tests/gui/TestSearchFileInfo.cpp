// The playlist's search bar on a full list of recordings, and the file
// information dialog against the ffmpeg tool's own facts of each clip.

#include <QtTest>

#include <QAction>
#include <QDateTimeEdit>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMap>
#include <QProcess>
#include <QPushButton>
#include <QSet>
#include <QTemporaryDir>

#include <cmath>

#include "CFileInfoDlg.h"
#include "CPlayWnd.h"
#include "CPlaylistItem.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "PlayListSearchBar.h"
#include "StreamInfo.h"
#include "Tavrix.h"

namespace {

const int kPlayTimeoutMs = 20000;
const char* const kUrl = "rtsp://127.0.0.1:1/gate7";

bool RunTool(const QString& strTool, const QStringList& args, QByteArray* pOut = nullptr) {
    QProcess proc;
    proc.start(strTool, args);
    if (!proc.waitForFinished(120000) || proc.exitStatus() != QProcess::NormalExit || proc.exitCode() != 0)
        return false;
    if (pOut)
        *pOut = proc.readAllStandardOutput();
    return true;
}

bool MakeClip(const QString& strPath, const QStringList& extra) {
    QStringList args = {"-hide_banner", "-loglevel", "error", "-nostdin", "-y"};
    args << extra << strPath;
    return RunTool("ffmpeg", args);
}

// Names of the rows the list shows; a row whose item and widget disagree
// about being shown is reported as such.
QSet<QString> ShownNames(CPlaylist* pList) {
    QSet<QString> setNames;
    for (int i = 0; i < pList->count(); ++i) {
        CPlaylistItem* pRow = pList->GetRowWidget(i);
        if (!pRow)
            continue;
        const bool bShown = !pList->item(i)->isHidden();
        if (bShown != pRow->isVisibleTo(pList))
            setNames << QStringLiteral("<inconsistent row %1>").arg(i);
        else if (bShown)
            setNames << QFileInfo(pRow->GetFilePath()).fileName();
    }
    return setNames;
}

// Reads every label of the file information dialog while it is open, then
// closes it: On_ShowFileInfoDlg returns only when the modal dialog has gone.
class FileInfoReader : public QObject {
public:
    FileInfoReader() { startTimer(20); }
    bool bSeen = false;
    QMap<QString, QString> mapText;
    QMap<QString, QString> mapTip;

protected:
    void timerEvent(QTimerEvent*) override {
        for (QWidget* pWidget : QApplication::topLevelWidgets()) {
            CFileInfoDlg* pDlg = qobject_cast<CFileInfoDlg*>(pWidget);
            if (!pDlg || !pDlg->isVisible())
                continue;
            for (QLabel* pLabel : pDlg->findChildren<QLabel*>()) {
                mapText[pLabel->objectName()] = pLabel->text();
                mapTip[pLabel->objectName()] = pLabel->toolTip();
            }
            bSeen = true;
            pDlg->reject();
        }
    }
};

QString ExpectedContainer(const QJsonObject& format) {
    const QString strName = format.value("format_name").toString();
    if (strName == "mpegts")
        return "TS";
    if (strName == "mpeg")
        return "PS";
    if (strName == "matroska,webm")
        return "MKV";
    if (strName == "avi")
        return "AVI";
    if (strName.startsWith("mov,mp4")) {
        const QString strBrand = format.value("tags").toObject().value("major_brand").toString();
        return strBrand.startsWith("qt") ? "MOV" : strBrand.startsWith("3g") ? "3GPP" : "MP4";
    }
    return "<" + strName + ">";
}

QString ExpectedCodec(const QString& strCodec) {
    static const QMap<QString, QString> map = {
        {"h264", "H264"}, {"hevc", "H265"}, {"mpeg4", "MPEG4"}, {"mjpeg", "MJPEG"},   {"mpeg2video", "MPEG2"},
        {"aac", "AAC"},   {"mp2", "MPEG"},  {"mp3", "MPEG"},    {"pcm_s16le", "PCM"}, {"", "No"}};
    return map.value(strCodec, "<" + strCodec + ">");
}

int Seconds(const QString& strHms) {
    const QStringList lst = strHms.split(':');
    return lst.size() == 3 ? lst[0].toInt() * 3600 + lst[1].toInt() * 60 + lst[2].toInt() : -1;
}

} // namespace

class TestSearchFileInfo : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void searchNarrowsFullList();
    void fileInfoMatchesFfprobe_data();
    void fileInfoMatchesFfprobe();
    void damagedPicturesAreCounted();
    void textRules();

private:
    bool PlayPaused(const QString& strPath);
    QTemporaryDir m_dir;
    MainDlgFixture m_fx;
};

void TestSearchFileInfo::initTestCase() {
    QVERIFY(m_dir.isValid());
    // English shown, Chinese on offer.
    const QByteArray baLangs = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GlobalConfig>\n"
                               "<Language>1</Language><Skin>0</Skin>\n<LanguageList>\n"
                               "<Item type=\"1\" name=\"English\" />\n<Item type=\"0\" name=\"zh\" />\n"
                               "</LanguageList>\n</GlobalConfig>\n";
    for (const char* szName : {"GlobalLanguageConfig.xml", "GlobalConfig.xml"}) {
        QFile file(m_fx.strConfigDir + "/" + szName);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(baLangs) == baLangs.size());
    }
    QVERIFY(m_fx.Start(QSize(1100, 700)));
    // The single file loops: a two-second clip must still play when the dialog
    // is asked for.
    QAction actLoop;
    actLoop.setData(3);
    QVERIFY(m_fx.pDlg->On_SwitchPlayMode(&actLoop));
}

bool TestSearchFileInfo::PlayPaused(const QString& strPath) {
    if (!m_fx.pDlg->OpenFileList({strPath}))
        return false;
    CPlayWnd* pWnd = m_fx.pStage->GetPlayWnd(m_fx.pStage->GetSelWndIndex());
    // Resolution and frame rate are known once a picture has been decoded.
    const bool bDecoded = QTest::qWaitFor(
        [&] {
            StreamInfo st;
            return MainDlgFixture::Playing(m_fx.pStage->GetPlayState(m_fx.pStage->GetSelWndIndex())) &&
                   pWnd->GetStreamInfo(&st) && st.nWidth > 0 && st.nFrameRate > 0 &&
                   QDir::fromNativeSeparators(st.strFilePath) == strPath;
        },
        kPlayTimeoutMs);
    if (!bDecoded)
        return false;
    if (m_fx.pStage->GetPlayState(m_fx.pStage->GetSelWndIndex()) == 1)
        m_fx.pDlg->On_PlayOrPause();
    return QTest::qWaitFor([&] { return m_fx.pStage->GetPlayState(m_fx.pStage->GetSelWndIndex()) == 2; },
                           kPlayTimeoutMs);
}

void TestSearchFileInfo::searchNarrowsFullList() {
    CPlaylist* pList = m_fx.pList;
    pList->ClearAll();
    // Recordings as a recorder names them, in a folder whose name is a key of
    // its own: the search must see file names only.
    QDir dir(m_dir.path());
    QVERIFY(dir.mkpath("folderkey"));
    const QString strFolder = dir.filePath("folderkey");
    const QString strSource = dir.filePath("source.mp4");
    QVERIFY(MakeClip(strSource, {"-f", "lavfi", "-i", "testsrc=size=160x120:rate=25:duration=2", "-c:v",
                                 "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p"}));
    QStringList lstNames;
    const QStringList lstNamed = {"CAM01_20240316080000.mp4", "m0_door_ca_20240316090000.mp4",
                                  "xaxbx_20240316100000.mp4", "bxa_20240316110000.mp4"};
    lstNames << lstNamed;
    for (int i = 0; lstNames.size() < 197; ++i) {
        // Ten seconds apart, two seconds long: 10:00:00 + 10 s x i.
        const int nSecond = i * 10;
        lstNames << QString::asprintf("ch%03d_20240315%02d%02d%02d.mp4", i, 10 + nSecond / 3600,
                                      nSecond % 3600 / 60, nSecond % 60);
    }
    for (const QString& strName : lstNames)
        QVERIFY(QFile::link(strSource, strFolder + "/" + strName) ||
                QFile::copy(strSource, strFolder + "/" + strName));
    // Two with a creation time and no stamp in the name.
    for (const auto& pair : {qMakePair(QString("evidence_e.mp4"), QString("2024-03-20T09:00:00.000000Z")),
                             qMakePair(QString("evidence_f.mp4"), QString("2024-03-20T09:00:10.000000Z"))}) {
        QVERIFY(MakeClip(strFolder + "/" + pair.first,
                         {"-i", strSource, "-c", "copy", "-metadata", "creation_time=" + pair.second}));
        lstNames << pair.first;
    }
    for (const QString& strName : lstNames) {
        OpenInfo st = GuiMedia::FileInfo(strFolder + "/" + strName);
        QVERIFY(pList->AddFile(&st));
    }
    OpenInfo stUrl;
    stUrl.nMediaType = 2;
    stUrl.strFilePath = kUrl;
    QVERIFY(pList->AddUrl(&stUrl));
    QCOMPARE(pList->count(), 200);
    QSet<QString> setAll(lstNames.begin(), lstNames.end());
    setAll << "gate7"; // QFileInfo's name of the URL

    // Every file gets its range from the examination thread.
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            for (const QString& strName : lstNames) {
                FILE_INFO_SYNC st;
                if (!pList->GetRowWidget(pList->GetRowByPath(strFolder + "/" + strName))->GetGlobalTime(&st))
                    return false;
            }
            return true;
        }(),
        180000);

    PlayListSearchBar* pBar = m_fx.pDlg->GetSearchBar();
    CSkinButton* pBtnSearch = m_fx.Button("m_pBtnSearch");
    QVERIFY(pBar && pBtnSearch);
    QVERIFY(!pBar->isVisible());
    QTest::mouseClick(pBtnSearch, Qt::LeftButton);
    QVERIFY(pBar->isVisible());
    QVERIFY(pBtnSearch->isDown());

    QLineEdit* pEdit = pBar->findChild<QLineEdit*>("m_pEditSearchName");
    QPushButton* pBtnName = pBar->findChild<QPushButton*>("m_pBtnSearchName");
    QPushButton* pTabName = pBar->findChild<QPushButton*>("m_pBtnShowNameBar");
    QPushButton* pTabTime = pBar->findChild<QPushButton*>("m_pBtnShowTimeBar");
    QDateTimeEdit* pTimeEdit = pBar->findChild<QDateTimeEdit*>("m_pSearchTimeEdit");
    QPushButton* pBtnTime = pBar->findChild<QPushButton*>("m_pBtnSearchTime");
    QVERIFY(pEdit && pBtnName && pTabName && pTabTime && pTimeEdit && pBtnTime);

    auto searchName = [&](const QString& strKey) {
        pEdit->setText(strKey);
        QTest::mouseClick(pBtnName, Qt::LeftButton);
        return ShownNames(pList);
    };
    using Set = QSet<QString>;
    QCOMPARE(searchName("CAM"), Set({"CAM01_20240316080000.mp4"}));
    QCOMPARE(searchName("c?m"), Set({"CAM01_20240316080000.mp4"}));
    QCOMPARE(searchName("  ca   m0 "), Set({"CAM01_20240316080000.mp4", "m0_door_ca_20240316090000.mp4"}));
    QCOMPARE(searchName("a**b"), Set({"xaxbx_20240316100000.mp4"}));
    QCOMPARE(searchName("127.0.0.1"), Set({"gate7"}));
    QCOMPARE(searchName("folderkey"), Set());
    QCOMPARE(searchName("*"), setAll);
    QCOMPARE(searchName("CAM"), Set({"CAM01_20240316080000.mp4"}));
    QCOMPARE(searchName("    "), Set({"CAM01_20240316080000.mp4"})); // only spaces: nothing changes
    // The validator refuses the characters no file name holds.
    pEdit->clear();
    QTest::keyClicks(pEdit, "a/b:c");
    QCOMPARE(pEdit->text(), QStringLiteral("abc"));
    // Return in the field runs the search: the key reaches the shortcut of the
    // search button in the active window.
    m_fx.pDlg->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_fx.pDlg.get()));
    pEdit->setFocus();
    pEdit->clear();
    QTest::keyClicks(pEdit, "xaxbx");
    QTest::keyClick(pEdit, Qt::Key_Return);
    // A shortcut clicks its button with a short animation: the search follows.
    QTRY_COMPARE(ShownNames(pList), Set({"xaxbx_20240316100000.mp4"}));
    // An empty field asks for a key and changes nothing.
    pEdit->clear();
    QTest::mouseClick(pBtnName, Qt::LeftButton);
    QTRY_COMPARE(MainDlgFixture::MessageTexts("Information"), QStringList({"Please enter search keywords!"}));
    MainDlgFixture::CloseMessages();
    QCOMPARE(ShownNames(pList), Set({"xaxbx_20240316100000.mp4"}));

    // The time tab shows every row again; its search keeps the files whose
    // range holds the moment, ends included, and never a network row.
    QTest::mouseClick(pTabTime, Qt::LeftButton);
    QCOMPARE(pBar->GetSearchMode(), 1);
    QVERIFY(pTabTime->isDown() && !pTabName->isDown());
    QCOMPARE(ShownNames(pList), setAll);
    auto searchTime = [&](const QDateTime& dt) {
        pTimeEdit->setDateTime(dt);
        QTest::mouseClick(pBtnTime, Qt::LeftButton);
        return ShownNames(pList);
    };
    QCOMPARE(searchTime(QDateTime(QDate(2024, 3, 20), QTime(9, 0, 0))), Set({"evidence_e.mp4"}));
    QCOMPARE(searchTime(QDateTime(QDate(2024, 3, 15), QTime(10, 0, 50))), Set({"ch005_20240315100050.mp4"}));
    QCOMPARE(searchTime(QDateTime(QDate(2024, 3, 15), QTime(10, 0, 55))), Set());
    QCOMPARE(searchTime(QDateTime(QDate(2024, 3, 20), QTime(9, 0, 5))), Set());
    // The exact end, to the millisecond, is inside; one millisecond later is not.
    FILE_INFO_SYNC stRange;
    QVERIFY(pList->GetGlobalTimeRange(strFolder + "/evidence_f.mp4", &stRange));
    TAVRIX_SYSTEM_TIME stEnd = stRange.stEnd;
    QVERIFY(pList->On_SearchByGlobalTime(&stEnd));
    QCOMPARE(ShownNames(pList), Set({"evidence_f.mp4"}));
    stEnd.nMilliseconds += 1;
    QVERIFY(stEnd.nMilliseconds < 1000);
    QVERIFY(pList->On_SearchByGlobalTime(&stEnd));
    QCOMPARE(ShownNames(pList), Set());

    // Back on the name tab: an empty field and every row.
    QTest::mouseClick(pTabName, Qt::LeftButton);
    QVERIFY(pEdit->text().isEmpty());
    QCOMPARE(ShownNames(pList), setAll);
    // Leaving the search shows every row, whatever filter stood.
    QCOMPARE(searchName("CAM"), Set({"CAM01_20240316080000.mp4"}));
    QTest::mouseClick(pBtnSearch, Qt::LeftButton);
    QVERIFY(!pBar->isVisible());
    QVERIFY(!pBtnSearch->isDown());
    QCOMPARE(ShownNames(pList), setAll);

    // After a change of language Return still searches.
    QMenu* pLangMenu = m_fx.pDlg->findChild<QMenu*>("m_pLanguageMenu");
    QVERIFY(pLangMenu && pLangMenu->actions().size() >= 2);
    pLangMenu->actions().at(1)->trigger();
    QTest::mouseClick(pBtnSearch, Qt::LeftButton);
    pEdit->setFocus();
    pEdit->clear();
    QTest::keyClicks(pEdit, "bxa");
    QTest::keyClick(pEdit, Qt::Key_Return);
    QTRY_COMPARE(ShownNames(pList), Set({"bxa_20240316110000.mp4"}));
    pLangMenu->actions().at(0)->trigger();
    pList->ClearAll();
}

void TestSearchFileInfo::fileInfoMatchesFfprobe_data() {
    QTest::addColumn<QString>("path");
    // The start of the global time text; empty: the file has no global time.
    QTest::addColumn<QString>("globalBegin");
    const QString strCreated = "2024/3/15 10:20:30 - 2024/3/15 10:20:3";
    for (const char* szClip : {"h264_aac.mp4", "hevc.mkv", "mpeg4.mp4", "silent_h264.mp4"})
        QTest::newRow(szClip) << GuiMedia::Clip(szClip) << strCreated;
    // The ffmpeg tool keeps no creation time in AVI.
    QTest::newRow("avi") << GuiMedia::Clip("mjpeg.avi") << "";
    QTest::newRow("ts, time in the name") << GuiMedia::Clip("ch01_20240315102030.ts") << strCreated;
    QTest::newRow("ps") << m_dir.filePath("mpeg2_mp2.mpg") << "";
}

void TestSearchFileInfo::fileInfoMatchesFfprobe() {
    QFETCH(QString, path);
    QFETCH(QString, globalBegin);
    if (path.endsWith(".mpg") && !QFile::exists(path))
        QVERIFY(MakeClip(path, {"-f", "lavfi", "-i", "testsrc=size=352x288:rate=25:duration=3", "-f", "lavfi",
                                "-i", "sine=frequency=1000:duration=3", "-c:v", "mpeg2video", "-c:a", "mp2",
                                "-f", "mpeg"}));
    QByteArray baJson;
    QVERIFY(
        RunTool("ffprobe", {"-v", "error", "-of", "json", "-show_format", "-show_streams", path}, &baJson));
    const QJsonObject root = QJsonDocument::fromJson(baJson).object();
    const QJsonObject format = root.value("format").toObject();
    QJsonObject video;
    QJsonObject audio;
    for (const QJsonValue& v : root.value("streams").toArray()) {
        const QJsonObject s = v.toObject();
        if (s.value("codec_type") == "video" && video.isEmpty())
            video = s;
        if (s.value("codec_type") == "audio" && audio.isEmpty())
            audio = s;
    }
    QVERIFY(!video.isEmpty());

    QVERIFY(PlayPaused(path));
    FileInfoReader reader;
    QVERIFY(m_fx.pDlg->On_ShowFileInfoDlg());
    QVERIFY(reader.bSeen);
    const auto& text = reader.mapText;
    QCOMPARE(text["m_pLabelValue_FileType"], ExpectedContainer(format));
    QCOMPARE(text["m_pLabelValue_VideoType"], ExpectedCodec(video.value("codec_name").toString()));
    QCOMPARE(text["m_pLabelValue_SoundType"], ExpectedCodec(audio.value("codec_name").toString()));
    QCOMPARE(text["m_pLabelValue_Resolution"],
             QString("%1 * %2").arg(video.value("width").toInt()).arg(video.value("height").toInt()));
    const QStringList lstRate = video.value("avg_frame_rate").toString().split('/');
    QCOMPARE(lstRate.size(), 2);
    QCOMPARE(text["m_pLabelValue_FrameRate"],
             QString::number(qRound(lstRate[0].toDouble() / lstRate[1].toDouble())));
    const double dDuration = format.value("duration").toString().toDouble();
    QVERIFY2(std::abs(Seconds(text["m_pLabelValue_FileTime"]) - dDuration) <= 1.0,
             qPrintable(text["m_pLabelValue_FileTime"]));
    QCOMPARE(text["m_pLabelValue_BitRate"],
             QString("%1 kbps").arg((format.value("bit_rate").toString().toLongLong() + 500) / 1000));
    QCOMPARE(reader.mapTip["m_pLabelValue_FileName"], QFileInfo(path).fileName());
    QCOMPARE(QDir::fromNativeSeparators(reader.mapTip["m_pLabelValue_FilePath"]), path);
    QCOMPARE(text["m_pLabelValue_Encrypted"], QStringLiteral("No"));
    if (globalBegin.isEmpty())
        QCOMPARE(text["m_pLabelValue_GlobalTime"], QString());
    else
        QVERIFY2(text["m_pLabelValue_GlobalTime"].startsWith(globalBegin),
                 qPrintable(text["m_pLabelValue_GlobalTime"]));
}

void TestSearchFileInfo::damagedPicturesAreCounted() {
    const QString strPath = GuiMedia::Clip("dmg_zero_h264_aac.mp4");
    QVERIFY(m_fx.pDlg->OpenFileList({strPath}));
    CPlayWnd* pWnd = m_fx.pStage->GetPlayWnd(m_fx.pStage->GetSelWndIndex());
    QTRY_VERIFY_WITH_TIMEOUT(MainDlgFixture::Playing(pWnd->GetPlayState()) && pWnd->GetPort() >= 0,
                             kPlayTimeoutMs);
    // Frame threads report a concealed picture only when the timing lets it
    // through; one thread, from the next loop of the file on, reports it always.
    QVERIFY(Tavrix_SetDecodeThreads(pWnd->GetPort(), 1));
    QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetDamagedFrames() > 0 && MainDlgFixture::Playing(pWnd->GetPlayState()),
                             30000);
    FileInfoReader reader;
    QVERIFY(m_fx.pDlg->On_ShowFileInfoDlg());
    QVERIFY(reader.bSeen);
    QVERIFY2(reader.mapText["m_pLabelValue_Damaged"].toUInt() > 0,
             qPrintable(reader.mapText["m_pLabelValue_Damaged"]));
}

void TestSearchFileInfo::textRules() {
    QCOMPARE(CFileInfoDlg::DiskSizeText(3ull << 30), QStringLiteral("3072.00 MB"));
    QCOMPARE(CFileInfoDlg::FileTimeText(3725), QStringLiteral("01:02:05"));
    // An encrypted recording says so, and a file that is no media leaves every value empty.
    CFileInfoDlg dlg;
    QVERIFY(dlg.Init());
    StreamInfo st;
    st.strFilePath = GuiMedia::Clip("enc_velquin123.mp4");
    QVERIFY(dlg.SetFileInfo(&st, 2, nullptr));
    QCOMPARE(dlg.findChild<QLabel*>("m_pLabelValue_Encrypted")->text(), QStringLiteral("Yes"));
    QCOMPARE(dlg.findChild<QLabel*>("m_pLabelValue_Resolution")->text(), QStringLiteral("0 * 0"));
    CFileInfoDlg dlgBad;
    QVERIFY(dlgBad.Init());
    st.strFilePath = GuiMedia::Clip("text.mp4");
    QVERIFY(!dlgBad.SetFileInfo(&st, 0, nullptr));
    QVERIFY(dlgBad.findChild<QLabel*>("m_pLabelValue_FileType")->text().isEmpty());
}

QTEST_MAIN(TestSearchFileInfo)
#include "TestSearchFileInfo.moc"
