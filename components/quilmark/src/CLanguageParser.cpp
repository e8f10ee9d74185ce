#include "CLanguageParser.h"

#include "QuilmarkResources.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QXmlStreamReader>

#include <new>

namespace {

// File names of the string files by language type.
QString LanguageFileName(int nLanguage) {
    switch (nLanguage) {
    case 0:
        return QStringLiteral("zh_CN.xml");
    case 1:
        return QStringLiteral("en_US.xml");
    default:
        return QString();
    }
}

// A file in "lang" beside the program wins over the compiled-in one.
QString LanguageFilePath(int nLanguage) {
    const QString strName = LanguageFileName(nLanguage);
    if (strName.isEmpty())
        return QString();
    if (QCoreApplication::instance()) {
        const QString strLocal = QCoreApplication::applicationDirPath() + QStringLiteral("/lang/") + strName;
        if (QFile::exists(strLocal))
            return strLocal;
    }
    return QStringLiteral(":/lang/") + strName;
}

bool ParseStrings(QIODevice* pDevice, QHash<QString, QString>* pHash) {
    QXmlStreamReader xml(pDevice);
    bool bRoot = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (!bRoot) {
            if (xml.name() != QLatin1String("Strings")) {
                xml.raiseError(QStringLiteral("root is not Strings"));
                break;
            }
            bRoot = true;
            continue;
        }
        if (xml.name() != QLatin1String("String")) {
            xml.skipCurrentElement();
            continue;
        }
        const QString strKey = xml.attributes().value(QLatin1String("key")).toString();
        const QString strText = xml.readElementText();
        if (!strKey.isEmpty())
            pHash->insert(strKey, strText);
    }
    if (xml.hasError() || !bRoot) {
        qDebug() << "CLanguageParser: bad string file" << xml.lineNumber() << xml.errorString();
        return false;
    }
    return true;
}

} // namespace

CLanguageParser* CLanguageParser::s_pInstance = nullptr;

CLanguageParser* CLanguageParser::GetInstance() {
    if (!s_pInstance) {
        QuilmarkInitResources();
        s_pInstance = new (std::nothrow) CLanguageParser;
    }
    return s_pInstance;
}

void CLanguageParser::DeleteInstance() {
    delete s_pInstance;
    s_pInstance = nullptr;
}

bool CLanguageParser::LoadStringFile(int nLanguage) {
    CLanguageParser* pThis = GetInstance();
    if (!pThis)
        return false;
    pThis->m_nLanguage = nLanguage;
    pThis->m_hashStrings.clear();

    const QString strPath = LanguageFilePath(nLanguage);
    if (strPath.isEmpty()) {
        qDebug() << "CLanguageParser::LoadStringFile Fail: no strings for language" << nLanguage;
        return false;
    }
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug() << "CLanguageParser::LoadStringFile Fail" << strPath << file.errorString();
        return false;
    }
    QHash<QString, QString> hash;
    if (!ParseStrings(&file, &hash))
        return false;
    pThis->m_hashStrings.swap(hash);
    return true;
}

int CLanguageParser::CurrentLanguageType() {
    return s_pInstance ? s_pInstance->m_nLanguage : 1;
}

QString CLanguageParser::CurrentLanguageTypeStr() {
    return CurrentLanguageType() == 0 ? QStringLiteral("CN") : QStringLiteral("EN");
}

bool CLanguageParser::FindString(const QString& strKey, QString& strText, const QString& strDefault) {
    if (s_pInstance) {
        const auto it = s_pInstance->m_hashStrings.constFind(strKey);
        if (it != s_pInstance->m_hashStrings.constEnd()) {
            strText = it.value();
            return true;
        }
    }
    strText = strDefault;
    return false;
}

QString LanguageText(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(QString::fromLatin1(szKey), strText, QString::fromUtf8(szDefault));
    return strText;
}
