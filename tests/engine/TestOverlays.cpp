// Display regions and private data over the picture, seen through the draw
// callbacks (on each region's finished picture) and the widgets themselves.
#include "IndexWait.h"
#include "Tavrix.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

#include <cstdlib>
#include <mutex>

namespace {
const int kTimeoutMs = 20000;
const int kWidth = 320; // the clips' picture size, and the window's: picture pixels are widget pixels
const int kHeight = 240;
const QRect kBox(80, 60, 80, 120);      // the Human box of overlay_boxes.analytics.xml
const QRect kMotion(208, 24, 96, 192);  // its motion zone
const QRect kTextArea(0, 180, 160, 60); // where text lines go: the lower left

QString MediaPath(const QString& strName) {
    return QDir(QString::fromUtf8(VELQUIN_MEDIA_DIR)).filePath(strName);
}

// One port playing into a window of its own, paused on chosen frames.
class RegionPort {
public:
    RegionPort() {
        m_wnd.setFixedSize(kWidth, kHeight);
        m_wnd.show();
        m_nav.setFixedSize(kWidth, kHeight);
        m_nav.show();
    }
    ~RegionPort() {
        if (m_nPort >= 0)
            Tavrix_FreePort(m_nPort);
    }

    bool Open(const QString& strPath) {
        if (!Tavrix_GetPort(&m_nPort) || !m_index.Register(m_nPort) ||
            !Tavrix_RegisterDrawFunEx(m_nPort, 0, &RegionPort::OnDraw0, this) ||
            !Tavrix_RegisterDrawFunEx(m_nPort, 1, &RegionPort::OnDraw1, this) ||
            !Tavrix_SetDisplayCallBackEx(m_nPort, &RegionPort::OnDisplay, this))
            return false;
        return Tavrix_OpenFile(m_nPort, QFile::encodeName(strPath).constData()) &&
               Tavrix_Play(m_nPort, static_cast<uintptr_t>(m_wnd.winId())) && Tavrix_Pause(m_nPort, 1) &&
               m_index.Wait(kTimeoutMs);
    }

    // Shows frame nFrame and answers the window's picture of it (a refresh asked
    // after the display callback saw it presents that frame).
    QImage Frame(uint32_t nFrame) {
        {
            std::lock_guard<std::mutex> lock(m_mtx);
            m_nShownFrame = -1;
        }
        if (!Tavrix_SetCurrentFrameNum(m_nPort, nFrame) ||
            !QTest::qWaitFor([&] { return Shown() == int64_t{nFrame}; }, kTimeoutMs))
            return QImage();
        return Fresh();
    }

    // The window's picture after a refresh asked for now, with settings changed before the call.
    QImage Fresh(int nRegion = 0) {
        const int nBefore = Count(nRegion);
        // The GUI thread keeps serving events meanwhile: presenting may need it.
        if (!Tavrix_RefreshPlayEx(m_nPort, static_cast<uint32_t>(nRegion)) ||
            !QTest::qWaitFor([&] { return Count(nRegion) > nBefore; }, kTimeoutMs))
            return QImage();
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_img[nRegion];
    }

    int Count(int nRegion) const {
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_nDraws[nRegion];
    }

    int32_t Port() const { return m_nPort; }
    QWidget& Navigator() { return m_nav; }

private:
    static void Take(void* hDc, void* pUser, int nRegion) {
        auto* pSelf = static_cast<RegionPort*>(pUser);
        auto* pImage = dynamic_cast<QImage*>(static_cast<QPainter*>(hDc)->device());
        std::lock_guard<std::mutex> lock(pSelf->m_mtx);
        pSelf->m_img[nRegion] = pImage != nullptr ? pImage->copy() : QImage();
        ++pSelf->m_nDraws[nRegion];
    }
    static void OnDisplay(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pSelf = static_cast<RegionPort*>(pInfo->nUser);
        std::lock_guard<std::mutex> lock(pSelf->m_mtx);
        pSelf->m_nShownFrame = pInfo->nFrameNum;
    }
    int64_t Shown() const {
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_nShownFrame;
    }
    static void OnDraw0(int32_t, void* hDc, void* pUser) { Take(hDc, pUser, 0); }
    static void OnDraw1(int32_t, void* hDc, void* pUser) { Take(hDc, pUser, 1); }

