#include "CGetDecryptKeyDlg.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 11;
constexpr int kSheetFileName = 0;
constexpr int kSheetKeyEdit = 1;
constexpr int kSheetApplyAll = 2;
// Lock picture of the playlist row, used when the dialog's skin has no picture of
// its own for the warning line.
constexpr int kRowSkinResource = 13;
constexpr int kRowLockPicture = 2;

// Geometry of the rows inside the scrolled holder.
constexpr int kContainerWidth = 370;
constexpr int kRowPitch = 30;
constexpr int kRowTop = 25;
constexpr int kRowHeight = 22;
constexpr int kNameX = 20;
constexpr int kNameWidth = 140;
constexpr int kEditX = 165;
constexpr int kEditWidth = 130;
constexpr int kEditWidthSingle = 200;
constexpr int kApplyX = 305;
// The holder is 370 wide; the button takes what is left of it after x = 305, so
// that it is never cut off at the right edge.
constexpr int kApplyWidth = kContainerWidth - kApplyX - 5;

constexpr int kWarningHeight = 55;

// Characters as the user sees them: a character outside the basic plane counts once,
// not as its two UTF-16 halves.
int KeyLength(const QString& strKey) {
    return static_cast<int>(strKey.toUcs4().size());
}

} // namespace

CGetDecryptKeyDlg::CGetDecryptKeyDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("CGetDecryptKeyDlg"));
}

CGetDecryptKeyDlg::~CGetDecryptKeyDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool CGetDecryptKeyDlg::Init() {
    if (m_bInited)
        return true;
    SetupUI();
    InitBkgs();
    ConnectSignals();
    ReTranslateUI();
    m_bInited = true;
    // Calls SkinChanged() at once, which sets the style sheets and the picture.
    SkinManager::AddObserver(this);
    m_bObserving = true;
    return true;
}

void CGetDecryptKeyDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    m_pWgtTitleBar = AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    m_pScrollArea = new QScrollArea(this);
    m_pScrollArea->setObjectName(QStringLiteral("m_pScrollArea"));
    m_pScrollArea->setFrameShape(QFrame::NoFrame);
    m_pScrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The rows are placed by hand; the holder keeps the size SetFiles gives it.
    m_pScrollArea->setWidgetResizable(false);
    m_pItemsContainer = new QWidget();
    m_pItemsContainer->setObjectName(QStringLiteral("m_pItemsContainer"));
    m_pItemsContainer->resize(kContainerWidth, 40);
    m_pScrollArea->setWidget(m_pItemsContainer);
    pRoot->addWidget(m_pScrollArea, 1);

    m_pWarningContainer = new QWidget(this);
    m_pWarningContainer->setObjectName(QStringLiteral("m_pWarningContainer"));
    m_pWarningContainer->setFixedHeight(kWarningHeight);
    auto* pWarnLayout = new QHBoxLayout(m_pWarningContainer);
    pWarnLayout->setContentsMargins(20, 0, 20, 0);
    pWarnLayout->setSpacing(8);
    m_pLabelKeyImg = new QLabel(m_pWarningContainer);
    m_pLabelKeyImg->setObjectName(QStringLiteral("m_pLabelKeyImg"));
    m_pLabelKeyImg->setFixedSize(12, 24);
    m_pLabelKeyImg->setAlignment(Qt::AlignCenter);
    m_pTextWarning = new QLabel(m_pWarningContainer);
    m_pTextWarning->setObjectName(QStringLiteral("m_pTextWarning"));
    m_pTextWarning->setWordWrap(true);
    pWarnLayout->addWidget(m_pLabelKeyImg, 0, Qt::AlignTop);
    pWarnLayout->addWidget(m_pTextWarning, 1);
    pRoot->addWidget(m_pWarningContainer);

    auto* pButtonRow = new QHBoxLayout();
    // With seven rows or more the holder is taller than what is left for it, and
    // the rows scroll; six rows fit without a scroll bar.
    pButtonRow->setContentsMargins(12, 8, 12, 14);
    pButtonRow->setSpacing(10);
    pButtonRow->addStretch();
    m_pBtnOK = new QPushButton(this);
    m_pBtnOK->setObjectName(QStringLiteral("m_pBtnOK"));
    m_pBtnOK->setMinimumSize(80, 26);
    // Enter in a key field presses OK.
    m_pBtnOK->setDefault(true);
    m_pBtnCancel = new QPushButton(this);
    m_pBtnCancel->setObjectName(QStringLiteral("m_pBtnCancel"));
    m_pBtnCancel->setMinimumSize(80, 26);
    m_pBtnCancel->setAutoDefault(false);
    pButtonRow->addWidget(m_pBtnOK);
    pButtonRow->addWidget(m_pBtnCancel);
    pRoot->addLayout(pButtonRow);

    m_pBtnGroupApply = new QButtonGroup(this);
    m_pBtnGroupApply->setExclusive(false);
}

