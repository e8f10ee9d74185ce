#include "ColorAdjustDlg.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 8;
constexpr int kValueLabelWidth = 36;

} // namespace

ColorAdjustDlg::ColorAdjustDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("ColorAdjustDlg"));
}

ColorAdjustDlg::~ColorAdjustDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool ColorAdjustDlg::Init() {
    if (m_bInited)
        return true;
    SetupUI();
    ConnectSignals();
    ReTranslateUI();
    m_bInited = true;
    // Calls SkinChanged() at once.
    SkinManager::AddObserver(this);
    m_bObserving = true;
    return true;
}

QSlider* ColorAdjustDlg::MakeRow(const char* szName, QLabel** ppName, QLabel** ppValue) {
    const QString strName = QString::fromLatin1(szName);
    *ppName = new QLabel(this);
    (*ppName)->setObjectName(QStringLiteral("m_pLabelName_") + strName);
    auto* pSlider = new QSlider(Qt::Horizontal, this);
    pSlider->setObjectName(QStringLiteral("m_pSlider_") + strName);
    pSlider->setRange(COLOR_MIN, COLOR_MAX);
    pSlider->setValue(COLOR_NEUTRAL);
    *ppValue = new QLabel(QString::number(COLOR_NEUTRAL), this);
    (*ppValue)->setObjectName(QStringLiteral("m_pLabelValue_") + strName);
    (*ppValue)->setFixedWidth(kValueLabelWidth);
    (*ppValue)->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return pSlider;
}

void ColorAdjustDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    auto* pGrid = new QGridLayout();
    pGrid->setContentsMargins(24, 16, 24, 8);
    pGrid->setHorizontalSpacing(12);
    pGrid->setVerticalSpacing(14);
    m_pSlider_Brightness = MakeRow("Brightness", &m_pLabelName_Brightness, &m_pLabelValue_Brightness);
    m_pSlider_Contrast = MakeRow("Contrast", &m_pLabelName_Contrast, &m_pLabelValue_Contrast);
    m_pSlider_Saturation = MakeRow("Saturation", &m_pLabelName_Saturation, &m_pLabelValue_Saturation);
    m_pSlider_Hue = MakeRow("Hue", &m_pLabelName_Hue, &m_pLabelValue_Hue);
    const struct {
        QLabel* pName;
        QSlider* pSlider;
        QLabel* pValue;
    } rows[] = {{m_pLabelName_Brightness, m_pSlider_Brightness, m_pLabelValue_Brightness},
                {m_pLabelName_Contrast, m_pSlider_Contrast, m_pLabelValue_Contrast},
                {m_pLabelName_Saturation, m_pSlider_Saturation, m_pLabelValue_Saturation},
                {m_pLabelName_Hue, m_pSlider_Hue, m_pLabelValue_Hue}};
    int nRow = 0;
    for (const auto& row : rows) {
        pGrid->addWidget(row.pName, nRow, 0);
        pGrid->addWidget(row.pSlider, nRow, 1);
        pGrid->addWidget(row.pValue, nRow, 2);
        ++nRow;
    }
    pGrid->setColumnStretch(1, 1);
    pRoot->addLayout(pGrid);
    pRoot->addStretch();

    auto* pButtonRow = new QHBoxLayout();
    pButtonRow->setContentsMargins(24, 4, 24, 16);
    pButtonRow->addStretch();
    m_pBtnReset = new QPushButton(this);
    m_pBtnReset->setObjectName(QStringLiteral("m_pBtnReset"));
    m_pBtnReset->setMinimumSize(80, 26);
    m_pBtnReset->setAutoDefault(false);
    pButtonRow->addWidget(m_pBtnReset);
    pRoot->addLayout(pButtonRow);
}

void ColorAdjustDlg::ConnectSignals() {
    connect(m_pSlider_Brightness, &QSlider::valueChanged, this, &ColorAdjustDlg::On_ChangeBrightness);
    connect(m_pSlider_Contrast, &QSlider::valueChanged, this, &ColorAdjustDlg::On_ChangeConstract);
    connect(m_pSlider_Saturation, &QSlider::valueChanged, this, &ColorAdjustDlg::On_ChangeSaturation);
    connect(m_pSlider_Hue, &QSlider::valueChanged, this, &ColorAdjustDlg::On_ChangeHue);
    connect(m_pBtnReset, &QPushButton::clicked, this, &ColorAdjustDlg::On_Reset);
    connect(m_pBtnClose, &QPushButton::clicked, this, &ColorAdjustDlg::On_Cancel);
}

