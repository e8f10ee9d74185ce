// Snapshots and continuous capture with real clips: whole files with
// time-sortable names at the picture's size; a missing folder is made, an
// unwritable one reported; continuous capture keeps up with 1080p at 20 a
// second, ends at its count, and with a message when its folder goes away.

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <vector>

#include "CConCapThread.h"
#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "OpenInfo.h"
#include "Tavrix.h"

using namespace GuiMedia;

namespace {

const QString kCompleted = QStringLiteral("Continuous shooting completed.");
const QString kCaptureFailed = QStringLiteral("Capture failed.");

QRegularExpression PictureName(const QString& strSuffix) {
    return QRegularExpression(QStringLiteral("^picture\\d{8}_\\d{9}\\.") + strSuffix + "$");
}

// Mean absolute difference of the colour channels over a grid of samples.
double MeanDiff(const QImage& a, const QImage& b) {
    double dSum = 0;
    int nCount = 0;
    for (int y = 0; y < a.height(); y += 7) {
        for (int x = 0; x < a.width(); x += 7) {
            const QRgb pa = a.pixel(x, y);
            const QRgb pb = b.pixel(x, y);
            dSum += std::abs(qRed(pa) - qRed(pb)) + std::abs(qGreen(pa) - qGreen(pb)) +
                    std::abs(qBlue(pa) - qBlue(pb));
            nCount += 3;
        }
    }
    return nCount ? dSum / nCount : 255;
}

} // namespace

// Stands in for the desktop's file manager: keeps the folders asked for.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    QList<QUrl> lstUrls;

public slots:
    void Open(const QUrl& url) { lstUrls << url; }
};

class TestCapture : public QObject {
    Q_OBJECT

private slots:
    void snapshotsOfPausedWindow();
    void continuousByFrames_data();
    void continuousByFrames();

private:
    // Opens strClip in window 0 of the stage and waits until it shows pictures.
    static bool StartPlay(CDlgShow* pStage, const QString& strClip);
};

bool TestCapture::StartPlay(CDlgShow* pStage, const QString& strClip) {
    CPlayWnd* pWnd = pStage->GetPlayWnd(0);
    OpenInfo info = FileInfo(Clip(strClip));
    if (!pWnd || !pStage->OpenFileInWnd(0, &info) || pWnd->GetPlayState() != 1)
        return false;
    return QTest::qWaitFor(
        [pWnd] {
            uint nWidth = 0;
            uint nHeight = 0;
            // A few frames in: the first one has surely been shown.
            const uint nFrame = pWnd->GetCurrentFrameNum();
            return nFrame != 0xFFFFFFFFu && nFrame >= 3 && pWnd->GetImageSize(&nWidth, &nHeight) &&
                   nWidth > 0;
        },
        10000);
}

