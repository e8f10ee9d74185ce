#include "PlayListSearchBar.h"

#include <algorithm>

#include <QDateTime>
#include <QDateTimeEdit>
#include <QEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QStyleOption>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_SEARCH_BAR = 12;
const int TAB_HEIGHT = 28;
const int FIELD_HEIGHT = 26;
const int SEARCH_BUTTON_WIDTH = 60;

QPushButton* MakeButton(QWidget* pParent, const char* szName) {
    QPushButton* pButton = new QPushButton(pParent);
    pButton->setObjectName(QString::fromLatin1(szName));
    pButton->setFocusPolicy(Qt::NoFocus);
    return pButton;
}

} // namespace

PlayListSearchBar::PlayListSearchBar(QWidget* pParent) : QWidget(pParent) {
    setObjectName(QStringLiteral("PlayListSearchBar"));
}

PlayListSearchBar::~PlayListSearchBar() {
    SkinManager::DelObserver(this);
}

bool PlayListSearchBar::Init() {
    if (m_pSearchNameBar)
        return true;
    SetupUI();
    UpdateLanguage();
    ConnectSignals();
    EnterMode(0);
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    return true;
}

void PlayListSearchBar::SetupUI() {
    QVBoxLayout* pColumn = new QVBoxLayout(this);
    pColumn->setContentsMargins(6, 4, 6, 6);
    pColumn->setSpacing(4);

    QHBoxLayout* pTabs = new QHBoxLayout();
    pTabs->setContentsMargins(0, 0, 0, 0);
    pTabs->setSpacing(0);
    m_pBtnShowNameBar = MakeButton(this, "m_pBtnShowNameBar");
    m_pBtnShowTimeBar = MakeButton(this, "m_pBtnShowTimeBar");
    m_pBtnShowNameBar->setFixedHeight(TAB_HEIGHT);
    m_pBtnShowTimeBar->setFixedHeight(TAB_HEIGHT);
    pTabs->addWidget(m_pBtnShowNameBar, 1);
    pTabs->addWidget(m_pBtnShowTimeBar, 1);
    pColumn->addLayout(pTabs);

    m_pSearchNameBar = new QWidget(this);
    m_pSearchNameBar->setObjectName(QStringLiteral("m_pSearchNameBar"));
    QHBoxLayout* pNameRow = new QHBoxLayout(m_pSearchNameBar);
    pNameRow->setContentsMargins(0, 0, 0, 0);
    pNameRow->setSpacing(4);
    m_pEditSearchName = new QLineEdit(m_pSearchNameBar);
    m_pEditSearchName->setObjectName(QStringLiteral("m_pEditSearchName"));
    m_pEditSearchName->setFixedHeight(FIELD_HEIGHT);
    m_pEditSearchName->setContextMenuPolicy(Qt::NoContextMenu);
    // Characters no file name may hold: \ / : " < > |.
    m_pEditSearchName->setValidator(new QRegularExpressionValidator(
        QRegularExpression(QStringLiteral(R"([^\\|/|:|"|<|>||]*)")), m_pEditSearchName));
    m_pBtnSearchName = MakeButton(m_pSearchNameBar, "m_pBtnSearchName");
    m_pBtnSearchName->setFixedSize(SEARCH_BUTTON_WIDTH, FIELD_HEIGHT);
    pNameRow->addWidget(m_pEditSearchName, 1);
    pNameRow->addWidget(m_pBtnSearchName);
    pColumn->addWidget(m_pSearchNameBar);

    m_pSearchTimeBar = new QWidget(this);
    m_pSearchTimeBar->setObjectName(QStringLiteral("m_pSearchTimeBar"));
    QHBoxLayout* pTimeRow = new QHBoxLayout(m_pSearchTimeBar);
    pTimeRow->setContentsMargins(0, 0, 0, 0);
    pTimeRow->setSpacing(4);
    m_pSearchTimeEdit = new QDateTimeEdit(m_pSearchTimeBar);
    m_pSearchTimeEdit->setObjectName(QStringLiteral("m_pSearchTimeEdit"));
    m_pSearchTimeEdit->setFixedHeight(FIELD_HEIGHT);
    m_pSearchTimeEdit->setCalendarPopup(true);
    m_pSearchTimeEdit->setDisplayFormat(QStringLiteral("yyyy/M/d HH:mm:ss"));
    m_pSearchTimeEdit->setContextMenuPolicy(Qt::NoContextMenu);
    m_pBtnSearchTime = MakeButton(m_pSearchTimeBar, "m_pBtnSearchTime");
    m_pBtnSearchTime->setFixedSize(SEARCH_BUTTON_WIDTH, FIELD_HEIGHT);
    pTimeRow->addWidget(m_pSearchTimeEdit, 1);
    pTimeRow->addWidget(m_pBtnSearchTime);
    pColumn->addWidget(m_pSearchTimeBar);
}

void PlayListSearchBar::UpdateLanguage() {
    if (!m_pBtnShowNameBar)
        return;
    m_pBtnShowNameBar->setText(LanguageText(IDS_FileInfoDlg_FileName, "File Name"));
    m_pBtnShowTimeBar->setText(LanguageText(IDS_Global_GlobalTime, "Global Time"));
    const QString strSearch = LanguageText(IDS_Global_Search, "Search");
    m_pBtnSearchName->setText(strSearch);
    m_pBtnSearchTime->setText(strSearch);
    // The fixed width fits the short texts; a longer translation widens the
    // button rather than clipping its text (room for the skin's padding of
    // 12 pixels a side and the border).
    for (QPushButton* pButton : {m_pBtnSearchName, m_pBtnSearchTime}) {
        pButton->ensurePolished();
        const int nTextWidth = pButton->fontMetrics().horizontalAdvance(strSearch) + 32;
        pButton->setFixedWidth(std::max(SEARCH_BUTTON_WIDTH, nTextWidth));
    }
    // setText replaces a button's shortcut by the text's mnemonic, so the key
    // follows every text. Only the button of the shown bar takes it: a hidden
    // widget's shortcut is not active.
    m_pBtnSearchName->setShortcut(QKeySequence(Qt::Key_Return));
    m_pBtnSearchTime->setShortcut(QKeySequence(Qt::Key_Return));
}

void PlayListSearchBar::ConnectSignals() {
    connect(m_pBtnShowNameBar, &QPushButton::clicked, this, &PlayListSearchBar::On_ShowSearchNameBar);
    connect(m_pBtnShowTimeBar, &QPushButton::clicked, this, &PlayListSearchBar::On_ShowSearchTimeBar);
    connect(m_pBtnSearchName, &QPushButton::clicked, this, &PlayListSearchBar::On_SearchByFileName);
    connect(m_pBtnSearchTime, &QPushButton::clicked, this, &PlayListSearchBar::On_SearchByGlobalTime);
}

void PlayListSearchBar::EnterMode(int nMode) {
    if (nMode == m_nSearchMode)
        return;
    const bool bName = nMode == 0;
    m_pSearchNameBar->setVisible(bName);
    m_pSearchTimeBar->setVisible(!bName);
    // The tabs are plain buttons: the one held down marks the search in use.
    m_pBtnShowNameBar->setDown(bName);
    m_pBtnShowTimeBar->setDown(!bName);
    if (bName)
        m_pEditSearchName->clear();
    else
        m_pSearchTimeEdit->setDateTime(QDateTime::currentDateTime());
    emit Sig_SearchShowAllFiles();
    m_nSearchMode = nMode;
}

void PlayListSearchBar::On_ShowSearchNameBar() {
    EnterMode(0);
    // A click releases the button it pressed; the tab of the mode stays down.
    m_pBtnShowNameBar->setDown(true);
}

void PlayListSearchBar::On_ShowSearchTimeBar() {
    EnterMode(1);
    m_pBtnShowTimeBar->setDown(true);
}

void PlayListSearchBar::On_SearchByFileName() {
    const QString strKey = m_pEditSearchName->text();
    if (strKey.isEmpty()) {
        NonModalMessageBox::MsgBox(
            window(), LanguageText(IDS_Global_Information, "Information"),
            LanguageText(IDS_MainWnd_PleaseEnterSearchKeywords, "Please enter search keywords!"));
        return;
    }
    emit Sig_SearchByFileName(strKey);
    // Nothing else in the dialog takes the keyboard: the field gives it back,
    // so that space, the arrows and the other hot keys drive the player again.
    m_pEditSearchName->clearFocus();
}

void PlayListSearchBar::On_SearchByGlobalTime() {
    const QDateTime dt = m_pSearchTimeEdit->dateTime();
    TAVRIX_SYSTEM_TIME stTime{};
    stTime.nYear = dt.date().year();
    stTime.nMonth = dt.date().month();
    stTime.nDay = dt.date().day();
    stTime.nHour = dt.time().hour();
    stTime.nMinute = dt.time().minute();
    stTime.nSecond = dt.time().second();
    emit Sig_SearchByGlobalTime(&stTime);
    m_pSearchTimeEdit->clearFocus(); // as after a search by name
}

void PlayListSearchBar::SkinChanged() {
    setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(SKIN_RES_SEARCH_BAR)));
}

void PlayListSearchBar::paintEvent(QPaintEvent* pEvent) {
    Q_UNUSED(pEvent);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
}
