// The default skin: every widget of the main dialog has a rule, every picture the
// skin names exists, and observers hear about skin changes until they leave.
#include "IObserverBase.h"
#include "MainDlgNames.h"
#include "SkinManager.h"

#include <QFile>
#include <QImageReader>
#include <QPushButton>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

namespace {

class CountingObserver : public IObserverBase {
public:
    void SkinChanged() override {
        ++m_nNotices;
        m_clrSeen = SkinManager::GetResColor(38, 0);
    }
    int m_nNotices = 0;
    QColor m_clrSeen;
};

// Leaves the observers from inside its own notice, as a dialog closed by a skin
// change would.
class LeavingObserver : public IObserverBase {
public:
    void SkinChanged() override {
        ++m_nNotices;
        if (!m_pOther)
            return;
        SkinManager::DelObserver(m_pOther);
        SkinManager::DelObserver(this);
    }
    IObserverBase* m_pOther = nullptr; // set: the next notice removes it and this
    int m_nNotices = 0;
};

// Resource numbers the program's windows read.
const int kResources[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                          14, 15, 16, 17, 18, 19, 35, 36, 37, 38, 39, 41, 42, 43};

QStringList UrlsIn(const QString& strSheet) {
    static const QRegularExpression re(QStringLiteral("url\\(([^)]+)\\)"));
    QStringList urls;
    for (auto it = re.globalMatch(strSheet); it.hasNext();)
        urls << it.next().captured(1).trimmed();
    return urls;
}

} // namespace