    QWidget m_wnd;
    QWidget m_nav;
    int32_t m_nPort = -1;
    IndexWait m_index;
    mutable std::mutex m_mtx;
    QImage m_img[2];            // guarded by m_mtx
    int m_nDraws[2] = {0};      // guarded by m_mtx
    int64_t m_nShownFrame = -1; // the last frame the display callback saw; guarded by m_mtx
};

bool SameIn(const QImage& a, const QImage& b, const QRect& rc) {
    return !a.isNull() && !b.isNull() && a.copy(rc) == b.copy(rc);
}

// Mean absolute difference per channel of two RGB32 pictures of one size.
double MeanDiff(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.isNull())
        return 1e9;
    double dSum = 0;
    for (int y = 0; y < a.height(); ++y) {
        const QRgb* pa = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const QRgb* pb = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x)
            dSum += std::abs(qRed(pa[x]) - qRed(pb[x])) + std::abs(qGreen(pa[x]) - qGreen(pb[x])) +
                    std::abs(qBlue(pa[x]) - qBlue(pb[x]));
    }
    return dSum / (3.0 * a.width() * a.height());
}
} // namespace

class TestOverlays : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void boxesShowOnTheirFramesOnly();
    void textLinesShowDuringTheirTimes_data();
    void textLinesShowDuringTheirTimes();
    void regionsShowTheirParts();

private:
    QTemporaryDir m_dir;
    QString m_strPlain; // overlay_boxes.mp4 beside a sidecar that is not XML
};

void TestOverlays::initTestCase() {
    QVERIFY(m_dir.isValid());
    m_strPlain = m_dir.filePath("plain.mp4");
    QVERIFY(QFile::copy(MediaPath("overlay_boxes.mp4"), m_strPlain));
    QFile bad(m_dir.filePath("plain.analytics.xml"));
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write("<tt:MetadataStream><tt:VideoAnalytics><tt:Frame UtcTime=\"2024-03-15T10:20:31Z\"><tt:Obj");
}

void TestOverlays::boxesShowOnTheirFramesOnly() {
    // The plain picture: the same file whose sidecar cannot be read, which still plays.
    RegionPort plain;
    QVERIFY(plain.Open(m_strPlain));
    const QImage plainIn = plain.Frame(37);   // 1.48 s: the box's span
    const QImage plainGap = plain.Frame(60);  // 2.4 s: nothing
    const QImage plainLate = plain.Frame(90); // 3.6 s: the motion zone
    QVERIFY(!plainIn.isNull() && !plainGap.isNull() && !plainLate.isNull());

    RegionPort port;
    QVERIFY(port.Open(MediaPath("overlay_boxes.mp4")));
    QVERIFY(!SameIn(port.Frame(37), plainIn, kBox));
    QVERIFY(port.Frame(60) == plainGap); // the empty frame at 2.0 s ended the box
    const QImage late = port.Frame(90);
    QVERIFY(SameIn(late, plainLate, kBox));
    QVERIFY(!SameIn(late, plainLate, kMotion));
    QVERIFY(port.Frame(24) == plain.Frame(24)); // 0.96 s: before the box

    // Switched off, nothing is drawn; on again, the box is back.
    QVERIFY(Tavrix_RenderPrivateData(port.Port(), TAVRIX_RENDER_ANA_INTEL_DATA, false));
    QVERIFY(port.Frame(37) == plainIn);
    QVERIFY(!SameIn(port.Frame(90), plainLate, kMotion)); // motion zones are a kind of their own
    QVERIFY(Tavrix_RenderPrivateData(port.Port(), TAVRIX_RENDER_MD, false));
    QVERIFY(port.Fresh() == plainLate);
    QVERIFY(Tavrix_RenderPrivateData(port.Port(), TAVRIX_RENDER_ANA_INTEL_DATA, true));
    QVERIFY(!SameIn(port.Frame(37), plainIn, kBox));

    QVERIFY(!Tavrix_RenderPrivateData(port.Port(), 64, true));
    QCOMPARE(Tavrix_GetLastError(port.Port()), uint32_t(TAVRIX_ERR_PARA_OVER));
}

void TestOverlays::textLinesShowDuringTheirTimes_data() {
    QTest::addColumn<QString>("clip");
    QTest::newRow("SubRip in Matroska") << "pos_text.mkv";
    QTest::newRow("mov_text in MP4") << "pos_text.mp4";
}