void TestCapture::snapshotsOfPausedWindow() {
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    CDlgShow stage;
    stage.resize(320, 240);
    stage.show();
    QVERIFY(StartPlay(&stage, "bars.mp4"));
    CPlayWnd* pWnd = stage.GetPlayWnd(0);
    QVERIFY(pWnd->Pause());
    QCOMPARE(pWnd->GetPlayState(), 2);
    uint nWidth = 0;
    uint nHeight = 0;
    QVERIFY(pWnd->GetImageSize(&nWidth, &nHeight));

    // A folder two levels deep that does not exist yet.
    const QString strFolder = tmp.filePath("snaps/today");
    QCOMPARE(stage.CapOnePic(0, strFolder), 1);
    const QString strBmp = pWnd->GetCapPath();
    QCOMPARE(pWnd->GetDisplayInfo(), "Capture succeeded. : " + strBmp);
    QCOMPARE(QFileInfo(strBmp).absolutePath(), QFileInfo(strFolder).absoluteFilePath());
    QVERIFY2(PictureName("bmp").match(QFileInfo(strBmp).fileName()).hasMatch(), qPrintable(strBmp));

    QCOMPARE(stage.CapOnePic(1, strFolder), 1);
    const QString strJpeg = pWnd->GetCapPath();
    QVERIFY2(PictureName("jpeg").match(QFileInfo(strJpeg).fileName()).hasMatch(), qPrintable(strJpeg));
    // The names sort in the order the pictures were taken.
    QVERIFY(QFileInfo(strBmp).completeBaseName() <= QFileInfo(strJpeg).completeBaseName());

    // A press on the path line opens the folder; a press below it does not.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler("file", &catcher, "Open");
    // The line is clickable once the picture has been drawn with it.
    QVERIFY(QTest::qWaitFor(
        [&] {
            QTest::mouseClick(pWnd, Qt::LeftButton, {}, QPoint(pWnd->width() / 2, 8));
            return !catcher.lstUrls.isEmpty();
        },
        2500));
    QTest::mouseClick(pWnd, Qt::LeftButton, {}, QPoint(pWnd->width() / 2, pWnd->height() - 4));
    QCoreApplication::processEvents();
    QDesktopServices::unsetUrlHandler("file");
    QCOMPARE(catcher.lstUrls.size(), 1);
    QCOMPARE(catcher.lstUrls.at(0), QUrl::fromLocalFile(QFileInfo(strFolder).absoluteFilePath()));

    const QImage imgBmp(strBmp, "BMP");
    const QImage imgJpeg(strJpeg, "JPEG");
    QCOMPARE(imgBmp.size(), QSize(int(nWidth), int(nHeight)));
    QCOMPARE(imgJpeg.size(), imgBmp.size());

    // The BMP file is the engine's snapshot of that frame, byte for byte.
    QFile file(strBmp);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray baFile = file.readAll();
    QByteArray baEngine(int(nWidth * nHeight * 5), '\0');
    uint32_t nSize = 0;
    QVERIFY(Tavrix_GetBMP(pWnd->GetPort(), baEngine.data(), uint32_t(baEngine.size()), &nSize));
    baEngine.resize(int(nSize));
    QVERIFY(baFile == baEngine);

    // A folder below a regular file cannot be made, not even by root.
    QFile plain(tmp.filePath("plain"));
    QVERIFY(plain.open(QIODevice::WriteOnly));
    plain.close();
    QCOMPARE(stage.CapOnePic(1, tmp.filePath("plain/sub")), 3);
    QCOMPARE(pWnd->GetDisplayInfo(), QStringLiteral("Failed to write the file."));
    QVERIFY(pWnd->GetCapPath().isEmpty());
    QCOMPARE(QDir(strFolder).entryList(QDir::Files).size(), 2);

    // The same paused frame: the JPEG differs from the BMP only by its coding.
    const double dDiff =
        MeanDiff(imgBmp.convertToFormat(QImage::Format_RGB32), imgJpeg.convertToFormat(QImage::Format_RGB32));
    QVERIFY2(dDiff < 4.0, qPrintable(QString::number(dDiff)));
}

void TestCapture::continuousByFrames_data() {
    QTest::addColumn<int>("nFormat");
    QTest::addColumn<int>("nMaxNum");
    QTest::addColumn<bool>("bFolderGoes");
    // JPEG for 10 s at 20 a second, ended by the user; BMP (6 MB each) until
    // its count of 40 ends it; JPEG until its folder is moved away.
    QTest::newRow("jpeg 10 s") << 1 << 100000 << false;
    QTest::newRow("bmp count") << 0 << 40 << false;
    QTest::newRow("folder goes") << 1 << 1000 << true;
}

