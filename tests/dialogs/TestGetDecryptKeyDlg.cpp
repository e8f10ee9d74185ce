// The decryption key dialog driven through its widgets.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

#include "CGetDecryptKeyDlg.h"
#include "CLanguageParser.h"
#include "SkinManager.h"

namespace {

const QString kMsgBlank = QStringLiteral("The key cannot be empty!");
const QString kMsgTooLong = QStringLiteral("The key length exceeds the limit!");

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

int CloseMessageBoxes() {
    int n = 0;
    for (QWidget* pWidget : QApplication::topLevelWidgets())
        if (pWidget->objectName() == QLatin1String("NonModalMessageBox") && (pWidget->close() || true))
            ++n;
    return n;
}

QLineEdit* KeyEdit(QWidget* pDlg, int nRow) {
    return pDlg->findChild<QLineEdit*>(QStringLiteral("pEditKey_%1").arg(nRow));
}

QPushButton* ApplyButton(QWidget* pDlg, int nRow) {
    return pDlg->findChild<QPushButton*>(QStringLiteral("pBtnApplyAll_%1").arg(nRow));
}

QLabel* NameLabel(QWidget* pDlg, int nRow) {
    return pDlg->findChild<QLabel*>(QStringLiteral("pLabFileName_%1").arg(nRow));
}

void TypeKey(QWidget* pDlg, int nRow, const QString& strKey) {
    QLineEdit* pEdit = KeyEdit(pDlg, nRow);
    QVERIFY(pEdit);
    pEdit->clear();
    // QTest types ASCII only; other text arrives in one piece, as from an input method.
    if (std::all_of(strKey.begin(), strKey.end(), [](QChar ch) { return ch.unicode() < 0x80; }))
        QTest::keyClicks(pEdit, strKey);
    else
        pEdit->setText(strKey);
    QCOMPARE(pEdit->text(), strKey);
}

void ClickOK(QWidget* pDlg) {
    QTest::mouseClick(pDlg->findChild<QPushButton*>(QStringLiteral("m_pBtnOK")), Qt::LeftButton);
}

QMap<QString, QString> Keys(CGetDecryptKeyDlg* pDlg) {
    QMap<QString, QString> mapOut;
    pDlg->GetFileKeys(mapOut);
    return mapOut;
}

// A dialog for files without keys, sized as the main dialog does; null if it does not show.
std::unique_ptr<CGetDecryptKeyDlg> MakeDialog(const QStringList& lstPaths, bool bShow = true) {
    QMap<QString, QString> mapKeys;
    for (const QString& strPath : lstPaths)
        mapKeys.insert(strPath, QString());
    auto pDlg = std::make_unique<CGetDecryptKeyDlg>();
    pDlg->Init();
    pDlg->SetFiles(mapKeys);
    pDlg->resize(400, lstPaths.size() <= 6 ? 185 + 30 * int(lstPaths.size()) : 375);
    if (bShow) {
        pDlg->show();
        if (!QTest::qWaitForWindowExposed(pDlg.get()))
            return nullptr;
    }
    return pDlg;
}

// Answers the dialog from inside exec(), once it is the active modal window.
void AnswerModal(QObject* pContext, const std::function<void(CGetDecryptKeyDlg*)>& answer) {
    QTimer::singleShot(0, pContext, [answer] {
        if (auto* pModal = qobject_cast<CGetDecryptKeyDlg*>(QApplication::activeModalWidget()))
            answer(pModal); // otherwise exec() returns not at all: the test times out and fails
    });
}

} // namespace

