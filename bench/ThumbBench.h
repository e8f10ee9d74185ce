// Thumbnails and file facts for every file of a folder through the playlist's
// thumbnail thread, timed, then ffmpegthumbnailer on the same files (first
// frame, 96 pixels), timed the same way.
#pragma once

#include <QString>
#include <QStringList>

class ThumbBench {
public:
    explicit ThumbBench(QString strDir);
    // Prints the figures; 0 on success.
    int Run();

private:
    struct Ours {
        bool bOk = false;
        double dSeconds = 0.0;
        int nPictures = 0;
        int nInvalid = 0;
        int nEncrypted = 0;
    };
    struct Theirs {
        bool bOk = false;
        QString strError;
        double dSeconds = 0.0;
        int nFailed = 0;
    };
    Ours RunOurs(const QStringList& files) const;
    Theirs RunTheirs(const QStringList& files) const;

    QString m_strDir;
};
