// A diagnostic line that goes to a file, at once, and one that is not shown.

#include "bench/support/Pinning.h"
#include "bench/support/require.h"
#include "tests/support/TemporaryFolder.h"
#include "ztutil/ZTDebug.h"

#include <benchmark/benchmark.h>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Each line says when it was printed, its level and its section.

class FloorLog {
public:
    explicit FloorLog(const std::string& path) : file(open(path.c_str(), FLAGS, 0666)) {}
    ~FloorLog() { close(file); }

    FloorLog(const FloorLog&) = delete;
    FloorLog& operator=(const FloorLog&) = delete;

    void print(const char* message, int number) const
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        tm local{};
        localtime_r(&now.tv_sec, &local);
        char line[256];
        const int size = std::snprintf(
            line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d.%03ld %d %s %s %d\n",
            local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
            local.tm_sec, now.tv_nsec / 1000000, 1, "zt_bench", message, number);
        require(write(file, line, static_cast<std::size_t>(size)) == size, "write");
    }

private:
    static const int FLAGS = O_WRONLY | O_APPEND | O_CREAT;

    const int file;
};

// Standard error, where the lines go, is the file for so long.
class ZtLog {
public:
    explicit ZtLog(const std::string& path) : standardError(dup(STDERR_FILENO))
    {
        const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666);
        dup2(file, STDERR_FILENO);
        close(file);
    }

    ~ZtLog()
    {
        dup2(standardError, STDERR_FILENO);
        close(standardError);
    }

    ZtLog(const ZtLog&) = delete;
    ZtLog& operator=(const ZtLog&) = delete;

    void print(const char* message, int number) const
    {
        require(ZT::ZTDebug::debugPrintError(1, section, "%s %d", message, number) == 0, "a line");
    }

    void printUnseen(const char* message, int number) const
    {
        ZT::ZTDebug::debugPrintError(4, section, "%s %d", message, number);
    }

private:
    const int standardError;
    const unsigned int section = ZT::ZTDebug::insertNewDebugSection("zt_bench");
};

class SpdlogLog {
public:
    explicit SpdlogLog(const std::string& path) : log(spdlog::basic_logger_st("zt_bench", path))
    {
        log->set_pattern("%Y-%m-%d %H:%M:%S.%e %l %n %v");
        log->flush_on(spdlog::level::err);
    }

    ~SpdlogLog() { spdlog::drop("zt_bench"); }

    SpdlogLog(const SpdlogLog&) = delete;
    SpdlogLog& operator=(const SpdlogLog&) = delete;

    void print(const char* message, int number) const { log->error("{} {}", message, number); }
    void printUnseen(const char* message, int number) const
    {
        log->debug("{} {}", message, number);
    }

private:
    const std::shared_ptr<spdlog::logger> log;
};

template <class Log>
void diagnosticToFile(benchmark::State& state)
{
    pinTo(0);
    const TemporaryFolder folder;
    const Log log(folder / "log");
    int number = 0;
    for ([[maybe_unused]] auto _ : state) {
        log.print("sendMessage() failed. Endpoint not connected.", ++number);
    }
}

template <class Log>
void diagnosticSuppressed(benchmark::State& state)
{
    pinTo(0);
    const TemporaryFolder folder;
    const Log log(folder / "log");
    int number = 0;
    for ([[maybe_unused]] auto _ : state) {
        log.printUnseen("sendMessage() failed. Endpoint not connected.", ++number);
    }
}

} // namespace

BENCHMARK_TEMPLATE(diagnosticToFile, FloorLog)->UseRealTime();
BENCHMARK_TEMPLATE(diagnosticToFile, ZtLog)->UseRealTime();
BENCHMARK_TEMPLATE(diagnosticToFile, SpdlogLog)->UseRealTime();

BENCHMARK_TEMPLATE(diagnosticSuppressed, ZtLog)->UseRealTime();
BENCHMARK_TEMPLATE(diagnosticSuppressed, SpdlogLog)->UseRealTime();
