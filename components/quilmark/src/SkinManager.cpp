#include "SkinManager.h"

#include "IObserverBase.h"
#include "QuilmarkResources.h"
#include "SkinTable.h"

#include <QDebug>
#include <QFile>

#include <algorithm>
#include <new>

namespace {

// Skins compiled into the library, by index.
const char* const kSkinNames[] = {"default"};
constexpr int kSkinCount = int(sizeof(kSkinNames) / sizeof(kSkinNames[0]));

QString SkinDir(int nIndex) {
    return QStringLiteral(":/skin/") + QLatin1String(kSkinNames[nIndex]);
}

} // namespace

SkinManager* SkinManager::s_pInstance = nullptr;

SkinManager::SkinManager() : m_pTable(new SkinTable) {}

SkinManager::~SkinManager() = default;

SkinManager* SkinManager::GetInstance() {
    if (!s_pInstance) {
        QuilmarkInitResources();
        s_pInstance = new (std::nothrow) SkinManager;
        if (s_pInstance && !s_pInstance->m_pTable->Load(SkinDir(0)))
            qDebug() << "SkinManager::GetInstance Fail: default skin not readable";
        if (s_pInstance)
            s_pInstance->m_nSkinIndex = 0;
    }
    return s_pInstance;
}

void SkinManager::DeleteInstance() {
    delete s_pInstance;
    s_pInstance = nullptr;
}

void SkinManager::AddObserver(IObserverBase* pObserver) {
    SkinManager* pThis = GetInstance();
    if (!pThis || !pObserver)
        return;
    auto& vec = pThis->m_vecObservers;
    if (std::find(vec.begin(), vec.end(), pObserver) == vec.end())
        vec.push_back(pObserver);
    pObserver->SkinChanged();
}

void SkinManager::DelObserver(IObserverBase* pObserver) {
    // No instance made here: a window that leaves during shut down must not bring
    // the skin back.
    if (!s_pInstance)
        return;
    auto& vec = s_pInstance->m_vecObservers;
    vec.erase(std::remove(vec.begin(), vec.end(), pObserver), vec.end());
}

void SkinManager::ChangeSkin(int nIndex) {
    SkinManager* pThis = GetInstance();
    if (!pThis)
        return;
    if (nIndex < 0 || nIndex >= kSkinCount)
        nIndex = 0;
    if (nIndex != pThis->m_nSkinIndex) {
        if (!pThis->m_pTable->Load(SkinDir(nIndex)))
            qDebug() << "SkinManager::ChangeSkin Fail" << nIndex;
        pThis->m_nSkinIndex = nIndex;
    }
    // An observer may add or remove observers (a dialog made or closed in its
    // notice): walk a copy and skip those removed on the way.
    const std::vector<IObserverBase*> vecCopy = pThis->m_vecObservers;
    for (IObserverBase* pObserver : vecCopy) {
        const auto& vecNow = pThis->m_vecObservers;
        if (std::find(vecNow.begin(), vecNow.end(), pObserver) != vecNow.end())
            pObserver->SkinChanged();
    }
}

int SkinManager::CurrentSkinIndex() {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_nSkinIndex : 0;
}

QString SkinManager::GetQssResPath(int nResource) {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_pTable->QssPath(nResource) : QString();
}

QString SkinManager::ReadQssFile(const QString& strPath) {
    if (strPath.isEmpty())
        return QString();
    QuilmarkInitResources();
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qDebug() << "SkinManager::ReadQssFile Fail" << strPath << file.errorString();
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

QString SkinManager::GetResStyleSheet(int nResource, int nIndex) {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_pTable->Sheet(nResource, nIndex) : QString();
}

QColor SkinManager::GetResColor(int nResource, int nIndex) {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_pTable->Color(nResource, nIndex) : QColor();
}

uint32_t SkinManager::GetResColorRef(int nResource, int nIndex) {
    const QColor clr = GetResColor(nResource, nIndex);
    if (!clr.isValid())
        return 0;
    // Native colour numbers keep red in the low byte: 0x00BBGGRR.
    return uint32_t(clr.red()) | (uint32_t(clr.green()) << 8) | (uint32_t(clr.blue()) << 16);
}

QFont SkinManager::GetResFont(int nResource, int nIndex) {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_pTable->Font(nResource, nIndex) : QFont();
}

QString SkinManager::GetOtherResPath(int nResource, int nIndex) {
    SkinManager* pThis = GetInstance();
    return pThis ? pThis->m_pTable->Picture(nResource, nIndex) : QString();
}
