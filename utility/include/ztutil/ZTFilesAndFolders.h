#ifndef ZTUTIL_ZTFILESANDFOLDERS_H
#define ZTUTIL_ZTFILESANDFOLDERS_H

#include "ztutil/ztUtilExport.h"

#include <cstdint>
#include <string>

namespace ZT {

/// Asks about files and folders and deletes them. Safe from any thread; throws nothing but
/// std::bad_alloc. The file system may have changed by the time an answer is used. At a path with a
/// NUL in it there is nothing.
class ZTUTIL_API ZTFilesAndFolders {
public:
    /// Tell whether there is a folder, or a regular file, at the path, links followed. False also
    /// when that cannot be found out.
    static bool isDirectory(const std::string& path);
    static bool isFile(const std::string& path);

    /// Returns the path with a trailing "/", added only where none is present. Beware: the empty
    /// path becomes "/".
    static std::string addSlash(const std::string& path);

    /// Returns the size in bytes of the regular file at the path, links followed. On failure it
    /// returns UINT64_MAX and puts the reason into *error, which is otherwise left alone and may be
    /// null.
    static std::uint64_t getFileSize(const std::string& path, std::string* error);

    /// Deletes the file, link or empty folder at the path; a link's target stays. With "recursive"
    /// it deletes a folder with all it holds, following no link; if that fails half way, what was
    /// deleted stays deleted. A trailing "/" does not count. Refused are the root folder, a path
    /// that ends in "." or "..", and anything but an empty "reserved".
    ///
    /// Returns true if it deleted what was at the path, false otherwise, also if nothing was there.
    static bool eraseFileOrFolder(std::string path, bool recursive, const std::string& reserved);
};

} // namespace ZT

#endif