class TestSkin : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(SkinManager::GetInstance());
        SkinManager::ChangeSkin(0);
    }

    void EveryMainDialogWidgetHasARule() {
        const QString strPath = SkinManager::GetQssResPath(0);
        QVERIFY(!strPath.isEmpty());
        const QString strQss = SkinManager::ReadQssFile(strPath);
        QVERIFY(!strQss.isEmpty());
        QStringList missing;
        const QStringList names = MainDlgWidgetNames() << "m_pPlayListSearchBar"
                                                       << "m_pPlaylist"
                                                       << "m_pEagleEyeCtrlBar";
        for (const QString& strName : names) {
            // "#name" followed by something that ends the selector.
            const QRegularExpression re(QStringLiteral("#%1(?![A-Za-z0-9_])[^{}]*\\{").arg(strName));
            if (!re.match(strQss).hasMatch())
                missing << strName;
        }
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char(' '))));
        // Braces balance: a broken rule silently drops the rest of the sheet.
        QCOMPARE(strQss.count(QLatin1Char('{')), strQss.count(QLatin1Char('}')));
    }

    // Every window's sheet is there, and parses: Qt drops a whole style sheet
    // that does not parse, with only a warning.
    void StyleSheetsOfTheWindowsExistAndParse() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral("[Cc]ould not parse")));
        QStringList sheets;
        for (int nResource : kResources) {
            const QString strPath = SkinManager::GetQssResPath(nResource);
            QVERIFY2(!strPath.isEmpty(), qPrintable(QString::number(nResource)));
            sheets << SkinManager::ReadQssFile(strPath);
            QVERIFY2(!sheets.last().trimmed().isEmpty(), qPrintable(strPath));
            for (int i = 0; i < 20; ++i)
                sheets << SkinManager::GetResStyleSheet(nResource, i);
        }
        for (const QString& strSheet : sheets) {
            if (strSheet.isEmpty())
                continue;
            QWidget host;
            auto* pButton = new QPushButton(&host);
            host.setStyleSheet(strSheet);
            host.ensurePolished();
            pButton->ensurePolished();
        }
        QWidget broken; // the check itself must see a broken sheet
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("[Cc]ould not parse")));
        broken.setStyleSheet(QStringLiteral("QPushButton { color: red; "));
        broken.ensurePolished();
        QVERIFY(SkinManager::GetQssResPath(40).isEmpty());
        QVERIFY(SkinManager::ReadQssFile(QStringLiteral(":/skin/default/NoSuch.qss")).isEmpty());
    }

    // The pictures really show: a stop button drawn with the main dialog's sheet has
    // the light icon colour when enabled and the grey one when disabled.
    void ButtonPicturesAreDrawn() {
        QWidget host;
        host.setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(0)));
        auto* pBtn = new QPushButton(&host);
        pBtn->setObjectName(QStringLiteral("m_pBtnStop"));
        pBtn->setGeometry(0, 0, 26, 26);
        host.resize(26, 26);
        auto countColour = [&](QRgb rgb) {
            const QImage img = pBtn->grab().toImage().convertToFormat(QImage::Format_RGB32);
            int nCount = 0;
            for (int y = 0; y < img.height(); ++y)
                for (int x = 0; x < img.width(); ++x) {
                    const QRgb px = img.pixel(x, y);
                    if (qAbs(qRed(px) - qRed(rgb)) < 12 && qAbs(qGreen(px) - qGreen(rgb)) < 12 &&
                        qAbs(qBlue(px) - qBlue(rgb)) < 12)
                        ++nCount;
                }
            return nCount;
        };
        QVERIFY(countColour(qRgb(0xE8, 0xE8, 0xE8)) > 40);
        pBtn->setEnabled(false);
        QVERIFY(countColour(qRgb(0x5C, 0x5F, 0x66)) > 40);
        QCOMPARE(countColour(qRgb(0xE8, 0xE8, 0xE8)), 0);
    }

    void EveryPictureResolves() {
        QStringList missing;
        int nChecked = 0;
        auto check = [&](const QString& strPath, const QString& strWhere) {
            ++nChecked;
            if (!QFile::exists(strPath)) {
                missing << strWhere + QLatin1Char('=') + strPath;
                return;
            }
            QImageReader reader(strPath);
            if (!reader.canRead())
                missing << strWhere + QStringLiteral(" unreadable ") + strPath;
        };
        for (int nResource : kResources) {
            for (int i = 0; i < 20; ++i) {
                const QString strPicture = SkinManager::GetOtherResPath(nResource, i);
                if (!strPicture.isEmpty())
                    check(strPicture, QStringLiteral("picture %1,%2").arg(nResource).arg(i));
                for (const QString& strUrl : UrlsIn(SkinManager::GetResStyleSheet(nResource, i)))
                    check(strUrl, QStringLiteral("sheet %1,%2").arg(nResource).arg(i));
            }
            for (const QString& strUrl :
                 UrlsIn(SkinManager::ReadQssFile(SkinManager::GetQssResPath(nResource))))
                check(strUrl, QStringLiteral("qss %1").arg(nResource));
        }
        QVERIFY(nChecked > 100);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char('\n'))));
    }

    void PlayWindowAndStageValues() {
        // Native colour numbers keep red in the low byte.
        const QColor clrZoom = SkinManager::GetResColor(38, 2);
        const uint32_t nRef = SkinManager::GetResColorRef(38, 2);
        QVERIFY(clrZoom.isValid());
        QCOMPARE(nRef, uint32_t(clrZoom.red() | clrZoom.green() << 8 | clrZoom.blue() << 16));
        QVERIFY(SkinManager::GetResColor(39, 0) != SkinManager::GetResColor(39, 1)); // selection must show
        // The main dialog's play and pause looks differ; so do the three mute looks.
        QVERIFY(SkinManager::GetResStyleSheet(0, 5) != SkinManager::GetResStyleSheet(0, 6));
        QVERIFY(SkinManager::GetResStyleSheet(0, 2) != SkinManager::GetResStyleSheet(0, 3));
        QVERIFY(SkinManager::GetResStyleSheet(0, 3) != SkinManager::GetResStyleSheet(0, 4));
        // Missing entries are empty, not garbage.
        QVERIFY(!SkinManager::GetResColor(38, 99).isValid());
        QCOMPARE(SkinManager::GetResColorRef(38, 99), 0u);
        QVERIFY(SkinManager::GetOtherResPath(1234, 0).isEmpty());
        QVERIFY(SkinManager::GetResStyleSheet(38, 0).isEmpty());
    }

    void ObserversFollowTheSkin() {
        CountingObserver a;
        CountingObserver b;
        SkinManager::AddObserver(&a);
        QCOMPARE(a.m_nNotices, 1); // told at once, so it can read the skin
        QVERIFY(a.m_clrSeen.isValid());
        SkinManager::AddObserver(&b);
        SkinManager::AddObserver(&b); // twice: still one entry
        QCOMPARE(b.m_nNotices, 2);

        SkinManager::ChangeSkin(0);
        QCOMPARE(a.m_nNotices, 2);
        QCOMPARE(b.m_nNotices, 3);

        SkinManager::DelObserver(&a);
        SkinManager::ChangeSkin(5); // unknown skin: the default one
        QCOMPARE(SkinManager::CurrentSkinIndex(), 0);
        QCOMPARE(a.m_nNotices, 2);
        QCOMPARE(b.m_nNotices, 4);
        QVERIFY(b.m_clrSeen.isValid());
        SkinManager::DelObserver(&b);
        SkinManager::DelObserver(&b); // leaving twice is harmless
        SkinManager::ChangeSkin(0);
        QCOMPARE(b.m_nNotices, 4);
    }

    void ObserverLeavingDuringNotice() {
        LeavingObserver leaving;
        CountingObserver after;
        SkinManager::AddObserver(&leaving);
        SkinManager::AddObserver(&after);
        QCOMPARE(leaving.m_nNotices, 1);
        QCOMPARE(after.m_nNotices, 1);
        leaving.m_pOther = &after; // the next notice removes the later observer and itself
        SkinManager::ChangeSkin(0);
        QCOMPARE(leaving.m_nNotices, 2);
        QCOMPARE(after.m_nNotices, 1); // removed before its turn: not called
        SkinManager::ChangeSkin(0);
        QCOMPARE(leaving.m_nNotices, 2);
    }
};

QTEST_MAIN(TestSkin)
#include "tst_skin.moc"
