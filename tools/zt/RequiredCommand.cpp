#include "RequiredCommand.h"

#include "Failure.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

namespace zt {
namespace {

bool isOnPath(const std::string& name, const char* path)
{
    std::istringstream folders(path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access(((folder.empty() ? "." : folder) + '/' + name).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void requireCommand(const std::string& name, const std::string& package)
{
    const char* const path = std::getenv("PATH"); // without it, the shell has one of its own
    if (path != nullptr && !isOnPath(name, path)) {
        throw Failure(FAILED, "there is no " + name + " on the PATH",
                      "the package " + package + ", or a PATH with /usr/sbin and /sbin");
    }
}

} // namespace zt
