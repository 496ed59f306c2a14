#ifndef ZTUTIL_WRITETOFILE_H
#define ZTUTIL_WRITETOFILE_H

#include "ztutil/ztUtilExport.h"

#include <string>

namespace ZT {

/// Replaces the content of the file at the path by the value as decimal text, without a newline, in
/// one write(2), as the settings under /proc and /sys want it. A missing file is created with mode
/// 0666 less the umask. Safe from any thread; throws nothing.
///
/// Returns true if the file was opened, written and closed without an error. On false its old
/// content may be gone. A path with a NUL in it is no file's: false.
ZTUTIL_API bool writeToFile(const std::string& path, int value);

} // namespace ZT

#endif
