#pragma once

// A main dialog for GUI tests whose configuration folder is a fresh temporary
// folder, so that no test reads or writes the files of another; a test of a
// restart passes the folder of the first dialog to the second.

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "CDlgShow.h"
#include "CPlaylist.h"
#include "CSkinButton.h"
#include "CVelquinDlg.h"
#include "GuiMedia.h"

// Rejects every modal dialog of class szClass that shows up while it lives; a
// static QFileDialog call or a dialog's exec() does not return before that.
class ModalRejecter : public QObject {
public:
    explicit ModalRejecter(const char* szClass) : m_szClass(szClass) { m_nTimerId = startTimer(20); }
    int Rejected() const { return m_nRejected; }

protected:
    void timerEvent(QTimerEvent*) override {
        for (QWidget* pWidget : QApplication::topLevelWidgets()) {
            QDialog* pDialog = qobject_cast<QDialog*>(pWidget);
            if (pDialog && pDialog->isVisible() && pDialog->inherits(m_szClass)) {
                ++m_nRejected;
                pDialog->reject();
            }
        }
    }

private:
    const char* m_szClass;
    int m_nTimerId = 0;
    int m_nRejected = 0;
};

struct MainDlgFixture {
    QTemporaryDir dirConfig;
    QString strConfigDir;
    std::unique_ptr<CVelquinDlg> pDlg;
    CDlgShow* pStage = nullptr;
    CPlaylist* pList = nullptr;

    explicit MainDlgFixture(const QString& strDir = QString())
        : strConfigDir(strDir.isEmpty() ? dirConfig.path() : strDir) {}
    MainDlgFixture(const MainDlgFixture&) = delete;
    MainDlgFixture& operator=(const MainDlgFixture&) = delete;
    ~MainDlgFixture() { Stop(); }

    // sizeDlg, when valid, is set before the dialog shows.
    bool Start(const QSize& sizeDlg = QSize()) {
        if (strConfigDir.isEmpty())
            return false;
        pDlg = std::make_unique<CVelquinDlg>(nullptr, strConfigDir);
        if (!pDlg->Init())
            return false;
        if (sizeDlg.isValid())
            pDlg->resize(sizeDlg);
        pDlg->show();
        pStage = pDlg->findChild<CDlgShow*>(QStringLiteral("m_pDlgShow"));
        pList = pDlg->GetPlaylist();
        return pStage && pStage == pDlg->GetDlgShow() && pList && QTest::qWaitForWindowExposed(pDlg.get());
    }
    // The exit: writes the configuration and closes every window.
    void Stop() {
        if (pDlg)
            pDlg->UnInit();
        pDlg.reset();
    }
    QString Label(const char* szName) const {
        QLabel* pLabel = pDlg->findChild<QLabel*>(QString::fromLatin1(szName));
        return pLabel ? pLabel->text() : QStringLiteral("<missing>");
    }
    CSkinButton* Button(const char* szName) const {
        return pDlg->findChild<CSkinButton*>(QString::fromLatin1(szName));
    }
    static bool Playing(int nState) { return nState == 1 || nState == 2; }
    // Texts of the visible message boxes titled strTitle ("Information", "ERROR").
    static QStringList MessageTexts(const QString& strTitle) {
        QStringList lstTexts;
        for (QWidget* pWidget : QApplication::topLevelWidgets()) {
            if (pWidget->objectName() != QLatin1String("NonModalMessageBox") || !pWidget->isVisible())
                continue;
            const QLabel* pTitle = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabTitle"));
            const QLabel* pText = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabText"));
            if (pTitle && pText && pTitle->text() == strTitle)
                lstTexts << pText->text();
        }
        return lstTexts;
    }
    static void CloseMessages() { GuiMedia::DeleteMessageBoxes(); }
};
