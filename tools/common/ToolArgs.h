// The arguments of a companion tool. Two forms:
//
//  - the player's: positional numbers as the player passes them,
//      TOOL LANGUAGE [FILE] SKIN
//    (language 0 Chinese, 1 English; the file the player's window shows, if
//    any; the skin index). It opens the window. With no argument at all the
//    window opens in English with the default skin.
//  - the command line: options (--in, --out, ... each tool adds its own to
//    Parser()). It runs without a window: messages go to stderr, and the exit
//    code is 0 when all went well, 1 for bad input, 2 for a failure.
#pragma once

#include <functional>

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

class ToolArgs {
public:
    enum ExitCode { kExitOk = 0, kExitBadInput = 1, kExitFailure = 2 };

    ToolArgs(const QString& strToolName, const QString& strVersion, const QString& strDescription);

    // Add the tool's options here before Parse(); --help and --version are
    // there already.
    QCommandLineParser& Parser() { return m_parser; }

    // lstArgs: the program name first, as QCoreApplication::arguments(). False
    // for arguments that fit neither form; ErrorText() says why.
    bool Parse(const QStringList& lstArgs);
    // The arguments of main() before any application object exists, so that
    // the tool can choose between a window and none.
    static QStringList ArgsOf(int argc, char** argv);

    bool IsHeadless() const { return m_bHeadless; }
    bool WantsHelp() const;
    bool WantsVersion() const;
    QString HelpText() const;
    QString VersionText() const;
    QString ErrorText() const { return m_strError; }

    // The player's form; defaults when the command line was used.
    int Language() const { return m_nLanguage; }
    QString File() const { return m_strFile; }
    int Skin() const { return m_nSkin; }

    const QString& ToolName() const { return m_strToolName; }

    // Writes "TOOL: text" to stderr and answers nCode, for `return Report(...)`.
    int Report(const QString& strText, int nCode) const;

    // The command line's run, for IsHeadless() or a failed Parse() (bParsed):
    // a bad command line, help, version, or else the work through fnRun,
    // with the core application FFmpeg's and Qt's file calls need. Answers
    // the exit code.
    static int RunWithoutWindow(int argc, char** argv, ToolArgs& args, bool bParsed,
                                const std::function<int(ToolArgs&)>& fnRun);

private:
    bool ParsePlayerForm(const QStringList& lstPositional);

    QString m_strToolName;
    QString m_strVersion;
    QCommandLineParser m_parser;
    bool m_bHeadless = false;
    int m_nLanguage = 1;
    QString m_strFile;
    int m_nSkin = 0;
    QString m_strError;
};
