#include "bench/costs/Operations.h"
#include "bench/support/require.h"
#include "tests/support/TemporaryFolder.h"
#include "ztutil/ZTDebug.h"

#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

const char MESSAGE[] = "sendMessage() failed. Endpoint not connected.";

// Takes the place of standard error, where the lines go.
class File {
public:
    File() : descriptor(open((folder / "log").c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666))
    {
        dup2(descriptor, STDERR_FILENO);
    }
    ~File() { close(descriptor); }

    File(const File&) = delete;
    File& operator=(const File&) = delete;

private:
    const TemporaryFolder folder;
    const int descriptor;
};

void print(Meter& meter, std::size_t level)
{
    const File file;
    const unsigned int section = ZT::ZTDebug::insertNewDebugSection("zt_bench");
    meter.count([&] {
        require(ZT::ZTDebug::debugPrintError(static_cast<int>(level), section, "%s %d", MESSAGE,
                                             12345) == 0,
                "a line");
    });
}

void printByHand(Meter& meter, std::size_t /*level*/)
{
    const File file;
    meter.count([] {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        tm local{};
        localtime_r(&now.tv_sec, &local);
        char line[256];
        const int size = std::snprintf(
            line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d.%03ld %d %s %s %d\n",
            local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
            local.tm_sec, now.tv_nsec / 1000000, 1, "zt_bench", MESSAGE, 12345);
        require(write(STDERR_FILENO, line, static_cast<std::size_t>(size)) == size, "write");
    });
}

const Operations ADDED({
    {"diagnostics: a line", print, 1},
    {"diagnostics: a line, by hand", printByHand, 1},
    {"diagnostics: a line that is not shown", print, 4},
});

} // namespace
