#pragma once

// A main dialog for GUI tests whose configuration folder is a fresh temporary
// folder, so that no test reads or writes the files of another.

#include <QLabel>
#include <QString>
#include <QTemporaryDir>

#include <memory>

#include "CDlgShow.h"
#include "CSkinButton.h"
#include "CVelquinDlg.h"

struct MainDlgFixture {
    QTemporaryDir dirConfig;
    std::unique_ptr<CVelquinDlg> pDlg;
    CDlgShow* pStage = nullptr;

    bool Start() {
        if (!dirConfig.isValid())
            return false;
        pDlg = std::make_unique<CVelquinDlg>(nullptr, dirConfig.path());
        if (!pDlg->Init())
            return false;
        pDlg->show();
        pStage = pDlg->findChild<CDlgShow*>(QStringLiteral("m_pDlgShow"));
        return pStage != nullptr;
    }
    QString Label(const char* szName) const {
        QLabel* pLabel = pDlg->findChild<QLabel*>(QString::fromLatin1(szName));
        return pLabel ? pLabel->text() : QStringLiteral("<missing>");
    }
    CSkinButton* Button(const char* szName) const {
        return pDlg->findChild<CSkinButton*>(QString::fromLatin1(szName));
    }
    ~MainDlgFixture() {
        if (pDlg)
            pDlg->UnInit();
    }
};
