#include "CVelquinDlg.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QPluginLoader>
#include <QStringList>
#include <QTextCodec>

#include <memory>

namespace {

// The skin library may also come as a plugin in the "plugins" folder; it is
// optional, so only a file that is really there is handed to the loader.
QString FindQuilmarkPlugin(const QString& strAppDir) {
    const QDir dirPlugins(strAppDir + QStringLiteral("/plugins"));
    const QStringList lstFiles =
        dirPlugins.entryList(QStringList() << QStringLiteral("*Quilmark*"), QDir::Files);
    for (const QString& strName : lstFiles) {
        const QString strPath = dirPlugins.absoluteFilePath(strName);
        if (QLibrary::isLibrary(strPath))
            return strPath;
    }
    return QString();
}

} // namespace

int main(int argc, char* argv[]) {
    // The engine draws into one native child per play window; without this flag Qt
    // would turn every sibling into a native window as well.
    QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
    // The sound output would otherwise turn SIGINT and SIGTERM into events that
    // nobody reads, and the player could no longer be ended by them.
    if (!qEnvironmentVariableIsSet("SDL_NO_SIGNAL_HANDLERS"))
        qputenv("SDL_NO_SIGNAL_HANDLERS", "1");
    QApplication app(argc, argv);
    // Names the user's configuration folder (~/.config/Velquin) used when the
    // program's own folder is not writable.
    QCoreApplication::setApplicationName(QStringLiteral("Velquin"));

    const QString strAppDir = QCoreApplication::applicationDirPath();
    QCoreApplication::addLibraryPath(QDir::toNativeSeparators(strAppDir) + QDir::separator() +
                                     QStringLiteral("plugins") + QDir::separator());

    // Paths on the command line are in the system's own encoding (UTF-8 on
    // most systems), read before the program's narrow-string codec is set.
    QStringList lstArgPaths;
    for (int i = 1; i < argc; ++i)
        lstArgPaths << QString::fromLocal8Bit(argv[i]);

    // The program's other narrow strings (keys, configuration) are Gb18030.
    QTextCodec* pCodec = QTextCodec::codecForName("Gb18030");
    if (pCodec)
        QTextCodec::setCodecForLocale(pCodec);

    int nResult = -1;
    std::unique_ptr<QPluginLoader> pLoader;
    {
        CVelquinDlg dlg(nullptr);
        if (!dlg.Init())
            return -1;

        const QString strPlugin = FindQuilmarkPlugin(strAppDir);
        if (!strPlugin.isEmpty()) {
            pLoader = std::make_unique<QPluginLoader>(strPlugin);
            if (!pLoader->isLoaded())
                pLoader->load(); // a failure changes nothing
        }

        dlg.show();
        dlg.RestorePlaylist();

        if (!lstArgPaths.isEmpty())
            dlg.OpenFileList(lstArgPaths);

        nResult = app.exec();
        dlg.UnInit();
        // Torn down loader first, then the dialog; destroying a loader does not unload.
        pLoader.reset();
    }
    return nResult;
}
