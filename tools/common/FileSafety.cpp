#include "FileSafety.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool IsSameFile(const QString& strA, const QString& strB) {
    if (strA.isEmpty() || strB.isEmpty())
        return false;
    const QString strCanonA = QFileInfo(strA).canonicalFilePath();
    const QString strCanonB = QFileInfo(strB).canonicalFilePath();
    if (!strCanonA.isEmpty() && strCanonA == strCanonB)
        return true;
    // A hard link has a canonical path of its own; only the inode tells.
    struct stat stA {};
    struct stat stB {};
    if (::stat(QFile::encodeName(strA).constData(), &stA) != 0 ||
        ::stat(QFile::encodeName(strB).constData(), &stB) != 0)
        return false;
    return stA.st_dev == stB.st_dev && stA.st_ino == stB.st_ino;
}

QString PartPath(const QString& strFinal) {
    return strFinal + QStringLiteral(".part");
}

namespace velquintools {

bool CreateNewFile(const std::string& strPath, std::string& strError) {
    const int nFd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (nFd < 0) {
        strError = errno == EEXIST
                       ? strPath + " exists (left by an earlier run?); remove it or choose another name"
                       : strPath + ": cannot create: " + std::strerror(errno);
        return false;
    }
    ::close(nFd);
    return true;
}

bool PutInPlace(const std::string& strPart, const std::string& strFinal, bool bReplace,
                std::string& strError) {
    if (!bReplace) {
        // A file that appeared under the final name while the output was
        // written is not replaced either: the rename itself refuses it.
        if (::renameat2(AT_FDCWD, strPart.c_str(), AT_FDCWD, strFinal.c_str(), RENAME_NOREPLACE) == 0)
            return true;
        if (errno == EEXIST) {
            strError = strFinal + " exists; choose another name or allow replacing it";
            return false;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            strError = strFinal + ": cannot rename the finished output: " + std::strerror(errno);
            return false;
        }
        // The file system has no such rename (FAT on a card or a stick): look first.
        if (::access(strFinal.c_str(), F_OK) == 0) {
            strError = strFinal + " exists; choose another name or allow replacing it";
            return false;
        }
    }
    if (std::rename(strPart.c_str(), strFinal.c_str()) != 0) {
        strError = strFinal + ": cannot rename the finished output: " + std::strerror(errno);
        return false;
    }
    return true;
}

JobResult WriteThroughPart(const std::string& strOut, bool bOverwrite,
                           const std::function<JobResult(const std::string& strPart)>& fnWrite) {
    const QString strOutPath = QString::fromStdString(strOut);
    if (!bOverwrite && (QFileInfo::exists(strOutPath) || QFileInfo(strOutPath).isSymLink()))
        return JobResult::Bad(strOut + " exists; choose another name, or allow replacing it (--overwrite).");
    const std::string strPart = PartPath(strOutPath).toStdString();
    std::string strError;
    if (!CreateNewFile(strPart, strError))
        return JobResult::Bad(strError);
    JobResult result = fnWrite(strPart);
    if (result.IsOk() && !PutInPlace(strPart, strOut, bOverwrite, strError))
        result = JobResult::Fail(strError);
    if (!result.IsOk())
        std::remove(strPart.c_str());
    return result;
}

} // namespace velquintools
