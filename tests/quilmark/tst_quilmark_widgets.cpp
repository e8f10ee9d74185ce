// The small skinned widgets: message boxes, the frameless dialog base, the slider
// that jumps to a click, and the picture button.
#include "CCustomSlider.h"
#include "CSkinButton.h"
#include "CustomDialog.h"
#include "CustomMessageBox.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

namespace {

// Finds the visible top level widget of a class by object name.
template <typename T> T* FindTopLevel(const QString& strObjectName) {
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() == strObjectName && pWidget->isVisible())
            return qobject_cast<T*>(pWidget);
    }
    return nullptr;
}

class CountingDialog : public CustomDialog {
public:
    using CustomDialog::CustomDialog;
    void On_Cancel() override {
        ++m_nCancels;
        CustomDialog::On_Cancel();
    }
    int m_nCancels = 0;
};

} // namespace

class TestQuilmarkWidgets : public QObject {
    Q_OBJECT

private slots:
    void nonModalBoxShowsAndDeletesItself() {
        QWidget parent;
        parent.show();
        NonModalMessageBox::MsgBox(&parent, QStringLiteral("Information"), QStringLiteral("Get port fail!"));
        // MsgBox returned at once; the box is up, skinned, and holds the text.
        auto* pBox = parent.findChild<NonModalMessageBox*>(QStringLiteral("NonModalMessageBox"));
        QVERIFY(pBox && pBox->isVisible() && !pBox->isModal());
        QCOMPARE(pBox->findChild<QLabel*>(QStringLiteral("m_pLabText"))->text(), QStringLiteral("Get port fail!"));
        QVERIFY(!pBox->styleSheet().isEmpty());
        QPointer<NonModalMessageBox> guard(pBox);
        QTest::mouseClick(pBox->findChild<QPushButton*>(QStringLiteral("m_pBtnOK")), Qt::LeftButton);
        QTRY_VERIFY(guard.isNull()); // deleted after closing

        // Escape closes a box without a parent too.
        NonModalMessageBox::MsgBox(nullptr, QStringLiteral("ERROR"), QStringLiteral("x"));
        guard = FindTopLevel<NonModalMessageBox>(QStringLiteral("NonModalMessageBox"));
        QVERIFY(!guard.isNull());
        QTest::keyClick(guard.data(), Qt::Key_Escape);
        QTRY_VERIFY(guard.isNull());
    }

    void modalBoxAnswers_data() {
        QTest::addColumn<QString>("strAnswer");
        QTest::addColumn<int>("nButtons");
        QTest::addColumn<int>("nResult");
        QTest::newRow("OK") << "m_pBtnOK" << 2 << 1;
        QTest::newRow("Cancel") << "m_pBtnCancel" << 2 << 0;
        QTest::newRow("close button") << "m_pBtnClose" << 2 << 0;
        QTest::newRow("escape") << "escape" << 1 << 0;
    }
    void modalBoxAnswers() {
        QFETCH(QString, strAnswer);
        QFETCH(int, nButtons);
        QFETCH(int, nResult);
        // The box runs its own loop; it is answered from a timer once it is up.
        bool bCancelShown = true;
        QTimer::singleShot(0, [&]() {
            CustomMessageBox* pBox = nullptr;
            QTRY_VERIFY_WITH_TIMEOUT(
                (pBox = FindTopLevel<CustomMessageBox>(QStringLiteral("CustomMessageBox"))) != nullptr, 5000);
            bCancelShown = pBox->findChild<QPushButton*>(QStringLiteral("m_pBtnCancel")) != nullptr;
            if (strAnswer == QLatin1String("escape"))
                QTest::keyClick(pBox, Qt::Key_Escape);
            else
                QTest::mouseClick(pBox->findChild<QPushButton*>(strAnswer), Qt::LeftButton);
        });
        QCOMPARE(CustomMessageBox::MsgBox(nullptr, "Information", "List of files will be cleared?", nButtons), nResult);
        QCOMPARE(bCancelShown, nButtons == 2);
    }

    void dialogEscapeGoesToCancel() {
        CountingDialog dlg;
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        QTest::keyClick(&dlg, Qt::Key_Escape);
        QCOMPARE(dlg.m_nCancels, 1);
        QCOMPARE(dlg.result(), int(QDialog::Rejected));
        QVERIFY(!dlg.isVisible());
    }

    void dialogDragsWithTheMouse() {
        CustomDialog dlg;
        dlg.resize(200, 100);
        dlg.move(100, 100);
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        const QPoint ptStart = dlg.pos();
        QTest::mousePress(&dlg, Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
        QMouseEvent move(QEvent::MouseMove, QPointF(50, 60), dlg.mapToGlobal(QPointF(50, 60)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&dlg, &move);
        QTest::mouseRelease(&dlg, Qt::LeftButton, Qt::NoModifier, QPoint(50, 60));
        QCOMPARE(dlg.pos() - ptStart, QPoint(30, 40));
    }

    void sliderJumpsToTheClick() {
        CCustomSlider slider(Qt::Horizontal);
        slider.setRange(0, 100);
        slider.setValue(50);
        slider.resize(210, 20);
        slider.show();
        QVERIFY(QTest::qWaitForWindowExposed(&slider));
        QSignalSpy spy(&slider, &CCustomSlider::Sig_ChangeValue);
        slider.setValue(40); // from code: not a user change
        QCOMPARE(spy.count(), 0);

        QTest::mouseClick(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(200, 10));
        QVERIFY(spy.count() >= 1);
        const int nValue = spy.last().at(0).toInt();
        QVERIFY2(nValue > 85, qPrintable(QString::number(nValue))); // not a page step from 40
        QCOMPARE(slider.value(), nValue);
        QTest::mouseClick(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(2, 10));
        QVERIFY(spy.last().at(0).toInt() < 10);

        spy.clear();
        slider.setFocus();
        QTest::keyClick(&slider, Qt::Key_Right);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.last().at(0).toInt(), slider.value());
    }

    void skinButtonRefusesMissingPictures() {
        CSkinButton btn;
        QVERIFY(!btn.SetPixmap(QStringLiteral(":/skin/default/images/none.svg")));
        QVERIFY(btn.SetPixmap(SkinManager::GetOtherResPath(16, 0), QString(), SkinManager::GetOtherResPath(16, 4)));
        QVERIFY(!btn.SetBitmap(SkinManager::GetOtherResPath(16, 0), 0));
        QVERIFY(btn.SetBitmap(SkinManager::GetOtherResPath(16, 0), 1));
        // Painting with pictures and text must not fall over, enabled or not.
        btn.SetCustomText(QStringLiteral("4"));
        btn.resize(40, 40);
        QImage img(btn.size(), QImage::Format_ARGB32);
        btn.render(&img);
        btn.setEnabled(false);
        btn.render(&img);
    }
};

QTEST_MAIN(TestQuilmarkWidgets)
#include "tst_quilmark_widgets.moc"