class TestGetDecryptKeyDlg : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(CLanguageParser::LoadStringFile(1)); }

    void cleanup() {
        CloseMessageBoxes();
        // The boxes delete themselves on close, by a deferred delete.
        QTRY_COMPARE(CloseMessageBoxes(), 0);
        CLanguageParser::LoadStringFile(1);
    }

    void oneFileRowTakesTheKeyAtOnce() {
        auto pDlg = MakeDialog({QStringLiteral("/rec/cam1.mp4")});
        QVERIFY(pDlg && QTest::qWaitForWindowActive(pDlg.get()));
        QLineEdit* pEdit = KeyEdit(pDlg.get(), 0);
        QVERIFY(pEdit && !KeyEdit(pDlg.get(), 1));
        QVERIFY(!ApplyButton(pDlg.get(), 0)->isVisible());
        // A key is never shown nor copied out, and the user can type at once.
        QCOMPARE(pEdit->echoMode(), QLineEdit::Password);
        QCOMPARE(pEdit->contextMenuPolicy(), Qt::NoContextMenu);
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(pEdit));
    }

    void rowsShowNamesInPathOrder() {
        const QStringList lstSorted = {QStringLiteral("/rec/a.mp4"), QStringLiteral("/录像/夜间 门口 1号.mp4"),
                                       QStringLiteral("D:\\Vidéos\\entrée.mp4")};
        auto pDlg = MakeDialog({lstSorted[2], lstSorted[1], lstSorted[0]});
        QVERIFY(pDlg);
        // Rows follow the order of the paths, not the order they were given in.
        const QStringList lstExpected = {QStringLiteral("a.mp4"), QStringLiteral("夜间 门口 1号.mp4"),
                                         QStringLiteral("entrée.mp4")};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(NameLabel(pDlg.get(), i)->text(), lstExpected[i]);
            QCOMPARE(NameLabel(pDlg.get(), i)->toolTip(), lstExpected[i]);
            QVERIFY(ApplyButton(pDlg.get(), i)->isVisible());
            TypeKey(pDlg.get(), i, QStringLiteral("key%1").arg(i));
        }
        // Every row's key comes back under its own path.
        ClickOK(pDlg.get());
        QCOMPARE(pDlg->result(), int(QDialog::Accepted));
        const QMap<QString, QString> mapOut = Keys(pDlg.get());
        QCOMPARE(mapOut.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(mapOut.value(lstSorted.at(i)), QStringLiteral("key%1").arg(i));
        QVERIFY(OpenMessages().isEmpty());
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
        QTest::newRow("sixteen outside the basic plane") << QString::fromUcs4(U"\U0001F511").repeated(16)
                                                         << QString();
        QTest::newRow("spaces only") << QStringLiteral("   ") << QString();
    }
    void keyRules() {
        QFETCH(QString, strKey);
        QFETCH(QString, strMessage);
        const QString strPath = QStringLiteral("/rec/enc.mp4");
        auto pDlg = MakeDialog({strPath});
        QVERIFY(pDlg);
        if (!strKey.isEmpty())
            TypeKey(pDlg.get(), 0, strKey);
        ClickOK(pDlg.get());
        if (strMessage.isEmpty()) {
            QVERIFY(!pDlg->isVisible());
            QCOMPARE(pDlg->result(), int(QDialog::Accepted));
            QCOMPARE(Keys(pDlg.get()).value(strPath), strKey);
            QVERIFY(OpenMessages().isEmpty());
            return;
        }
        // Refused: a message that does not block, the dialog open, nothing taken.
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first(), qMakePair(QStringLiteral("Information"), strMessage));
        QVERIFY(pDlg->isVisible());
        QCOMPARE(pDlg->result(), int(QDialog::Rejected));
        QCOMPARE(Keys(pDlg.get()).size(), 1);
        QVERIFY(Keys(pDlg.get()).value(strPath).isEmpty());
    }

    void faultInAnyRowStoresNoRow() {
        const QStringList lstPaths = {QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4"),
                                      QStringLiteral("/rec/3.mp4")};
        auto pDlg = MakeDialog(lstPaths);
        QVERIFY(pDlg);
        // The first fault stops the pass: one message, for the top row.
        TypeKey(pDlg.get(), 1, QStringLiteral("0123456789abcdef"));
        TypeKey(pDlg.get(), 2, QStringLiteral("0123456789abcdefg"));
        ClickOK(pDlg.get());
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first().second, kMsgBlank);
        CloseMessageBoxes();

        // A fault in the last row: no row stored, the focus back in the faulty field.
        TypeKey(pDlg.get(), 0, QStringLiteral("first"));
        ClickOK(pDlg.get());
        QTRY_COMPARE(OpenMessages().size(), 1);
        QCOMPARE(OpenMessages().first().second, kMsgTooLong);
        QVERIFY(pDlg->isVisible());
        for (const QString& strPath : lstPaths)
            QVERIFY2(Keys(pDlg.get()).value(strPath).isEmpty(), qPrintable(strPath));
        QTRY_COMPARE(pDlg->focusWidget(), static_cast<QWidget*>(KeyEdit(pDlg.get(), 2)));

        // Corrected, the same dialog is accepted with every key.
        CloseMessageBoxes();
        TypeKey(pDlg.get(), 2, QStringLiteral("third"));
        ClickOK(pDlg.get());
        QCOMPARE(pDlg->result(), int(QDialog::Accepted));
        QCOMPARE(Keys(pDlg.get()).values(),
                 (QStringList{QStringLiteral("first"), QStringLiteral("0123456789abcdef"), QStringLiteral("third")}));
    }

    void applyToAllCopiesTheRowKey() {
        auto pDlg = MakeDialog({"/rec/1.mp4", "/rec/2.mp4", "/rec/3.mp4"});
        QVERIFY(pDlg);
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
            auto pDlg = MakeDialog(lstPaths);
            QVERIFY(pDlg);
            auto* pScroll = pDlg->findChild<QScrollArea*>(QStringLiteral("m_pScrollArea"));
            QVERIFY(pScroll);
            QTRY_COMPARE(pScroll->verticalScrollBar()->isVisible(), nFiles == 7);
            // The last row can be reached.
            QLineEdit* pLast = KeyEdit(pDlg.get(), nFiles - 1);
            pScroll->ensureWidgetVisible(pLast);
            QVERIFY(pLast->mapTo(pScroll->viewport(), QPoint(0, pLast->height())).y() <= pScroll->viewport()->height());
        }
    }

    // Inside exec(): Cancel, the close button and Escape return nothing; Enter
    // after a refused key (its message does not block) accepts the corrected one.
    void modalAnswers_data() {
        QTest::addColumn<QString>("strHow");
        QTest::newRow("cancel button") << QStringLiteral("m_pBtnCancel");
        QTest::newRow("close button") << QStringLiteral("m_pBtnClose");
        QTest::newRow("escape") << QStringLiteral("escape");
        QTest::newRow("enter after a refusal") << QStringLiteral("enter");
    }
    void modalAnswers() {
        QFETCH(QString, strHow);
        const QString strPath = QStringLiteral("/rec/enc.mp4");
        auto pDlg = MakeDialog({strPath}, false);
        int nMessagesWhileOpen = -1;
        AnswerModal(this, [&](CGetDecryptKeyDlg* pModal) {
            if (strHow == QLatin1String("enter")) {
                TypeKey(pModal, 0, QStringLiteral("0123456789abcdefg"));
                QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Return);
                nMessagesWhileOpen = OpenMessages().size();
                if (!pModal->isVisible())
                    return;
                TypeKey(pModal, 0, QStringLiteral("right"));
                QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Return);
                return;
            }
            nMessagesWhileOpen = 0;
            TypeKey(pModal, 0, QStringLiteral("typed"));
            if (strHow == QLatin1String("escape"))
                QTest::keyClick(KeyEdit(pModal, 0), Qt::Key_Escape);
            else
                QTest::mouseClick(pModal->findChild<QPushButton*>(strHow), Qt::LeftButton);
        });
        const bool bEnter = strHow == QLatin1String("enter");
        QCOMPARE(pDlg->exec(), int(bEnter ? QDialog::Accepted : QDialog::Rejected));
        QCOMPARE(nMessagesWhileOpen, bEnter ? 1 : 0);
        QCOMPARE(Keys(pDlg.get()).size(), 1);
        QCOMPARE(Keys(pDlg.get()).value(strPath), bEnter ? QStringLiteral("right") : QString());
    }

    void skinAndLanguageNotices() {
        auto pDlg = MakeDialog({QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4")}, false);
        const QString strEditSheet = SkinManager::GetResStyleSheet(11, 1);
        QVERIFY(!strEditSheet.isEmpty());
        QCOMPARE(KeyEdit(pDlg.get(), 0)->styleSheet(), strEditSheet);

        KeyEdit(pDlg.get(), 0)->setStyleSheet(QString()); // a skin change restyles existing rows
        SkinManager::ChangeSkin(SkinManager::CurrentSkinIndex());
        QCOMPARE(KeyEdit(pDlg.get(), 0)->styleSheet(), strEditSheet);

        // The language notice sets every text again, the rows' buttons too.
        QCOMPARE(ApplyButton(pDlg.get(), 0)->text(), QStringLiteral("Apply to all"));
        QVERIFY(CLanguageParser::LoadStringFile(0));
        QEvent evLanguage(QEvent::LanguageChange);
        QApplication::sendEvent(pDlg.get(), &evLanguage);
        QString strApply;
        QVERIFY(CLanguageParser::FindString(QStringLiteral("IDS_MainWnd_ApplyToAll"), strApply, QString()));
        QVERIFY(strApply != QStringLiteral("Apply to all"));
        QCOMPARE(ApplyButton(pDlg.get(), 0)->text(), strApply);

        // Gone, the dialog must not be reached by a later skin change.
        pDlg.reset();
        SkinManager::ChangeSkin(SkinManager::CurrentSkinIndex());
    }

    void setFilesAgainReplacesRows() {
        auto pDlg = MakeDialog({QStringLiteral("/rec/1.mp4"), QStringLiteral("/rec/2.mp4")});
        QVERIFY(pDlg);
        pDlg->SetFiles({{QStringLiteral("/rec/3.mp4"), QString()}});
        QVERIFY(KeyEdit(pDlg.get(), 0) && !KeyEdit(pDlg.get(), 1));
        QCOMPARE(NameLabel(pDlg.get(), 0)->text(), QStringLiteral("3.mp4"));
        // The old rows are gone, not merely hidden.
        QCOMPARE(pDlg->findChildren<QPushButton*>(QRegularExpression(QStringLiteral("^pBtnApplyAll_"))).size(), 1);
        TypeKey(pDlg.get(), 0, QStringLiteral("k3"));
        ClickOK(pDlg.get());
        QCOMPARE(Keys(pDlg.get()), (QMap<QString, QString>{{QStringLiteral("/rec/3.mp4"), QStringLiteral("k3")}}));
    }
};

QTEST_MAIN(TestGetDecryptKeyDlg)
#include "TestGetDecryptKeyDlg.moc"