void ColorAdjustDlg::ReTranslateUI() {
    if (!m_pLabTitle)
        return;
    const QString strTitle = LanguageText(IDS_PlaySetDlg_ColorAdjust, "Color Adjust");
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pLabelName_Brightness->setText(LanguageText(IDS_PlaySetDlg_Lightness, "Brightness"));
    m_pLabelName_Contrast->setText(LanguageText(IDS_PlaySetDlg_Constrast, "Constrast"));
    m_pLabelName_Saturation->setText(LanguageText(IDS_PlaySetDlg_Chromaticity, "Saturation"));
    m_pLabelName_Hue->setText(LanguageText(IDS_PlaySetDlg_Hue, "Hue"));
    m_pBtnReset->setText(LanguageText(IDS_PlaySetDlg_ResetDefaultSetting, "Restore"));
}

void ColorAdjustDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
}

void ColorAdjustDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

void ColorAdjustDlg::SetColorValues(int nBrightness, int nContrast, int nSaturation, int nHue) {
    if (!m_pSlider_Brightness)
        return;
    m_pSlider_Brightness->setValue(nBrightness);
    m_pSlider_Contrast->setValue(nContrast);
    m_pSlider_Saturation->setValue(nSaturation);
    m_pSlider_Hue->setValue(nHue);
    // The sliders clamp to 0..128; the labels show what they hold.
    m_pLabelValue_Brightness->setText(QString::number(m_pSlider_Brightness->value()));
    m_pLabelValue_Contrast->setText(QString::number(m_pSlider_Contrast->value()));
    m_pLabelValue_Saturation->setText(QString::number(m_pSlider_Saturation->value()));
    m_pLabelValue_Hue->setText(QString::number(m_pSlider_Hue->value()));
}

void ColorAdjustDlg::EmitValues(QLabel* pValueLabel, int nValue) {
    if (!m_pSlider_Brightness || !m_pSlider_Contrast || !m_pSlider_Saturation || !m_pSlider_Hue)
        return;
    pValueLabel->setText(QString::number(nValue));
    emit Sig_AdjustColor(m_pSlider_Brightness->value(), m_pSlider_Contrast->value(),
                         m_pSlider_Saturation->value(), m_pSlider_Hue->value());
}

// A slider's own value is already its value() when valueChanged arrives, so
// the four are read from the sliders alike.
void ColorAdjustDlg::On_ChangeBrightness(int nValue) {
    EmitValues(m_pLabelValue_Brightness, nValue);
}

void ColorAdjustDlg::On_ChangeConstract(int nValue) {
    EmitValues(m_pLabelValue_Contrast, nValue);
}

void ColorAdjustDlg::On_ChangeSaturation(int nValue) {
    EmitValues(m_pLabelValue_Saturation, nValue);
}

void ColorAdjustDlg::On_ChangeHue(int nValue) {
    EmitValues(m_pLabelValue_Hue, nValue);
}

void ColorAdjustDlg::On_Reset() {
    if (!m_pSlider_Brightness || !m_pSlider_Contrast || !m_pSlider_Saturation || !m_pSlider_Hue)
        return;
    for (QSlider* pSlider : {m_pSlider_Brightness, m_pSlider_Contrast, m_pSlider_Saturation, m_pSlider_Hue})
        pSlider->setValue(COLOR_NEUTRAL);
    for (QLabel* pLabel :
         {m_pLabelValue_Brightness, m_pLabelValue_Contrast, m_pLabelValue_Saturation, m_pLabelValue_Hue})
        pLabel->setText(QString::number(COLOR_NEUTRAL));
    // Sliders that moved have sent their step already; this one carries the end.
    emit Sig_AdjustColor(COLOR_NEUTRAL, COLOR_NEUTRAL, COLOR_NEUTRAL, COLOR_NEUTRAL);
}
