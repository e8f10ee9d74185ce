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

// Finds the top level widget of a class by object name.
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
    void NonModalBoxShowsAndDeletesItself() {
        QWidget parent;
        parent.show();
        NonModalMessageBox::MsgBox(&parent, QStringLiteral("Information"), QStringLiteral("Get port fail!"));
        // MsgBox returned at once; the box is up and holds the text.
        auto* pBox = parent.findChild<NonModalMessageBox*>(QStringLiteral("NonModalMessageBox"));
        QVERIFY(pBox);
        QVERIFY(pBox->isVisible());
        QVERIFY(!pBox->isModal());
        QVERIFY(pBox->windowFlags() & Qt::FramelessWindowHint);
        auto* pLabel = pBox->findChild<QLabel*>(QStringLiteral("m_pLabText"));
        QVERIFY(pLabel);
        QCOMPARE(pLabel->text(), QStringLiteral("Get port fail!"));
        QVERIFY(!pBox->styleSheet().isEmpty()); // skinned on creation

        QPointer<NonModalMessageBox> guard(pBox);
        auto* pOK = pBox->findChild<QPushButton*>(QStringLiteral("m_pBtnOK"));
        QVERIFY(pOK);
        QTest::mouseClick(pOK, Qt::LeftButton);
        QTRY_VERIFY(guard.isNull()); // deleted after closing
    }

    void NonModalBoxEscapeCloses() {
        NonModalMessageBox::MsgBox(nullptr, QStringLiteral("ERROR"), QStringLiteral("x"));
        QPointer<NonModalMessageBox> guard(
            FindTopLevel<NonModalMessageBox>(QStringLiteral("NonModalMessageBox")));
        QVERIFY(!guard.isNull());
        QTest::keyClick(guard.data(), Qt::Key_Escape);
        QTRY_VERIFY(guard.isNull());
    }

    void ModalBoxAnswers() {
        // The box runs its own loop; answer it from a timer once it is up.
        auto answer = [](const char* pButton) {
            QTimer::singleShot(0, [pButton]() {
                CustomMessageBox* pBox = nullptr;
                QTRY_VERIFY_WITH_TIMEOUT(
                    (pBox = FindTopLevel<CustomMessageBox>(QStringLiteral("CustomMessageBox"))) != nullptr,
                    5000);
                if (qstrcmp(pButton, "escape") == 0) {
                    QTest::keyClick(pBox, Qt::Key_Escape);
                    return;
                }
                auto* pBtn = pBox->findChild<QPushButton*>(QLatin1String(pButton));
                QVERIFY(pBtn);
                QTest::mouseClick(pBtn, Qt::LeftButton);
            });
        };
        answer("m_pBtnOK");
        QCOMPARE(CustomMessageBox::MsgBox(nullptr, "Information", "List of files will be cleared?", 2), 1);
        answer("m_pBtnCancel");
        QCOMPARE(CustomMessageBox::MsgBox(nullptr, "Information", "List of files will be cleared?", 2), 0);
        answer("escape");
        QCOMPARE(CustomMessageBox::MsgBox(nullptr, "Information", "text", 1), 0);
        answer("m_pBtnClose");
        QCOMPARE(CustomMessageBox::MsgBox(nullptr, "Information", "text", 2), 0);
    }

    void OneButtonBoxHasNoCancel() {
        CustomMessageBox box(nullptr, "t", "x", 1);
        QVERIFY(box.findChild<QPushButton*>(QStringLiteral("m_pBtnOK")));
        QVERIFY(!box.findChild<QPushButton*>(QStringLiteral("m_pBtnCancel")));
    }

    void DialogEscapeGoesToCancel() {
        CountingDialog dlg;
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        QTest::keyClick(&dlg, Qt::Key_Escape);
        QCOMPARE(dlg.m_nCancels, 1);
        QCOMPARE(dlg.result(), int(QDialog::Rejected));
        QVERIFY(!dlg.isVisible());
    }

    void DialogDragsWithTheMouse() {
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

    void SliderJumpsToTheClick() {
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

        spy.clear();
        QTest::mouseClick(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(2, 10));
        QVERIFY(spy.count() >= 1);
        QVERIFY(spy.last().at(0).toInt() < 10);

        spy.clear();
        slider.setFocus();
        QTest::keyClick(&slider, Qt::Key_Right);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.last().at(0).toInt(), slider.value());
    }

    void SkinButtonPictures() {
        CSkinButton btn;
        QVERIFY(!btn.SetPixmap(QStringLiteral(":/skin/default/images/none.svg")));
        QVERIFY(btn.SetPixmap(SkinManager::GetOtherResPath(16, 0), QString(),
                              SkinManager::GetOtherResPath(16, 4)));
        QVERIFY(!btn.SetBitmap(SkinManager::GetOtherResPath(16, 0), 0));
        QVERIFY(btn.SetBitmap(SkinManager::GetOtherResPath(16, 0), 1));
        btn.SetSelected(true);
        QVERIFY(btn.IsSelected());
        btn.SetCustomText(QStringLiteral("4"));
        btn.SetCustomTextColor(Qt::gray, Qt::blue);
        btn.SetToolTipText(QStringLiteral("4 window"));
        QCOMPARE(btn.toolTip(), QStringLiteral("4 window"));
        btn.resize(40, 40);
        // Painting with pictures and text must not fall over in any state.
        QImage img(btn.size(), QImage::Format_ARGB32);
        img.fill(Qt::transparent);
        btn.render(&img);
        btn.setEnabled(false);
        btn.render(&img);
        QVERIFY(!img.isNull());
    }
};

QTEST_MAIN(TestQuilmarkWidgets)
#include "tst_quilmark_widgets.moc"
