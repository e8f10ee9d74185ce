#include "SkinTable.h"

#include <QDebug>
#include <QFile>
#include <QXmlStreamReader>

namespace {

bool ReadIndex(const QXmlStreamAttributes& attrs, const char* pName, int* pnValue) {
    bool bOk = false;
    const int nValue = attrs.value(QLatin1String(pName)).toInt(&bOk);
    if (!bOk)
        return false;
    *pnValue = nValue;
    return true;
}

} // namespace

void SkinTable::Clear() {
    m_strDir.clear();
    m_hashResources.clear();
}

bool SkinTable::Load(const QString& strSkinDir) {
    Clear();
    QFile file(strSkinDir + QStringLiteral("/Skin.xml"));
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug() << "SkinTable::Load Fail" << file.fileName() << file.errorString();
        return false;
    }
    m_strDir = strSkinDir;

    QXmlStreamReader xml(&file);
    Resource* pCur = nullptr;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringView name = xml.name();
        const QXmlStreamAttributes attrs = xml.attributes();
        int nIndex = 0;
        if (name == QLatin1String("Resource")) {
            int nId = 0;
            if (!ReadIndex(attrs, "id", &nId)) {
                xml.raiseError(QStringLiteral("Resource without id"));
                break;
            }
            pCur = &m_hashResources[nId];
            pCur->strQss = attrs.value(QLatin1String("qss")).toString();
            continue;
        }
        if (name == QLatin1String("Skin"))
            continue;
        if (!pCur || !ReadIndex(attrs, "index", &nIndex)) {
            xml.raiseError(QStringLiteral("entry outside a Resource or without index"));
            break;
        }
        if (name == QLatin1String("Color")) {
            const QColor clr(xml.readElementText().trimmed());
            if (clr.isValid())
                pCur->hashColors.insert(nIndex, clr);
        } else if (name == QLatin1String("Picture")) {
            pCur->hashPictures.insert(nIndex, xml.readElementText().trimmed());
        } else if (name == QLatin1String("Sheet")) {
            QString strSheet = xml.readElementText();
            strSheet.replace(QStringLiteral("@SKIN@"), m_strDir);
            pCur->hashSheets.insert(nIndex, strSheet.trimmed());
        } else if (name == QLatin1String("Font")) {
            QFont font(attrs.value(QLatin1String("family")).toString());
            const int nPixel = attrs.value(QLatin1String("pixelSize")).toInt();
            if (nPixel > 0)
                font.setPixelSize(nPixel);
            font.setBold(attrs.value(QLatin1String("bold")) == QLatin1String("1"));
            pCur->hashFonts.insert(nIndex, font);
        }
    }
    if (xml.hasError()) {
        qDebug() << "SkinTable::Load Fail" << file.fileName() << xml.lineNumber() << xml.errorString();
        Clear();
        return false;
    }
    return true;
}

QString SkinTable::QssPath(int nResource) const {
    const auto it = m_hashResources.constFind(nResource);
    if (it == m_hashResources.constEnd() || it->strQss.isEmpty())
        return QString();
    return m_strDir + QLatin1Char('/') + it->strQss;
}

QString SkinTable::Sheet(int nResource, int nIndex) const {
    const auto it = m_hashResources.constFind(nResource);
    return it == m_hashResources.constEnd() ? QString() : it->hashSheets.value(nIndex);
}

QColor SkinTable::Color(int nResource, int nIndex) const {
    const auto it = m_hashResources.constFind(nResource);
    return it == m_hashResources.constEnd() ? QColor() : it->hashColors.value(nIndex);
}

QFont SkinTable::Font(int nResource, int nIndex, bool* pbFound) const {
    const auto it = m_hashResources.constFind(nResource);
    const bool bFound = it != m_hashResources.constEnd() && it->hashFonts.contains(nIndex);
    if (pbFound)
        *pbFound = bFound;
    return bFound ? it->hashFonts.value(nIndex) : QFont();
}

QString SkinTable::Picture(int nResource, int nIndex) const {
    const auto it = m_hashResources.constFind(nResource);
    if (it == m_hashResources.constEnd())
        return QString();
    const QString strFile = it->hashPictures.value(nIndex);
    return strFile.isEmpty() ? QString() : m_strDir + QLatin1Char('/') + strFile;
}
