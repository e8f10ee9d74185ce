#include "CLocateDlg.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 5;

} // namespace

CLocateDlg::CLocateDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("CLocateDlg"));
}

CLocateDlg::~CLocateDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool CLocateDlg::Init() {
    if (m_bInited)
        return true;
    SetupUI();
    ConnectSignals();
    m_bInited = true;
    ReTranslateUI();
    // Calls SkinChanged() at once.
    SkinManager::AddObserver(this);
    m_bObserving = true;
    return true;
}

void CLocateDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    auto* pInputRow = new QHBoxLayout();
    pInputRow->setContentsMargins(20, 12, 20, 4);
    pInputRow->setSpacing(8);
    m_pLabelPleaseInput = new QLabel(this);
    m_pLabelPleaseInput->setObjectName(QStringLiteral("m_pLabelPleaseInput"));
    m_pEditInputNum = new QLineEdit(this);
    m_pEditInputNum->setObjectName(QStringLiteral("m_pEditInputNum"));
    m_pEditInputNum->setContextMenuPolicy(Qt::NoContextMenu);
    m_pValidator = new QIntValidator(0, m_nRange - 1, m_pEditInputNum);
    m_pEditInputNum->setValidator(m_pValidator);
    m_pLabelRange = new QLabel(this);
    m_pLabelRange->setObjectName(QStringLiteral("m_pLabelRange"));
    pInputRow->addWidget(m_pLabelPleaseInput);
    pInputRow->addWidget(m_pEditInputNum, 1);
    pInputRow->addWidget(m_pLabelRange);
    pRoot->addLayout(pInputRow);
    pRoot->addStretch();

    auto* pButtonRow = new QHBoxLayout();
    pButtonRow->setContentsMargins(20, 4, 20, 12);
    pButtonRow->setSpacing(10);
    pButtonRow->addStretch();
    m_pBtnOK = new QPushButton(this);
    m_pBtnOK->setObjectName(QStringLiteral("m_pBtnOK"));
    m_pBtnOK->setMinimumSize(80, 26);
    // Enter in the field presses OK.
    m_pBtnOK->setDefault(true);
    m_pBtnCancel = new QPushButton(this);
    m_pBtnCancel->setObjectName(QStringLiteral("m_pBtnCancel"));
    m_pBtnCancel->setMinimumSize(80, 26);
    m_pBtnCancel->setAutoDefault(false);
    pButtonRow->addWidget(m_pBtnOK);
    pButtonRow->addWidget(m_pBtnCancel);
    pRoot->addLayout(pButtonRow);

    m_pEditInputNum->setFocus();
}

void CLocateDlg::ConnectSignals() {
    connect(m_pBtnOK, &QPushButton::clicked, this, &CLocateDlg::On_OK);
    connect(m_pBtnCancel, &QPushButton::clicked, this, &CLocateDlg::On_Cancel);
    connect(m_pBtnClose, &QPushButton::clicked, this, &CLocateDlg::On_Cancel);
}

void CLocateDlg::ReTranslateUI() {
    if (!m_bInited)
        return;
    // The prompts share their keys with the empty-field messages of On_OK, whose
    // default texts differ.
    const bool bFrame = m_nLocateMode == 1;
    const QString strTitle = bFrame ? LanguageText(IDS_PlaySetDlg_FrameLocate, "Locate Frame")
                                    : LanguageText(IDS_PlaySetDlg_TimeStampLocate, "Locate Time Stamp");
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pLabelPleaseInput->setText(
        bFrame ? LanguageText(IDS_PlaySetDlg_Warn_InputFrameIndex, "Please enter a frame number:")
               : LanguageText(IDS_PlaySetDlg_Warn_InputTime, "Please set input time:"));
    const QString strUnit = bFrame ? LanguageText(IDS_MainWnd_Locate_UnitFrameIndex, "Unit:Frame index")
                                   : LanguageText(IDS_MainWnd_Locate_UnitSecond, "Unit:Second");
    m_pLabelRange->setText(QStringLiteral("(%1 0~%2)").arg(strUnit).arg(m_nRange - 1));
    m_pBtnOK->setText(LanguageText(IDS_Global_OK, "OK"));
    m_pBtnCancel->setText(LanguageText(IDS_Global_Cancel, "Cancel"));
}

void CLocateDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
}

void CLocateDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

void CLocateDlg::SetLocateInfo(int nMode, int nRange) {
    if (!m_bInited)
        Init();
    m_nLocateMode = nMode;
    m_nRange = nRange;
    // A range of 0 gives 0..-1: no positive number can be typed at all.
    m_pValidator->setRange(0, nRange - 1);
    m_pEditInputNum->clear();
    ReTranslateUI();
}

void CLocateDlg::On_OK() {
    if (!m_pEditInputNum)
        return;
    const QString strInput = m_pEditInputNum->text();
    if (strInput.isEmpty()) {
        const QString strText =
            m_nLocateMode == 1
                ? LanguageText(IDS_PlaySetDlg_Warn_InputFrameIndex, "Please enter a frame number!")
                : LanguageText(IDS_PlaySetDlg_Warn_InputTime, "Please set the time.");
        NonModalMessageBox::MsgBox(this, LanguageText(IDS_Global_Information, "Information"), strText);
        m_pEditInputNum->setFocus();
        return;
    }
    emit Sig_PlayLocate(m_nLocateMode, strInput.toInt(nullptr, 10));
    CustomDialog::On_OK();
}
