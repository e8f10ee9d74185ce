#include "SliderTips.h"

#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include "SkinManager.h"

namespace {

const int SKIN_RES_TIPS = 37;

} // namespace

SliderTips::SliderTips(QWidget* pParent)
    : QDialog(pParent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus) {
    setObjectName(QStringLiteral("SliderTips"));
    setFixedSize(140, 36);
    setAttribute(Qt::WA_TranslucentBackground, true);
    // The tip follows the mouse over the bar; it must never take the focus from it.
    setAttribute(Qt::WA_ShowWithoutActivating, true);

    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->setSpacing(0);
    m_pLabelText = new QLabel(this);
    m_pLabelText->setObjectName(QStringLiteral("m_pLabelText"));
    m_pLabelText->setAlignment(Qt::AlignCenter);
    pLayout->addWidget(m_pLabelText);

    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
}

SliderTips::~SliderTips() {
    SkinManager::DelObserver(this);
}

bool SliderTips::SetTipsText(QString strText) {
    m_pLabelText->setText(strText);
    return true;
}

QString SliderTips::GetTipsText() const {
    return m_pLabelText->text();
}

void SliderTips::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_TIPS);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
    const QString strPic = SkinManager::GetOtherResPath(SKIN_RES_TIPS, 0);
    m_pixBackground = strPic.isEmpty() ? QPixmap() : QPixmap(strPic);
    update();
}

void SliderTips::paintEvent(QPaintEvent* /*ev*/) {
    if (m_pixBackground.isNull())
        return;
    QPainter painter(this);
    painter.drawPixmap(0, 0, m_pixBackground);
}
