// The decryption key dialog driven through its widgets: the key rules, the rows,
// "Apply to all", OK and Cancel, and the skin and language notices.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QtTest>

#include <memory>

#include "CGetDecryptKeyDlg.h"
#include "CLanguageParser.h"
#include "SkinManager.h"

namespace {

const QString kInformation = QStringLiteral("Information");
const QString kMsgBlank = QStringLiteral("The key cannot be empty!");
const QString kMsgTooLong = QStringLiteral("The key length exceeds the limit!");

QMap<QString, QString> PathsWithoutKeys(const QStringList& lstPaths) {
    QMap<QString, QString> mapKeys;
    for (const QString& strPath : lstPaths)
        mapKeys.insert(strPath, QString());
    return mapKeys;
}

// The open message boxes, as (title, text).
QList<QPair<QString, QString>> OpenMessages() {
    QList<QPair<QString, QString>> lst;
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() != QLatin1String("NonModalMessageBox") || !pWidget->isVisible())
            continue;
        auto* pTitle = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabTitle"));
        auto* pText = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabText"));
        lst.append({pTitle ? pTitle->text() : QString(), pText ? pText->text() : QString()});
    }
    return lst;
}

int CountMessageBoxes() {
    int n = 0;
    for (QWidget* pWidget : QApplication::topLevelWidgets())
        n += pWidget->objectName() == QLatin1String("NonModalMessageBox") ? 1 : 0;
    return n;
}

void CloseMessageBoxes() {
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() == QLatin1String("NonModalMessageBox"))
            pWidget->close();
    }
}

template <typename T> T* Child(QWidget* pParent, const QString& strName) {
    return pParent->findChild<T*>(strName);
}

QLineEdit* KeyEdit(QWidget* pDlg, int nRow) {
    return Child<QLineEdit>(pDlg, QStringLiteral("pEditKey_%1").arg(nRow));
}

QPushButton* ApplyButton(QWidget* pDlg, int nRow) {
    return Child<QPushButton>(pDlg, QStringLiteral("pBtnApplyAll_%1").arg(nRow));
}

QLabel* NameLabel(QWidget* pDlg, int nRow) {
    return Child<QLabel>(pDlg, QStringLiteral("pLabFileName_%1").arg(nRow));
}

void TypeKey(QWidget* pDlg, int nRow, const QString& strKey) {
    QLineEdit* pEdit = KeyEdit(pDlg, nRow);
    QVERIFY(pEdit);
    pEdit->clear();
    // QTest types ASCII only; other text reaches the field as an input method would
    // hand it over, in one piece.
    bool bAscii = true;
    for (QChar ch : strKey)
        bAscii = bAscii && ch.unicode() < 0x80;
    if (bAscii)
        QTest::keyClicks(pEdit, strKey);
    else
        pEdit->setText(strKey);
    QCOMPARE(pEdit->text(), strKey);
}

void ClickOK(QWidget* pDlg) {
    auto* pBtn = Child<QPushButton>(pDlg, QStringLiteral("m_pBtnOK"));
    QVERIFY(pBtn);
    QTest::mouseClick(pBtn, Qt::LeftButton);
}

std::unique_ptr<CGetDecryptKeyDlg> MakeDialog(const QMap<QString, QString>& mapKeys) {
    auto pDlg = std::make_unique<CGetDecryptKeyDlg>();
    pDlg->Init();
    pDlg->SetFiles(mapKeys);
    const int nFiles = mapKeys.size();
    pDlg->resize(400, nFiles <= 6 ? 185 + 30 * nFiles : 375);
    return pDlg;
}

} // namespace

