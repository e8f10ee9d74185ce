#include "ToolArgs.h"

#include <cstdio>

#include <QCoreApplication>

namespace {

bool LooksLikeOption(const QString& strArg) {
    if (strArg.size() < 2 || !strArg.startsWith(QLatin1Char('-')))
        return false;
    bool bNumber = false;
    strArg.toDouble(&bNumber);
    return !bNumber; // "-1" is a number the player might pass, not an option
}

} // namespace

ToolArgs::ToolArgs(const QString& strToolName, const QString& strVersion, const QString& strDescription)
    : m_strToolName(strToolName), m_strVersion(strVersion) {
    m_parser.setApplicationDescription(strDescription);
    m_parser.addHelpOption();
    m_parser.addVersionOption();
}

QStringList ToolArgs::ArgsOf(int argc, char** argv) {
    QStringList lstArgs;
    for (int i = 0; i < argc; ++i)
        lstArgs << QString::fromLocal8Bit(argv[i]);
    return lstArgs;
}

bool ToolArgs::Parse(const QStringList& lstArgs) {
    m_strError.clear();
    const QStringList lstRest = lstArgs.mid(1);
    m_bHeadless = false;
    for (const QString& strArg : lstRest) {
        if (LooksLikeOption(strArg))
            m_bHeadless = true;
    }
    if (!m_bHeadless)
        return ParsePlayerForm(lstRest);
    // QCommandLineParser::parse keeps the program name out of the positionals.
    if (!m_parser.parse(lstArgs)) {
        m_strError = m_parser.errorText();
        return false;
    }
    return true;
}

bool ToolArgs::ParsePlayerForm(const QStringList& lstPositional) {
    bool bOk = true;
    switch (lstPositional.size()) {
    case 0:
        return true;
    case 1: {
        // A lone argument: a language number, or a file dropped on the tool.
        const int nLanguage = lstPositional[0].toInt(&bOk);
        if (bOk)
            m_nLanguage = nLanguage;
        else
            m_strFile = lstPositional[0];
        return true;
    }
    case 2:
    case 3: {
        m_nLanguage = lstPositional.first().toInt(&bOk);
        bool bSkinOk = false;
        m_nSkin = lstPositional.last().toInt(&bSkinOk);
        if (!bOk || !bSkinOk) {
            m_strError = QStringLiteral("expected LANGUAGE [FILE] SKIN as numbers, or options (see --help)");
            return false;
        }
        if (lstPositional.size() == 3)
            m_strFile = lstPositional[1];
        // Only two languages exist; anything else is shown in English.
        if (m_nLanguage != 0)
            m_nLanguage = 1;
        if (m_nSkin < 0)
            m_nSkin = 0;
        return true;
    }
    default:
        m_strError = QStringLiteral("too many arguments (see --help)");
        return false;
    }
}

bool ToolArgs::WantsHelp() const {
    return m_bHeadless && m_parser.isSet(QStringLiteral("help"));
}

bool ToolArgs::WantsVersion() const {
    return m_bHeadless && m_parser.isSet(QStringLiteral("version"));
}

QString ToolArgs::HelpText() const {
    return m_parser.helpText() + QStringLiteral("\nWithout options: %1 LANGUAGE [FILE] SKIN opens the window "
                                                "(language 0 Chinese, 1 English).\n"
                                                "Exit codes: 0 done, 1 bad input, 2 failure.\n")
                                     .arg(m_strToolName);
}

QString ToolArgs::VersionText() const {
    return m_strToolName + QLatin1Char(' ') + m_strVersion;
}

int ToolArgs::Report(const QString& strText, int nCode) const {
    const QByteArray baLine =
        (m_strToolName + QStringLiteral(": ") + strText + QLatin1Char('\n')).toLocal8Bit();
    std::fputs(baLine.constData(), stderr);
    std::fflush(stderr);
    return nCode;
}

int ToolArgs::RunWithoutWindow(int argc, char** argv, ToolArgs& args, bool bParsed,
                               const std::function<int(ToolArgs&)>& fnRun) {
    QCoreApplication app(argc, argv);
    if (!bParsed)
        return args.Report(args.ErrorText(), kExitBadInput);
    if (args.WantsHelp()) {
        std::fputs(args.HelpText().toLocal8Bit().constData(), stdout);
        return kExitOk;
    }
    if (args.WantsVersion()) {
        std::fprintf(stdout, "%s\n", args.VersionText().toLocal8Bit().constData());
        return kExitOk;
    }
    return fnRun(args);
}
