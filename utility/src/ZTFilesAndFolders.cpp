#include "ztutil/ZTFilesAndFolders.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace ZT {
namespace {

// With a trailing slash the system would look through a link at the path, and so delete what the
// link's target holds. The root folder's path is left empty, which names nothing.
fs::path withoutTrailingSlashes(std::string path)
{
    path.erase(path.find_last_not_of('/') + 1);
    return path;
}

bool endsInDots(const fs::path& path)
{
    return path.filename() == "." || path.filename() == "..";
}

// What stands before a NUL is all that the system would see, and another path.
bool holdsNul(const std::string& path)
{
    return path.find('\0') != std::string::npos;
}

} // namespace

bool ZTFilesAndFolders::isDirectory(const std::string& path)
{
    std::error_code error;
    return !holdsNul(path) && fs::is_directory(path, error);
}

bool ZTFilesAndFolders::isFile(const std::string& path)
{
    std::error_code error;
    return !holdsNul(path) && fs::is_regular_file(path, error);
}

std::string ZTFilesAndFolders::addSlash(const std::string& path)
{
    return !path.empty() && path.back() == '/' ? path : path + '/';
}

std::uint64_t ZTFilesAndFolders::getFileSize(const std::string& path, std::string* error)
{
    std::error_code failure = std::make_error_code(std::errc::invalid_argument);
    const std::uintmax_t size = holdsNul(path) ? 0 : fs::file_size(path, failure);
    if (failure && error != nullptr) {
        *error = failure.message();
    }
    return failure ? UINT64_MAX : size;
}

bool ZTFilesAndFolders::eraseFileOrFolder(std::string path, bool recursive,
                                          const std::string& reserved)
{
    const fs::path target = withoutTrailingSlashes(std::move(path));
    if (!reserved.empty() || holdsNul(target) || target.empty() || endsInDots(target)) {
        return false;
    }

    std::error_code error;
    const std::uintmax_t deleted =
        recursive ? fs::remove_all(target, error) : fs::remove(target, error);
    return !error && deleted > 0;
}

} // namespace ZT
