// Guards the tools put around the files they write: an output must never be
// its own input, and a half-written output never carries the final name.
#pragma once

#include <functional>
#include <string>

#include <QString>

#include "ToolJob.h"

// True when both paths name one existing file: the same canonical path, or the
// same device and inode (a symlink or a hard link to the other). False when
// either does not exist, since a file that is not there cannot be destroyed.
bool IsSameFile(const QString& strA, const QString& strB);

// Where an output is written until it is complete: "<final>.part", created
// exclusively and renamed into place only on success, so that a failure or a
// cancel removes the part and nothing else.
QString PartPath(const QString& strFinal);

namespace velquintools {

// Makes strPath as a new, empty file. An existing file of that name (a part
// left by an earlier run, or whatever else) is refused, never reused: false
// with the reason in strError.
bool CreateNewFile(const std::string& strPath, std::string& strError);
// Renames the finished strPart to strFinal. A file of that name is replaced
// only when bReplace; else, or when the rename fails, false with the reason
// in strError (strPart stays for the caller to remove).
bool PutInPlace(const std::string& strPart, const std::string& strFinal, bool bReplace,
                std::string& strError);

// Writes an output so that no file is put at risk: an existing strOut is
// refused unless bOverwrite; fnWrite writes to PartPath(strOut), created anew,
// which takes the final name only when fnWrite succeeded and is removed
// otherwise.
JobResult WriteThroughPart(const std::string& strOut, bool bOverwrite,
                           const std::function<JobResult(const std::string& strPart)>& fnWrite);

} // namespace velquintools
