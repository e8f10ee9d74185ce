#include "LocateGlobalTimeDlg.h"

#include <QDateTime>
#include <QDateTimeEdit>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 5;

} // namespace

LocateGlobalTimeDlg::LocateGlobalTimeDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("LocateGlobalTimeDlg"));
}

LocateGlobalTimeDlg::~LocateGlobalTimeDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool LocateGlobalTimeDlg::Init() {
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

void LocateGlobalTimeDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    auto* pGrid = new QGridLayout();
    pGrid->setContentsMargins(20, 10, 20, 4);
    pGrid->setHorizontalSpacing(10);
    pGrid->setVerticalSpacing(8);
    m_pLabelRangeBegin = new QLabel(this);
    m_pLabelRangeBegin->setObjectName(QStringLiteral("m_pLabelRangeBegin"));
    m_pLabelRangeEnd = new QLabel(this);
    m_pLabelRangeEnd->setObjectName(QStringLiteral("m_pLabelRangeEnd"));
    m_pLabelPleaseInput = new QLabel(this);
    m_pLabelPleaseInput->setObjectName(QStringLiteral("m_pLabelPleaseInput"));
    m_pDateTimeEdit = new QDateTimeEdit(this);
    m_pDateTimeEdit->setObjectName(QStringLiteral("m_pDateTimeEdit"));
    m_pDateTimeEdit->setCalendarPopup(true);
    m_pDateTimeEdit->setDisplayFormat(QStringLiteral("yyyy/M/d HH:mm:ss"));
    // The fields are the file's own wall clock: no time zone and no daylight
    // saving gap may move or refuse a time the file holds.
    m_pDateTimeEdit->setTimeSpec(Qt::UTC);
    // No limits on the field: a time outside the range is refused by On_OK
    // with a message, not silently clamped.
    m_pDateTimeEdit->clearMinimumDateTime();
    m_pDateTimeEdit->clearMaximumDateTime();
    pGrid->addWidget(m_pLabelRangeBegin, 0, 0);
    pGrid->addWidget(m_pLabelRangeEnd, 0, 1);
    pGrid->addWidget(m_pLabelPleaseInput, 1, 0);
    pGrid->addWidget(m_pDateTimeEdit, 1, 1);
    pGrid->setColumnStretch(1, 1);
    pRoot->addLayout(pGrid);
    pRoot->addStretch();

    auto* pButtonRow = new QHBoxLayout();
    pButtonRow->setContentsMargins(20, 4, 20, 12);
    pButtonRow->setSpacing(10);
    pButtonRow->addStretch();
    m_pBtnOK = new QPushButton(this);
    m_pBtnOK->setObjectName(QStringLiteral("m_pBtnOK"));
    m_pBtnOK->setMinimumSize(80, 26);
    m_pBtnOK->setDefault(true);
    m_pBtnCancel = new QPushButton(this);
    m_pBtnCancel->setObjectName(QStringLiteral("m_pBtnCancel"));
    m_pBtnCancel->setMinimumSize(80, 26);
    m_pBtnCancel->setAutoDefault(false);
    pButtonRow->addWidget(m_pBtnOK);
    pButtonRow->addWidget(m_pBtnCancel);
    pRoot->addLayout(pButtonRow);
}

void LocateGlobalTimeDlg::ConnectSignals() {
    connect(m_pBtnOK, &QPushButton::clicked, this, &LocateGlobalTimeDlg::On_OK);
    connect(m_pBtnCancel, &QPushButton::clicked, this, &LocateGlobalTimeDlg::On_Cancel);
    connect(m_pBtnClose, &QPushButton::clicked, this, &LocateGlobalTimeDlg::On_Cancel);
}

QString LocateGlobalTimeDlg::RangeText(const char* pKey, const char* pDefault,
                                       const TAVRIX_SYSTEM_TIME& stTime) const {
    return QStringLiteral("%1: %2").arg(LanguageText(pKey, pDefault),
                                        QString::asprintf("%04d/%02d/%02d %02d:%02d:%02d", stTime.nYear,
                                                          stTime.nMonth, stTime.nDay, stTime.nHour,
                                                          stTime.nMinute, stTime.nSecond));
}

void LocateGlobalTimeDlg::ReTranslateUI() {
    if (!m_bInited)
        return;
    const QString strTitle = LanguageText(IDS_PlaySetDlg_GlobalTimeLocate, "Locate Global Time");
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pLabelPleaseInput->setText(LanguageText(IDS_PlaySetDlg_Warn_InputTime, "Please set input time:"));
    m_pLabelRangeBegin->setText(RangeText(IDS_Global_Begin, "Begin", m_stRangeBegin));
    m_pLabelRangeEnd->setText(RangeText(IDS_Global_End, "End", m_stRangeEnd));
    m_pBtnOK->setText(LanguageText(IDS_Global_OK, "OK"));
    m_pBtnCancel->setText(LanguageText(IDS_Global_Cancel, "Cancel"));
}

void LocateGlobalTimeDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
}

void LocateGlobalTimeDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

bool LocateGlobalTimeDlg::SetTimeRange(TAVRIX_SYSTEM_TIME* pBegin, TAVRIX_SYSTEM_TIME* pEnd) {
    if (!pBegin || !pEnd)
        return false;
    if (!m_bInited)
        Init();
    m_stRangeBegin = *pBegin;
    m_stRangeEnd = *pEnd;
    // The input has whole seconds only, and it starts at the second the Begin
    // label shows: that second must pass even when the file begins some
    // milliseconds into it.
    m_stRangeBegin.nMilliseconds = 0;
    m_pDateTimeEdit->setDateTime(QDateTime(QDate(pBegin->nYear, pBegin->nMonth, pBegin->nDay),
                                           QTime(pBegin->nHour, pBegin->nMinute, pBegin->nSecond), Qt::UTC));
    ReTranslateUI();
    return true;
}

void LocateGlobalTimeDlg::On_OK() {
    if (!m_pDateTimeEdit)
        return;
    const QDateTime dt = m_pDateTimeEdit->dateTime();
    TAVRIX_SYSTEM_TIME stInput{};
    stInput.nYear = dt.date().year();
    stInput.nMonth = dt.date().month();
    stInput.nDay = dt.date().day();
    stInput.nHour = dt.time().hour();
    stInput.nMinute = dt.time().minute();
    stInput.nSecond = dt.time().second();
    if (CPlayHelper::IsOneTimeEarly(&stInput, &m_stRangeBegin) ||
        CPlayHelper::IsOneTimeEarly(&m_stRangeEnd, &stInput)) {
        NonModalMessageBox::MsgBox(this, LanguageText(IDS_Global_Information, "Information"),
                                   LanguageText(IDS_PlaySetDlg_Warn_InputValidTime,
                                                "Please enter the time during the valid range."));
        return;
    }
    emit Sig_PlayLocateByGlobalTime(&stInput);
    CustomDialog::On_OK();
}
