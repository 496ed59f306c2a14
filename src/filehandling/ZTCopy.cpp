#include "zt/ZTCopy.h"

#include "zt/ZTFileHandlingInterface.h"

#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace ZT {

namespace {

const std::size_t CHUNK_SIZE = 1024;
const mode_t TARGET_MODE = 0664;
const unsigned int FLUSHED_BEYOND_PERCENT = 50;

// Neither divides by 0 nor converts what an unsigned int cannot hold, for what that gives depends
// on the processor.
unsigned int percentOf(unsigned int offset, unsigned int total)
{
    const unsigned int largest = std::numeric_limits<unsigned int>::max();
    if (total == 0) {
        return offset == 0 ? 0 : largest;
    }
    const double percent = 100.0 / static_cast<double>(total) * static_cast<double>(offset);
    return percent < largest ? static_cast<unsigned int>(percent) : largest;
}

} // namespace

ZTCopy::ZTCopy()
{
    init();
}

ZTCopy::~ZTCopy()
{
    init();
}

void ZTCopy::init()
{
    interface = nullptr;
    offset = 0;
    total = 0;
}

void ZTCopy::reset()
{
    init();
}

void ZTCopy::setOffsetAndTotal(unsigned int newOffset, unsigned int newTotal)
{
    offset = newOffset;
    total = newTotal;
}

void ZTCopy::setInterface(ZTFileHandlingInterface* newInterface)
{
    interface = newInterface;
}

int ZTCopy::copy(const std::string& source, const std::string& target)
{
    umask(0);
    const int input = open(source.c_str(), O_RDONLY);
    const int output = open(target.c_str(), O_WRONLY | O_CREAT, TARGET_MODE);
    if (input == -1 || output == -1) {
        return 16;
    }
    const bool copied = copyContent(input, output);
    if (copied) {
        fsync(output);
    }
    close(input);
    close(output);
    return copied ? 0 : 16;
}

bool ZTCopy::copyContent(int input, int output)
{
    unsigned int lastPercent = 0;
    char chunk[CHUNK_SIZE];
    ssize_t count = 0;
    while ((count = read(input, chunk, sizeof chunk)) >= 1) {
        const auto length = static_cast<unsigned int>(count);
        if (zt_write(output, chunk, length) == -1) {
            return false;
        }
        if (interface != nullptr) {
            offset += length;
            const unsigned int percent = percentOf(offset, total);
            if (percent > lastPercent) {
                lastPercent = percent;
                interface->copyProgress(percent);
            }
            if (percent > FLUSHED_BEYOND_PERCENT) {
                fsync(output);
            }
        }
    }
    return true;
}

int ZTCopy::zt_write(int fd, const void* data, unsigned int length)
{
    const auto* rest = static_cast<const char*>(data);
    const char* const end = rest + length;
    while (rest != end) {
        const ssize_t count = write(fd, rest, static_cast<std::size_t>(end - rest));
        if (count == -1) {
            return -1;
        }
        rest += count;
    }
    return static_cast<int>(length);
}

} // namespace ZT