class TestGetDecryptKeyDlg : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(CLanguageParser::LoadStringFile(1)); }

    void cleanup() {
        CloseMessageBoxes();
        // The boxes delete themselves on close, by a deferred delete.
        QTRY_COMPARE(CountMessageBoxes(), 0);
        CLanguageParser::LoadStringFile(1);
    }

    void oneFileHasNoApplyButtonAndAWiderField() {
        auto pDlg = MakeDialog(PathsWithoutKeys({QStringLiteral("/rec/cam1.mp4")}));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowActive(pDlg.get()));

        QLineEdit* pEdit = KeyEdit(pDlg.get(), 0);
        QVERIFY(pEdit);
        QVERIFY(!KeyEdit(pDlg.get(), 1));
        QVERIFY(!ApplyButton(pDlg.get(), 0)->isVisible());
        QCOMPARE(pEdit->width(), 200);
        QCOMPARE(pEdit->echoMode(), QLineEdit::Password);
        QCOMPARE(pEdit->contextMenuPolicy(), Qt::NoContextMenu);
        QVERIFY(pEdit->text().isEmpty());
        // The user can type at once.
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(pEdit));

        QCOMPARE(Child<QLabel>(pDlg.get(), QStringLiteral("m_pLabTitle"))->text(),
                 QStringLiteral("Set Secret"));
        QCOMPARE(Child<QLabel>(pDlg.get(), QStringLiteral("m_pTextWarning"))->text(),
                 QStringLiteral(
                     "Please enter the correct key of the file. If the file failed to play, contact the "
                     "provider of the video to get the correct key and try again."));
        QCOMPARE(Child<QWidget>(pDlg.get(), QStringLiteral("m_pWarningContainer"))->height(), 55);
    }

    void rowsShowNamesInPathOrder() {
        const QString strChinese = QStringLiteral("/录像/夜间 门口 1号.mp4");
        const QString strWindows = QStringLiteral("D:\\Vidéos\\entrée.mp4");
        const QString strPlain = QStringLiteral("/rec/a.mp4");
        auto pDlg = MakeDialog(PathsWithoutKeys({strWindows, strChinese, strPlain}));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));

        // Rows follow the order of the paths, not the order they were given in.
        QStringList lstSorted = {strWindows, strChinese, strPlain};
        lstSorted.sort();
        QStringList lstNames;
        for (int i = 0; i < 3; ++i) {
            QLabel* pName = NameLabel(pDlg.get(), i);
            QVERIFY(pName);
            QCOMPARE(pName->toolTip(), pName->text());
            QVERIFY(ApplyButton(pDlg.get(), i)->isVisible());
            QCOMPARE(ApplyButton(pDlg.get(), i)->text(), QStringLiteral("Apply to all"));
            QCOMPARE(KeyEdit(pDlg.get(), i)->width(), 130);
            QCOMPARE(KeyEdit(pDlg.get(), i)->y(), 30 * i + 25);
            lstNames << pName->text();
        }
        QStringList lstExpected;
        for (const QString& strPath : lstSorted) {
            if (strPath == strWindows)
                lstExpected << QStringLiteral("entrée.mp4");
            else if (strPath == strChinese)
                lstExpected << QStringLiteral("夜间 门口 1号.mp4");
            else
                lstExpected << QStringLiteral("a.mp4");
        }
        QCOMPARE(lstNames, lstExpected);

        // Every row's key comes back under its own path.
        for (int i = 0; i < 3; ++i)
            TypeKey(pDlg.get(), i, QStringLiteral("key%1").arg(i));
        ClickOK(pDlg.get());
        QCOMPARE(pDlg->result(), int(QDialog::Accepted));
        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        QCOMPARE(mapOut.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(mapOut.value(lstSorted.at(i)), QStringLiteral("key%1").arg(i));
        QCOMPARE(OpenMessages().size(), 0);
    }

    void keyRules_data() {
        QTest::addColumn<QString>("strKey");
        QTest::addColumn<QString>("strMessage"); // empty: accepted

        QTest::newRow("empty") << QString() << kMsgBlank;
        QTest::newRow("one character") << QStringLiteral("k") << QString();
        QTest::newRow("sixteen characters") << QStringLiteral("0123456789abcdef") << QString();
        QTest::newRow("seventeen characters") << QStringLiteral("0123456789abcdefg") << kMsgTooLong;
        QTest::newRow("sixteen non-ASCII") << QStringLiteral("密钥密钥密钥密钥密钥密钥密钥密钥") << QString();
        QTest::newRow("seventeen non-ASCII")
            << QStringLiteral("密钥密钥密钥密钥密钥密钥密钥密钥密") << kMsgTooLong;
        // Sixteen characters outside the basic plane are 32 UTF-16 units.
        QString strWide;
        for (int i = 0; i < 16; ++i)
            strWide += QString::fromUcs4(U"\U0001F511");
        QTest::newRow("sixteen outside the basic plane") << strWide << QString();
        QTest::newRow("spaces only") << QStringLiteral("   ") << QString();
    }

    void keyRules() {
        QFETCH(QString, strKey);
        QFETCH(QString, strMessage);
        const QString strPath = QStringLiteral("/rec/enc.mp4");
        auto pDlg = MakeDialog(PathsWithoutKeys({strPath}));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));

        if (!strKey.isEmpty())
            TypeKey(pDlg.get(), 0, strKey);
        ClickOK(pDlg.get());

        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        if (strMessage.isEmpty()) {
            QVERIFY(!pDlg->isVisible());
            QCOMPARE(pDlg->result(), int(QDialog::Accepted));
            QCOMPARE(mapOut.value(strPath), strKey);
            QCOMPARE(OpenMessages().size(), 0);
            return;
        }
        // Refused: the message shows without blocking, the dialog stays open and
        // nothing is taken.
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first(), qMakePair(kInformation, strMessage));
        QVERIFY(pDlg->isVisible());
        QCOMPARE(pDlg->result(), int(QDialog::Rejected));
        QCOMPARE(mapOut.size(), 1);
        QVERIFY(mapOut.value(strPath).isEmpty());
    }

    void faultInLastRowStoresNoRow() {
        const QStringList lstPaths = {QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4"),
                                      QStringLiteral("/rec/3.mp4")};
        auto pDlg = MakeDialog(PathsWithoutKeys(lstPaths));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));

        TypeKey(pDlg.get(), 0, QStringLiteral("first"));
        TypeKey(pDlg.get(), 1, QStringLiteral("0123456789abcdef"));
        TypeKey(pDlg.get(), 2, QStringLiteral("0123456789abcdefg"));
        ClickOK(pDlg.get());
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first().second, kMsgTooLong);
        QVERIFY(pDlg->isVisible());
        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        for (const QString& strPath : lstPaths)
            QVERIFY2(mapOut.value(strPath).isEmpty(), qPrintable(strPath));
        // The faulty field gets the focus back for the correction.
        QTRY_COMPARE(pDlg->focusWidget(), static_cast<QWidget*>(KeyEdit(pDlg.get(), 2)));

        // Corrected, the same dialog is accepted with every key.
        CloseMessageBoxes();
        TypeKey(pDlg.get(), 2, QStringLiteral("third"));
        ClickOK(pDlg.get());
        QCOMPARE(pDlg->result(), int(QDialog::Accepted));
        pDlg->GetFileKeys(mapOut);
        QCOMPARE(mapOut.value(lstPaths.at(0)), QStringLiteral("first"));
        QCOMPARE(mapOut.value(lstPaths.at(1)), QStringLiteral("0123456789abcdef"));
        QCOMPARE(mapOut.value(lstPaths.at(2)), QStringLiteral("third"));
    }

    void firstFaultStopsThePass() {
        auto pDlg =
            MakeDialog(PathsWithoutKeys({QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4")}));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));
        TypeKey(pDlg.get(), 1, QStringLiteral("0123456789abcdefg"));
        ClickOK(pDlg.get());
        // One message, for the top row.
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first().second, kMsgBlank);
        QVERIFY(pDlg->isVisible());
    }

    void applyToAllCopiesTheRowKey() {
        auto pDlg = MakeDialog(PathsWithoutKeys(
            {QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4"), QStringLiteral("/rec/3.mp4")}));
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));

        TypeKey(pDlg.get(), 0, QStringLiteral("zero"));
        TypeKey(pDlg.get(), 1, QStringLiteral("shared"));
        QTest::mouseClick(ApplyButton(pDlg.get(), 1), Qt::LeftButton);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(KeyEdit(pDlg.get(), i)->text(), QStringLiteral("shared"));
        // The button takes no focus away from the field being typed in.
        QCOMPARE(ApplyButton(pDlg.get(), 1)->focusPolicy(), Qt::NoFocus);

        // Applying an empty field empties them all.
        KeyEdit(pDlg.get(), 2)->clear();
        QTest::mouseClick(ApplyButton(pDlg.get(), 2), Qt::LeftButton);
        for (int i = 0; i < 3; ++i)
            QVERIFY(KeyEdit(pDlg.get(), i)->text().isEmpty());
    }

    void sevenRowsScrollSixDoNot() {
        for (int nFiles : {6, 7}) {
            QStringList lstPaths;
            for (int i = 0; i < nFiles; ++i)
                lstPaths << QStringLiteral("/rec/%1.mp4").arg(i);
            auto pDlg = MakeDialog(PathsWithoutKeys(lstPaths));
            pDlg->show();
            QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));
            auto* pScroll = Child<QScrollArea>(pDlg.get(), QStringLiteral("m_pScrollArea"));
            QVERIFY(pScroll);
            QCOMPARE(pScroll->widget()->height(), 30 * nFiles + 40);
            QTRY_COMPARE(pScroll->verticalScrollBar()->isVisible(), nFiles == 7);
            // The last row can be reached.
            QLineEdit* pLast = KeyEdit(pDlg.get(), nFiles - 1);
            pScroll->ensureWidgetVisible(pLast);
            const QPoint ptBottom = pLast->mapTo(pScroll->viewport(), QPoint(0, pLast->height()));
            QVERIFY(ptBottom.y() <= pScroll->viewport()->height());
        }
    }

    void cancelReturnsNothing_data() {
        QTest::addColumn<QString>("strHow");
        QTest::newRow("cancel button") << QStringLiteral("m_pBtnCancel");
        QTest::newRow("close button") << QStringLiteral("m_pBtnClose");
        QTest::newRow("escape") << QStringLiteral("escape");
    }

    void cancelReturnsNothing() {
        QFETCH(QString, strHow);
        const QString strPath = QStringLiteral("/rec/enc.mp4");
        auto pDlg = MakeDialog(PathsWithoutKeys({strPath}));

        // exec() runs its own loop: the answer is given from inside it, once the
        // dialog is the active modal window.
        bool bSeen = false;
        QTimer::singleShot(0, this, [&] {
            auto* pModal = qobject_cast<CGetDecryptKeyDlg*>(QApplication::activeModalWidget());
            if (!pModal)
                return; // exec() returns not at all: the test times out and fails
            bSeen = true;
            TypeKey(pModal, 0, QStringLiteral("typed"));
            if (strHow == QLatin1String("escape"))
                QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Escape);
            else
                QTest::mouseClick(Child<QPushButton>(pModal, strHow), Qt::LeftButton);
        });
        QCOMPARE(pDlg->exec(), int(QDialog::Rejected));
        QVERIFY(bSeen);
        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        QCOMPARE(mapOut.size(), 1);
        QVERIFY(mapOut.value(strPath).isEmpty());
    }

    void execRefusesThenAcceptsWithEnter() {
        const QString strPath = QStringLiteral("/rec/enc.mp4");
        auto pDlg = MakeDialog(PathsWithoutKeys({strPath}));
        int nMessagesWhileOpen = -1;
        QTimer::singleShot(0, this, [&] {
            auto* pModal = qobject_cast<CGetDecryptKeyDlg*>(QApplication::activeModalWidget());
            if (!pModal)
                return;
            // A refused key leaves the modal dialog running; the message does not
            // block it.
            TypeKey(pModal, 0, QStringLiteral("0123456789abcdefg"));
            QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Return);
            nMessagesWhileOpen = OpenMessages().size();
            if (!pModal->isVisible())
                return;
            TypeKey(pModal, 0, QStringLiteral("right"));
            QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Return);
        });
        QCOMPARE(pDlg->exec(), int(QDialog::Accepted));
        QCOMPARE(nMessagesWhileOpen, 1);
        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        QCOMPARE(mapOut.value(strPath), QStringLiteral("right"));
    }

    void skinAndLanguageNotices() {
        auto pDlg =
            MakeDialog(PathsWithoutKeys({QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4")}));
        const QString strEditSheet = SkinManager::GetResStyleSheet(11, 1);
        QVERIFY(!strEditSheet.isEmpty());
        QCOMPARE(KeyEdit(pDlg.get(), 0)->styleSheet(), strEditSheet);
        QCOMPARE(NameLabel(pDlg.get(), 1)->styleSheet(), SkinManager::GetResStyleSheet(11, 0));
        QCOMPARE(ApplyButton(pDlg.get(), 1)->styleSheet(), SkinManager::GetResStyleSheet(11, 2));
        QVERIFY(!pDlg->styleSheet().isEmpty());

        // A skin change restyles rows that exist already.
        KeyEdit(pDlg.get(), 0)->setStyleSheet(QString());
        SkinManager::ChangeSkin(SkinManager::CurrentSkinIndex());
        QCOMPARE(KeyEdit(pDlg.get(), 0)->styleSheet(), strEditSheet);

        // The language notice sets every text again, the rows' buttons too.
        QVERIFY(CLanguageParser::LoadStringFile(0));
        QEvent evLanguage(QEvent::LanguageChange);
        QApplication::sendEvent(pDlg.get(), &evLanguage);
        QString strApply;
        QVERIFY(CLanguageParser::FindString(QStringLiteral("IDS_MainWnd_ApplyToAll"), strApply, QString()));
        QCOMPARE(ApplyButton(pDlg.get(), 0)->text(), strApply);
        QVERIFY(strApply != QStringLiteral("Apply to all"));

        // The dialog leaves the observers when it goes: a later skin change must not
        // reach it.
        pDlg.reset();
        SkinManager::ChangeSkin(SkinManager::CurrentSkinIndex());
    }

    void setFilesAgainReplacesRows() {
        auto pDlg =
            MakeDialog(PathsWithoutKeys({QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4")}));
        pDlg->SetFiles(PathsWithoutKeys({QStringLiteral("/rec/3.mp4")}));
        QVERIFY(KeyEdit(pDlg.get(), 0));
        QVERIFY(!KeyEdit(pDlg.get(), 1));
        QCOMPARE(NameLabel(pDlg.get(), 0)->text(), QStringLiteral("3.mp4"));
        // The old rows are gone, not merely hidden.
        QCOMPARE(
            pDlg->findChildren<QPushButton*>(QRegularExpression(QStringLiteral("^pBtnApplyAll_"))).size(), 1);
        pDlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(pDlg.get()));
        TypeKey(pDlg.get(), 0, QStringLiteral("k3"));
        ClickOK(pDlg.get());
        QMap<QString, QString> mapOut;
        pDlg->GetFileKeys(mapOut);
        QCOMPARE(mapOut.keys(), QStringList{QStringLiteral("/rec/3.mp4")});
        QCOMPARE(mapOut.first(), QStringLiteral("k3"));
    }
};

QTEST_MAIN(TestGetDecryptKeyDlg)
#include "TestGetDecryptKeyDlg.moc"
