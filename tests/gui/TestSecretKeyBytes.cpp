// A key with characters beyond ASCII reaches the engine as the same 16 bytes
// from the play window and from the thumbnail thread: otherwise a file would
// play but show no thumbnail, or the other way round. The program is linked
// with --wrap for Tavrix_SetSecretKey, so every key handed to the engine is
// seen here, with the thread that handed it.

#include <QApplication>
#include <QMutex>
#include <QThread>
#include <QtTest>

#include "CPlayWnd.h"
#include "GetThumbThread.h"
#include "GuiMedia.h"

namespace {

QMutex g_mtxCalls;
QList<QPair<QByteArray, bool>> g_lstCalls; // (key in hex, on the GUI thread); guarded by g_mtxCalls

QList<QPair<QByteArray, bool>> TakeCalls() {
    QMutexLocker lock(&g_mtxCalls);
    return std::exchange(g_lstCalls, {});
}

} // namespace

extern "C" {
bool __real__Z19Tavrix_SetSecretKeyiiPKci(int32_t nPort, int32_t nKeyType, const char* pSecretKey,
                                          int32_t nKeyLen);
bool __wrap__Z19Tavrix_SetSecretKeyiiPKci(int32_t nPort, int32_t nKeyType, const char* pSecretKey,
                                          int32_t nKeyLen) {
    if (pSecretKey && nKeyLen == 128) {
        QMutexLocker lock(&g_mtxCalls);
        g_lstCalls.append({QByteArray(pSecretKey, 16).toHex(), QThread::currentThread() == qApp->thread()});
    }
    return __real__Z19Tavrix_SetSecretKeyiiPKci(nPort, nKeyType, pSecretKey, nKeyLen);
}
}

class TestSecretKeyBytes : public QObject {
    Q_OBJECT

private slots:
    void bothPathsGiveTheSameBytes_data() {
        // The GB18030 bytes of the key, zero padded or cut to 16: the program's 8-bit form.
        QTest::addColumn<QString>("strKey");
        QTest::addColumn<QByteArray>("baHex");
        // Two bytes per character in GB18030; three and two in UTF-8.
        QTest::newRow("chinese and cyrillic")
            << QString::fromUtf8("密钥ключ") << QByteArray("c3dcd4bfa7dca7dda7f0a7e900000000");
        // 24 bytes in GB18030: the engine takes the first 16.
        QTest::newRow("cut at 16 bytes")
            << QString::fromUtf8("ключключключ") << QByteArray("a7dca7dda7f0a7e9a7dca7dda7f0a7e9");
        QTest::newRow("ascii") << QStringLiteral("velquin123") << QByteArray("76656c7175696e313233000000000000");
    }
    void bothPathsGiveTheSameBytes() {
        QFETCH(QString, strKey);
        QFETCH(QByteArray, baHex);
        const QString strClip = GuiMedia::Clip("h264_aac.mp4");
        QVERIFY2(QFile::exists(strClip), "test media missing; run make-test-media.sh");
        TakeCalls();
        {
            CPlayWnd wnd(0, nullptr);
            wnd.OpenFile(strClip, strKey);
            QCOMPARE(TakeCalls(), (QList<QPair<QByteArray, bool>>{{baHex, true}}));
        }

        GetThumbThread thread;
        thread.start();
        QVERIFY(thread.AddFile(strClip, strKey));
        QList<QPair<QByteArray, bool>> lstThumb;
        QTRY_VERIFY_WITH_TIMEOUT(!(lstThumb += TakeCalls()).isEmpty(), 20000);
        thread.StopThread();
        QVERIFY(thread.wait(20000));
        QCOMPARE(lstThumb.first(), qMakePair(baHex, false));
    }
};

QTEST_MAIN(TestSecretKeyBytes)
#include "TestSecretKeyBytes.moc"
