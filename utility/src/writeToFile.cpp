#include "ztutil/writeToFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace ZT {

bool writeToFile(const std::string& path, int value)
{
    if (path.find('\0') != std::string::npos) { // what stands before it is another file
        return false;
    }
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return false;
    }
    const std::string text = std::to_string(value);
    const bool written =
        write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const bool closed = close(descriptor) == 0;
    return written && closed;
}

} // namespace ZT
