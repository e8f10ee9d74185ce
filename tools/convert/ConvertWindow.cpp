#include "ConvertWindow.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "ConvertJob.h"
#include "CustomMessageBox.h"
#include "FileSafety.h"
#include "LanguageKeys.h"

using velquintools::ConvertJob;
using velquintools::ConvertRequest;

namespace {

const char* const kPresets[] = {"ultrafast", "superfast", "veryfast", "faster",  "fast",
                                "medium",    "slow",      "slower",   "veryslow"};

QLineEdit* AddPathRow(QFormLayout* pForm, const QString& strLabel, const QString& strName, QWidget* pParent,
                      QPushButton** ppBrowse) {
    auto* pRow = new QHBoxLayout;
    auto* pEdit = new QLineEdit(pParent);
    pEdit->setObjectName(strName);
    *ppBrowse = new QPushButton(ToolWindow::Text(IDS_Global_Browse, QStringLiteral("Browse")), pParent);
    (*ppBrowse)->setAutoDefault(false);
    pRow->addWidget(pEdit, 1);
    pRow->addWidget(*ppBrowse);
    pForm->addRow(strLabel, pRow);
    return pEdit;
}

} // namespace

ConvertWindow::ConvertWindow(QWidget* pParent) : ToolWindow(pParent) {}

QString ConvertWindow::TitleText() const {
    return Text(IDS_Global_Convert, QStringLiteral("Convert"));
}

void ConvertWindow::BuildContent(QVBoxLayout* pContent) {
    auto* pForm = new QFormLayout;
    QWidget* pParent = pContent->parentWidget();
    QPushButton* pBrowseIn = nullptr;
    QPushButton* pBrowseOut = nullptr;
    m_pEditIn = AddPathRow(pForm, Text(IDS_FileConvertDlg_Source, QStringLiteral("Recording")),
                           QStringLiteral("m_pEditIn"), pParent, &pBrowseIn);
    m_pEditOut = AddPathRow(pForm, Text(IDS_FileConvertDlg_Output, QStringLiteral("Output (MP4)")),
                            QStringLiteral("m_pEditOut"), pParent, &pBrowseOut);
    m_pComboPreset = new QComboBox(pParent);
    m_pComboPreset->setObjectName(QStringLiteral("m_pComboPreset"));
    for (const char* pszPreset : kPresets)
        m_pComboPreset->addItem(QString::fromLatin1(pszPreset));
    m_pComboPreset->setCurrentText(QString::fromStdString(velquintools::TranscodeSettings().strPreset));
    pForm->addRow(Text(IDS_FileConvertDlg_Preset, QStringLiteral("Speed preset")), m_pComboPreset);
    m_pSpinCrf = new QSpinBox(pParent);
    m_pSpinCrf->setObjectName(QStringLiteral("m_pSpinCrf"));
    m_pSpinCrf->setRange(0, 51);
    m_pSpinCrf->setValue(velquintools::TranscodeSettings().nCrf);
    m_pSpinCrf->setToolTip(
        Text(IDS_FileConvertDlg_QualityTip, QStringLiteral("Lower is better and larger; 23 is usual")));
    pForm->addRow(Text(IDS_FileConvertDlg_Quality, QStringLiteral("Quality (CRF)")), m_pSpinCrf);
    m_pEditSize = new QLineEdit(pParent);
    m_pEditSize->setObjectName(QStringLiteral("m_pEditSize"));
    m_pEditSize->setPlaceholderText(
        Text(IDS_FileConvertDlg_SizeTip, QStringLiteral("e.g. 1280x720; empty: kept")));
    pForm->addRow(Text(IDS_FileConvertDlg_Size, QStringLiteral("Picture size")), m_pEditSize);
    pContent->addLayout(pForm);
    connect(pBrowseIn, &QPushButton::clicked, this, &ConvertWindow::On_BrowseInput);
    connect(pBrowseOut, &QPushButton::clicked, this, &ConvertWindow::On_BrowseOutput);
}

void ConvertWindow::SetInput(const QString& strPath) {
    m_pEditIn->setText(strPath);
    if (!strPath.isEmpty())
        m_pEditOut->setText(QString::fromStdString(ConvertJob::DefaultOutput(strPath.toStdString())));
}

void ConvertWindow::On_BrowseInput() {
    const QString strPath = QFileDialog::getOpenFileName(this, TitleText(), m_pEditIn->text());
    if (!strPath.isEmpty())
        SetInput(strPath);
}

void ConvertWindow::On_BrowseOutput() {
    const QString strPath =
        QFileDialog::getSaveFileName(this, TitleText(), m_pEditOut->text(), QStringLiteral("MP4 (*.mp4)"));
    if (!strPath.isEmpty())
        m_pEditOut->setText(strPath);
}

void ConvertWindow::On_StartClicked() {
    ConvertRequest request;
    const QString strIn = m_pEditIn->text().trimmed();
    const QString strOut = m_pEditOut->text().trimmed();
    if (!QFileInfo(strIn).isFile()) {
        ShowBadInput(Text(IDS_FileConvertDlg_NoSource, QStringLiteral("Choose a recording that exists.")));
        return;
    }
    const QFileInfo outInfo(strOut);
    if (strOut.isEmpty() || !QFileInfo(outInfo.absolutePath()).isWritable()) {
        ShowBadInput(
            Text(IDS_FileConvertDlg_OutDirBad, QStringLiteral("The output folder cannot be written.")));
        return;
    }
    if (IsSameFile(strIn, strOut)) {
        ShowBadInput(Text(IDS_FileConvertDlg_OutIsIn, QStringLiteral("The output must not be the input.")));
        return;
    }
    const QString strSize = m_pEditSize->text().trimmed();
    if (!strSize.isEmpty() && !ConvertJob::ParseSize(strSize.toStdString(), request.settings)) {
        ShowBadInput(Text(IDS_FileConvertDlg_BadSize, QStringLiteral("The size must look like 1280x720.")));
        return;
    }
    request.strIn = strIn.toStdString();
    request.strOut = strOut.toStdString();
    request.settings.strPreset = m_pComboPreset->currentText().toStdString();
    request.settings.nCrf = m_pSpinCrf->value();
    // Replacing a file is the user's word, never a default.
    if (QFileInfo::exists(strOut)) {
        if (CustomMessageBox::MsgBox(
                this, TitleText(),
                Text(IDS_FileConvertDlg_Replace, QStringLiteral("%1 exists. Replace it?")).arg(strOut),
                CustomMessageBox::MSGBOX_OKCANCEL) != CustomMessageBox::MSGBOX_RESULT_OK)
            return;
        request.bOverwrite = true;
    }
    RunJob(ConvertJob::Make(request), Text(IDS_FileConvertDlg_Working, QStringLiteral("Converting...")));
}