void CGetDecryptKeyDlg::InitBkgs() {
    if (!m_pLabelKeyImg)
        return;
    QString strPath = SkinManager::GetOtherResPath(kSkinResource, 0);
    if (strPath.isEmpty())
        strPath = SkinManager::GetOtherResPath(kRowSkinResource, kRowLockPicture);
    QPixmap pixmap;
    if (!strPath.isEmpty() && pixmap.load(strPath))
        m_pLabelKeyImg->setPixmap(pixmap.scaled(12, 24, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    else
        m_pLabelKeyImg->clear();
}

void CGetDecryptKeyDlg::ConnectSignals() {
    connect(m_pBtnOK, &QPushButton::clicked, this, &CGetDecryptKeyDlg::On_OK);
    connect(m_pBtnCancel, &QPushButton::clicked, this, &CGetDecryptKeyDlg::On_Cancel);
    connect(m_pBtnClose, &QPushButton::clicked, this, &CGetDecryptKeyDlg::On_Cancel);
    connect(m_pBtnGroupApply, &QButtonGroup::buttonClicked, this, &CGetDecryptKeyDlg::On_BtnApplyAllPressed);
}

void CGetDecryptKeyDlg::ReTranslateUI() {
    const QString strTitle = LanguageText(IDS_MainWnd_SetSecret, "Set Secret");
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pTextWarning->setText(
        LanguageText(IDS_MainWnd_GetDecryptKeyWarning,
                     "Please enter the correct key of the file. If the file failed to play, contact "
                     "the provider of the video to get the correct key and try again."));
    m_pBtnOK->setText(LanguageText(IDS_Global_OK, "OK"));
    m_pBtnCancel->setText(LanguageText(IDS_Global_Cancel, "Cancel"));
    const QString strApply = LanguageText(IDS_MainWnd_ApplyToAll, "Apply to all");
    for (const KeyRow& row : m_vecKeyRows) {
        row.pBtnApplyAll->setText(strApply);
        // The button is narrow; the tip keeps a long translation readable.
        row.pBtnApplyAll->setToolTip(strApply);
    }
}

void CGetDecryptKeyDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
    m_strFileStyle = SkinManager::GetResStyleSheet(kSkinResource, kSheetFileName);
    m_strEditStyle = SkinManager::GetResStyleSheet(kSkinResource, kSheetKeyEdit);
    m_strApplyStyle = SkinManager::GetResStyleSheet(kSkinResource, kSheetApplyAll);
    ApplyRowStyles();
    InitBkgs();
}

void CGetDecryptKeyDlg::ApplyRowStyles() {
    for (const KeyRow& row : m_vecKeyRows) {
        row.pLabFileName->setStyleSheet(m_strFileStyle);
        row.pEditKey->setStyleSheet(m_strEditStyle);
        row.pBtnApplyAll->setStyleSheet(m_strApplyStyle);
    }
}

void CGetDecryptKeyDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange && m_bInited)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

void CGetDecryptKeyDlg::ClearRows() {
    for (const KeyRow& row : m_vecKeyRows) {
        m_pBtnGroupApply->removeButton(row.pBtnApplyAll);
        delete row.pLabFileName;
        delete row.pEditKey;
        delete row.pBtnApplyAll;
    }
    m_vecKeyRows.clear();
}

