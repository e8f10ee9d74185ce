#include "MergeWindow.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "CustomMessageBox.h"
#include "FileSafety.h"
#include "LanguageKeys.h"
#include "MergeJob.h"
#include "MergePlan.h"

using velquintools::JobResult;
using velquintools::MergeJob;
using velquintools::MergeRequest;

MergeWindow::MergeWindow(QWidget* pParent) : ToolWindow(pParent) {}

QString MergeWindow::TitleText() const {
    return Text(IDS_Global_Merge, QStringLiteral("Merge"));
}

void MergeWindow::BuildContent(QVBoxLayout* pContent) {
    QWidget* pParent = pContent->parentWidget();
    pContent->addWidget(
        new QLabel(Text(IDS_FileMergeDlg_Files,
                        QStringLiteral("Recordings of one camera (joined in the order of their start time)")),
                   pParent));
    m_pListFiles = new QListWidget(pParent);
    m_pListFiles->setObjectName(QStringLiteral("m_pListFiles"));
    m_pListFiles->setSelectionMode(QAbstractItemView::ExtendedSelection);
    pContent->addWidget(m_pListFiles);
    auto* pListButtons = new QHBoxLayout;
    auto* pBtnAdd = new QPushButton(Text(IDS_FileMergeDlg_Add, QStringLiteral("Add...")), pParent);
    auto* pBtnRemove = new QPushButton(Text(IDS_FileMergeDlg_Remove, QStringLiteral("Remove")), pParent);
    pBtnAdd->setAutoDefault(false);
    pBtnRemove->setAutoDefault(false);
    pListButtons->addWidget(pBtnAdd);
    pListButtons->addWidget(pBtnRemove);
    pListButtons->addStretch();
    pContent->addLayout(pListButtons);

    auto* pOutRow = new QHBoxLayout;
    pOutRow->addWidget(new QLabel(Text(IDS_FileMergeDlg_Output, QStringLiteral("Output")), pParent));
    m_pEditOut = new QLineEdit(pParent);
    m_pEditOut->setObjectName(QStringLiteral("m_pEditOut"));
    auto* pBtnBrowse = new QPushButton(Text(IDS_Global_Browse, QStringLiteral("Browse")), pParent);
    pBtnBrowse->setAutoDefault(false);
    pOutRow->addWidget(m_pEditOut, 1);
    pOutRow->addWidget(pBtnBrowse);
    pContent->addLayout(pOutRow);
    m_pChkReencode =
        new QCheckBox(Text(IDS_FileMergeDlg_Reencode,
                           QStringLiteral("Re-encode to MP4 when the recordings differ (slower)")),
                      pParent);
    m_pChkReencode->setObjectName(QStringLiteral("m_pChkReencode"));
    pContent->addWidget(m_pChkReencode);

    connect(pBtnAdd, &QPushButton::clicked, this, &MergeWindow::On_Add);
    connect(pBtnRemove, &QPushButton::clicked, this, &MergeWindow::On_Remove);
    connect(pBtnBrowse, &QPushButton::clicked, this, &MergeWindow::On_BrowseOutput);
}

void MergeWindow::AddFiles(const QStringList& lstFiles) {
    for (const QString& strFile : lstFiles) {
        if (strFile.isEmpty() || !m_pListFiles->findItems(strFile, Qt::MatchExactly).isEmpty())
            continue;
        m_pListFiles->addItem(strFile);
    }
    if (m_pEditOut->text().isEmpty() && m_pListFiles->count() > 0)
        m_pEditOut->setText(MergePlan::DefaultOutput(m_pListFiles->item(0)->text(), false));
}

QStringList MergeWindow::Files() const {
    QStringList lstFiles;
    for (int i = 0; i < m_pListFiles->count(); ++i)
        lstFiles << m_pListFiles->item(i)->text();
    return lstFiles;
}

void MergeWindow::On_Add() {
    AddFiles(QFileDialog::getOpenFileNames(this, TitleText()));
}

void MergeWindow::On_Remove() {
    qDeleteAll(m_pListFiles->selectedItems());
}

void MergeWindow::On_BrowseOutput() {
    const QString strPath = QFileDialog::getSaveFileName(this, TitleText(), m_pEditOut->text());
    if (!strPath.isEmpty())
        m_pEditOut->setText(strPath);
}

void MergeWindow::On_StartClicked() {
    const QStringList lstFiles = Files();
    if (lstFiles.size() < 2) {
        ShowBadInput(Text(IDS_FileMergeDlg_TooFew, QStringLiteral("Add at least two recordings.")));
        return;
    }
    const QString strOut = m_pEditOut->text().trimmed();
    if (strOut.isEmpty() || !QFileInfo(QFileInfo(strOut).absolutePath()).isWritable()) {
        ShowBadInput(
            Text(IDS_FileMergeDlg_OutDirBad, QStringLiteral("The output folder cannot be written.")));
        return;
    }
    for (const QString& strFile : lstFiles) {
        if (IsSameFile(strFile, strOut)) {
            ShowBadInput(Text(IDS_FileMergeDlg_OutIsIn,
                              QStringLiteral("The output must not be one of the recordings.")));
            return;
        }
    }
    MergeRequest request;
    request.strOut = strOut.toStdString();
    request.bReencode = m_pChkReencode->isChecked();
    // Replacing a file is the user's word, never a default.
    if (QFileInfo::exists(strOut)) {
        if (CustomMessageBox::MsgBox(
                this, TitleText(),
                Text(IDS_FileMergeDlg_Replace, QStringLiteral("%1 exists. Replace it?")).arg(strOut),
                CustomMessageBox::MSGBOX_OKCANCEL) != CustomMessageBox::MSGBOX_RESULT_OK)
            return;
        request.bOverwrite = true;
    }
    // The order needs each file's start, read from the file: on the worker, so
    // that a slow disk or a share does not hold the window.
    auto fnJob = [lstFiles, request](const velquintools::ProgressFn& fnProgress,
                                     const std::atomic<bool>& bCancel) {
        MergeRequest ordered = request;
        QStringList lstOrdered;
        QString strCreationTime;
        QString strError;
        if (!MergePlan::Order(lstFiles, lstOrdered, strCreationTime, ordered.settings.startsUs, strError))
            return JobResult::Bad(strError.toStdString());
        for (const QString& strFile : lstOrdered)
            ordered.inputs.push_back(strFile.toStdString());
        ordered.settings.strCreationTime = strCreationTime.toStdString();
        return MergeJob::Make(ordered)(fnProgress, bCancel);
    };
    RunJob(fnJob, Text(IDS_FileMergeDlg_Working, QStringLiteral("Merging...")));
}