void TestCapture::continuousByFrames() {
    QFETCH(int, nFormat);
    QFETCH(int, nMaxNum);
    QFETCH(bool, bFolderGoes);
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString strFolder = tmp.filePath("concap");
    const QString strMoved = tmp.filePath("moved");
    CDlgShow stage;
    stage.resize(320, 240);
    stage.show();
    // The first request starts the worker even where nothing plays yet, so
    // the spies are in place before any picture.
    QVERIFY(!stage.StartConCap(true, 1, 0, nMaxNum, strFolder, nFormat));
    CConCapThread* pThread = stage.GetConCapThread();
    QVERIFY(pThread);
    QSignalSpy spyWritten(pThread, &CConCapThread::Sig_ConCapPicWritten);
    QSignalSpy spyFail(pThread, &CConCapThread::Sig_ConCapPicFail);
    QVERIFY(StartPlay(&stage, "capture_1080p20.mp4"));
    CPlayWnd* pWnd = stage.GetPlayWnd(0);
    QVERIFY(stage.StartConCap(true, 1, 0, nMaxNum, strFolder, nFormat));
    QVERIFY(stage.IsConCapping());
    const uint nFirstFrame = pWnd->GetCurrentFrameNum();

    if (bFolderGoes) {
        QTRY_VERIFY_WITH_TIMEOUT(spyWritten.count() >= 10, 10000);
        QVERIFY(QDir().rename(strFolder, strMoved));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetDisplayInfo(), kCaptureFailed, 10000);
        QVERIFY(!stage.IsConCapping());
    } else if (nMaxNum < 1000) {
        // The count ends the capture at the next frame shown after the last picture.
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetDisplayInfo(), kCompleted, 20000);
        QVERIFY(!stage.IsConCapping());
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() >= nFirstFrame + 200, 20000);
        QVERIFY(stage.StartConCap(false, 1, 0, nMaxNum, strFolder, nFormat));
        QVERIFY(!stage.IsConCapping());
        QCOMPARE(pWnd->GetDisplayInfo(), kCompleted);
    }
    const uint nShown = pWnd->GetCurrentFrameNum() - nFirstFrame;
    QTRY_VERIFY_WITH_TIMEOUT(pThread->PendingCount() == 0, 20000);
    const uint nLate = Tavrix_GetLateFrames(pWnd->GetPort());
    const QString strFiles = bFolderGoes ? strMoved : strFolder;
    // (A picture being written when the folder went may stay behind under its temporary name.)
    const QStringList lstFiles = QDir(strFiles).entryList(
        bFolderGoes ? QStringList{"picture*.jpeg"} : QStringList(), QDir::Files, QDir::Name);
    qInfo("frames shown %u, pictures written %d, files %d, failed %d, late frames %u", nShown,
          int(spyWritten.count()), int(lstFiles.size()), int(spyFail.count()), nLate);
    if (bFolderGoes) {
        // Nothing made the folder again behind the user's back.
        QVERIFY(!QFileInfo::exists(strFolder));
        QVERIFY(lstFiles.size() >= 10);
    } else {
        QCOMPARE(spyFail.count(), 0);
        // Every picture has a file of its own: none overwrote another, none is
        // left half-written under another name.
        QCOMPARE(lstFiles.size(), spyWritten.count());
        if (nMaxNum < 1000)
            QCOMPARE(lstFiles.size(), nMaxNum);
        // Capturing every JPEG frame must not make the picture fall behind (BMP
        // at 120 MB a second is bound by the disk: its late frames are shown only).
        if (nFormat == 1)
            QCOMPARE(nLate, 0u);
    }
    QVERIFY(lstFiles.size() > 0);
    const QString strSuffix = nFormat == 0 ? "bmp" : "jpeg";
    for (const QString& strName : lstFiles) {
        QVERIFY2(PictureName(strSuffix).match(strName).hasMatch(), qPrintable(strName));
        const QImage img(QDir(strFiles).filePath(strName));
        QVERIFY2(!img.isNull(), qPrintable(strName));
        QCOMPARE(img.size(), QSize(1920, 1080));
    }
}

QTEST_MAIN(TestCapture)
#include "TestCapture.moc"