void TestOverlays::textLinesShowDuringTheirTimes() {
    QFETCH(QString, clip);
    RegionPort port;
    QVERIFY(port.Open(MediaPath(clip)));
    const int32_t nPort = port.Port();
    // Each frame with the text lines off, then on: "COFFEE 2.50" 0.5-1.5 s, "TOTAL 2.50" 2.0-3.0 s.
    for (const uint32_t nFrame : {25u, 45u, 62u, 80u}) {
        QVERIFY(Tavrix_RenderPrivateData(nPort, TAVRIX_RENDER_ADD_POS, false));
        const QImage off = port.Frame(nFrame);
        QVERIFY(!off.isNull());
        QVERIFY(Tavrix_RenderPrivateData(nPort, TAVRIX_RENDER_ADD_POS, true));
        if (nFrame == 25 || nFrame == 62) {
            // The track is read beside the playback: its lines arrive within moments.
            QTRY_VERIFY_WITH_TIMEOUT(!SameIn(port.Fresh(), off, kTextArea), kTimeoutMs);
        } else {
            QVERIFY2(port.Fresh() == off, qPrintable(QString::number(nFrame)));
        }
    }
}

void TestOverlays::regionsShowTheirParts() {
    RegionPort port;
    QVERIFY(port.Open(m_strPlain));
    const int32_t nPort = port.Port();
    const QImage whole = port.Frame(30);
    QVERIFY(!whole.isNull());

    QFile truth(MediaPath("overlay_crop30.bgra"));
    QVERIFY(truth.open(QIODevice::ReadOnly));
    const QByteArray bytes = truth.readAll();
    QCOMPARE(bytes.size(), kWidth * kHeight * 4);
    const QImage expected =
        QImage(reinterpret_cast<const uchar*>(bytes.constData()), kWidth, kHeight, QImage::Format_ARGB32)
            .convertToFormat(QImage::Format_RGB32);

    // Region 0 shows the rectangle scaled to the whole window.
    const TAVRIX_RECT rc{80, 60, 240, 180};
    QVERIFY(Tavrix_SetDisplayRegion(nPort, 0, &rc, 0, true));
    const QImage part = port.Fresh();
    QVERIFY2(MeanDiff(part, expected) < 3.0, qPrintable(QString::number(MeanDiff(part, expected))));
    QVERIFY(MeanDiff(whole, expected) > 10.0);

    // Rectangles the picture cannot give, and regions that do not exist.
    for (const TAVRIX_RECT& bad : {TAVRIX_RECT{0, 0, kWidth + 1, kHeight}, TAVRIX_RECT{10, 10, 11, 40},
                                   TAVRIX_RECT{-2, 0, 100, 100}}) {
        QVERIFY(!Tavrix_SetDisplayRegion(nPort, 0, &bad, 0, true));
        QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
    }
    QVERIFY(!Tavrix_SetDisplayRegion(nPort, 2, &rc, 0, true));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));

    // Region 1 shows the whole picture in its widget, with its own draw callback.
    const uintptr_t nNav = static_cast<uintptr_t>(port.Navigator().winId());
    QVERIFY(Tavrix_SetDisplayRegion(nPort, 1, nullptr, nNav, true));
    const QImage nav = port.Fresh(1);
    QVERIFY(nav == whole);
    QTRY_VERIFY_WITH_TIMEOUT(port.Navigator().grab().toImage().convertToFormat(QImage::Format_RGB32) == whole,
                             kTimeoutMs);
    QVERIFY(MeanDiff(port.Fresh(0), expected) < 3.0); // region 0 keeps its part

    // Without region 1 only region 0 is drawn; the whole picture comes back to region 0.
    QVERIFY(Tavrix_SetDisplayRegion(nPort, 1, nullptr, nNav, false));
    QVERIFY(Tavrix_SetDisplayRegion(nPort, 0, nullptr, 0, true));
    const int nNavDraws = port.Count(1);
    QVERIFY(port.Fresh() == whole);
    port.Fresh(); // the refresh before has presented to every region by now
    QCOMPARE(port.Count(1), nNavDraws);
}

QTEST_MAIN(TestOverlays)
#include "TestOverlays.moc"