void CGetDecryptKeyDlg::SetFiles(const QMap<QString, QString>& mapFileKey) {
    if (!m_bInited)
        Init();
    ClearRows();
    m_mapFileKey = mapFileKey;
    if (m_mapFileKey.isEmpty())
        return;

    const QString strApply = LanguageText(IDS_MainWnd_ApplyToAll, "Apply to all");
    const bool bSingle = m_mapFileKey.size() == 1;
    int i = 0;
    for (auto it = m_mapFileKey.cbegin(); it != m_mapFileKey.cend(); ++it, ++i) {
        const int nY = kRowPitch * i + kRowTop;
        KeyRow row;
        row.strFilePath = it.key();

        row.pLabFileName = new QLabel(m_pItemsContainer);
        row.pLabFileName->setObjectName(QStringLiteral("pLabFileName_%1").arg(i));
        row.pLabFileName->setStyleSheet(m_strFileStyle);
        const QString strName = CPlayHelper::GetFileNameFormPath(it.key());
        row.pLabFileName->setText(strName);
        row.pLabFileName->setToolTip(strName);
        row.pLabFileName->setGeometry(kNameX, nY, kNameWidth, kRowHeight);

        row.pEditKey = new QLineEdit(m_pItemsContainer);
        row.pEditKey->setObjectName(QStringLiteral("pEditKey_%1").arg(i));
        row.pEditKey->setStyleSheet(m_strEditStyle);
        row.pEditKey->setEchoMode(QLineEdit::Password);
        // No copy out of a key field and no paste menu over it.
        row.pEditKey->setContextMenuPolicy(Qt::NoContextMenu);
        row.pEditKey->setGeometry(kEditX, nY, bSingle ? kEditWidthSingle : kEditWidth, kRowHeight);

        row.pBtnApplyAll = new QPushButton(m_pItemsContainer);
        row.pBtnApplyAll->setObjectName(QStringLiteral("pBtnApplyAll_%1").arg(i));
        row.pBtnApplyAll->setStyleSheet(m_strApplyStyle);
        row.pBtnApplyAll->setText(strApply);
        row.pBtnApplyAll->setToolTip(strApply);
        row.pBtnApplyAll->setFocusPolicy(Qt::NoFocus);
        row.pBtnApplyAll->setAutoDefault(false);
        row.pBtnApplyAll->setGeometry(kApplyX, nY, kApplyWidth, kRowHeight);
        // One file has nothing to apply to.
        row.pBtnApplyAll->setVisible(!bSingle);
        m_pBtnGroupApply->addButton(row.pBtnApplyAll);

        m_vecKeyRows.append(row);
    }
    m_pItemsContainer->resize(kContainerWidth, kRowPitch * m_vecKeyRows.size() + 40);
    m_vecKeyRows.first().pEditKey->setFocus();
}

void CGetDecryptKeyDlg::GetFileKeys(QMap<QString, QString>& mapFileKey) const {
    mapFileKey = m_mapFileKey;
}

void CGetDecryptKeyDlg::On_BtnApplyAllPressed(QAbstractButton* pBtn) {
    for (const KeyRow& row : m_vecKeyRows) {
        if (row.pBtnApplyAll != pBtn)
            continue;
        const QString strKey = row.pEditKey->text();
        for (const KeyRow& other : m_vecKeyRows)
            other.pEditKey->setText(strKey);
        return;
    }
}

void CGetDecryptKeyDlg::ShowKeyMessage(const char* pKey, const char* pDefault) {
    NonModalMessageBox::MsgBox(this, LanguageText(IDS_Global_Information, "Information"),
                               LanguageText(pKey, pDefault));
}

void CGetDecryptKeyDlg::On_OK() {
    QMap<QString, QString> mapKeys;
    for (const KeyRow& row : m_vecKeyRows) {
        const QString strKey = row.pEditKey->text();
        if (strKey.isEmpty()) {
            ShowKeyMessage(IDS_MainWnd_KeyCannotBlank, "The key cannot be empty!");
            row.pEditKey->setFocus();
            return;
        }
        if (KeyLength(strKey) > MAX_KEY_LENGTH) {
            ShowKeyMessage(IDS_MainWnd_KeyTooLong, "The key length exceeds the limit!");
            row.pEditKey->setFocus();
            return;
        }
        mapKeys.insert(row.strFilePath, strKey);
    }
    m_mapFileKey = mapKeys;
    CustomDialog::On_OK();
}

void CGetDecryptKeyDlg::On_Cancel() {
    CustomDialog::On_Cancel();
}
