#include "CPlayWndLayoutMenu.h"

#include <QButtonGroup>
#include <QHBoxLayout>

#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int RES_LAYOUT = 16;
const int CLR_TEXT = 12;
const int CLR_TEXT_SELECTED = 13;
const int PIC_SELECTED_OFFSET = 4; // pictures 4..7 are 0..3 selected
const int BTN_SIDE = 44;

} // namespace

CPlayWndLayoutMenu::CPlayWndLayoutMenu(QWidget* pParent) : PopupPanel(pParent) {
    setObjectName(QStringLiteral("CPlayWndLayoutMenu"));
}

bool CPlayWndLayoutMenu::Init() {
    if (m_pBtnGroup)
        return true;
    setFixedSize(MENU_WIDTH, MENU_HEIGHT);
    QHBoxLayout* pRow = new QHBoxLayout(this);
    pRow->setContentsMargins(9, 9, 9, 9);
    pRow->setSpacing(6);
    m_pBtnGroup = new QButtonGroup(this);
    CSkinButton** ppBtns[] = {&m_pBtn1Wnd, &m_pBtn4Wnd, &m_pBtn9Wnd, &m_pBtn16Wnd};
    const char* szNames[] = {"m_pBtn1Wnd", "m_pBtn4Wnd", "m_pBtn9Wnd", "m_pBtn16Wnd"};
    const char* szTexts[] = {"1x1", "2x2", "3x3", "4x4"};
    for (int i = 0; i < 4; ++i) {
        CSkinButton* pBtn = new CSkinButton(this);
        pBtn->setObjectName(QString::fromLatin1(szNames[i]));
        pBtn->setFixedSize(BTN_SIDE, BTN_SIDE);
        pBtn->SetCustomText(QString::fromLatin1(szTexts[i]));
        pBtn->setCursor(Qt::PointingHandCursor);
        m_pBtnGroup->addButton(pBtn);
        pRow->addWidget(pBtn);
        *ppBtns[i] = pBtn;
    }
    connect(m_pBtnGroup, &QButtonGroup::buttonClicked, this, &CPlayWndLayoutMenu::On_ChangePlayWndNum);
    UpdateLanguage();
    FollowSkin();
    return true;
}

void CPlayWndLayoutMenu::UpdateLanguage() {
    if (!m_pBtnGroup)
        return;
    m_pBtn1Wnd->SetToolTipText(LanguageText(IDS_PlayWnd_1PlayWnd, "1 window"));
    m_pBtn4Wnd->SetToolTipText(LanguageText(IDS_PlayWnd_4PlayWnd, "4 window"));
    m_pBtn9Wnd->SetToolTipText(LanguageText(IDS_PlayWnd_9PlayWnd, "9 window"));
    m_pBtn16Wnd->SetToolTipText(LanguageText(IDS_PlayWnd_16PlayWnd, "16 window"));
}

bool CPlayWndLayoutMenu::SetCurWndNum(int nWndNum) {
    if (!m_pBtnGroup)
        return false;
    const struct {
        CSkinButton* pBtn;
        int nWndNum;
    } aBtns[] = {{m_pBtn1Wnd, 1}, {m_pBtn4Wnd, 4}, {m_pBtn9Wnd, 9}, {m_pBtn16Wnd, 16}};
    bool bKnown = false;
    for (const auto& btn : aBtns) {
        btn.pBtn->SetSelected(btn.nWndNum == nWndNum);
        bKnown = bKnown || btn.nWndNum == nWndNum;
    }
    return bKnown;
}

void CPlayWndLayoutMenu::SkinChanged() {
    setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(RES_LAYOUT)));
    if (!m_pBtnGroup)
        return;
    CSkinButton* pBtns[] = {m_pBtn1Wnd, m_pBtn4Wnd, m_pBtn9Wnd, m_pBtn16Wnd};
    const QColor clrNormal = SkinManager::GetResColor(RES_LAYOUT, CLR_TEXT);
    const QColor clrSelected = SkinManager::GetResColor(RES_LAYOUT, CLR_TEXT_SELECTED);
    for (int i = 0; i < 4; ++i) {
        const QString strNormal = SkinManager::GetOtherResPath(RES_LAYOUT, i);
        const QString strSelected = SkinManager::GetOtherResPath(RES_LAYOUT, i + PIC_SELECTED_OFFSET);
        // Hover and pressed take the selected picture: the button under the
        // pointer looks like the choice it would make.
        pBtns[i]->SetPixmap(strNormal, strSelected, strSelected);
        if (clrNormal.isValid())
            pBtns[i]->SetCustomTextColor(clrNormal, clrSelected);
    }
}

bool CPlayWndLayoutMenu::On_ChangePlayWndNum(QAbstractButton* pBtn) {
    int nWndNum = 0;
    if (pBtn == m_pBtn1Wnd)
        nWndNum = 1;
    else if (pBtn == m_pBtn4Wnd)
        nWndNum = 4;
    else if (pBtn == m_pBtn9Wnd)
        nWndNum = 9;
    else if (pBtn == m_pBtn16Wnd)
        nWndNum = 16;
    if (!nWndNum || !pBtn)
        return false;
    emit Sig_ChangePlayWndNum(nWndNum);
    return true;
}
