#include "RecordingUtility.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTFilesAndFolders.h"
#include "ztutil/ZTTick.h"

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>
#include <utility>

#define EXPORTED __attribute__((visibility("default")))

namespace {

// Never destroyed, for objects may print until the very end of the program.

std::vector<std::string>& sections()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<std::string>& lines()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<std::string>& lookups()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<unsigned int>& keys()
{
    static auto* recorded = new std::vector<unsigned int>;
    return *recorded;
}

std::vector<std::string>& fileCalls()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::deque<std::uint64_t>& sizes()
{
    static auto* answers = new std::deque<std::uint64_t>;
    return *answers;
}

std::mutex& printing()
{
    static auto* mutex = new std::mutex;
    return *mutex;
}

void recordFileCall(const std::string& name, const std::string& path)
{
    fileCalls().push_back(name + " " + path);
}

} // namespace

EXPORTED std::vector<std::string> takeFileCalls()
{
    return std::exchange(fileCalls(), {});
}

EXPORTED void answerFileSizes(const std::vector<std::uint64_t>& answers)
{
    sizes().assign(answers.begin(), answers.end());
}

EXPORTED const std::vector<std::string>& recordedSections()
{
    return sections();
}

EXPORTED const std::vector<std::string>& recordedLookups()
{
    return lookups();
}

EXPORTED const std::vector<std::string>& recordedLines()
{
    return lines();
}

EXPORTED const std::vector<unsigned int>& recordedKeys()
{
    return keys();
}

unsigned int ZT::ZTDebug::insertNewDebugSection(const std::string& name)
{
    sections().push_back(name);
    return static_cast<unsigned int>(99 + sections().size());
}

unsigned int ZT::ZTDebug::getDebugSectionKey(const std::string& name)
{
    lookups().push_back(name);
    return static_cast<unsigned int>(999 + lookups().size());
}

int ZT::ZTDebug::debugPrintError(int, unsigned int key, const char* format, ...)
{
    char line[1000];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    const std::lock_guard<std::mutex> lock(printing());
    keys().push_back(key);
    lines().push_back(std::string(format) + " | " + line);
    return RECORDING_PRINT_RESULT;
}

unsigned int ZT::ZTTick::getTickCount()
{
    return 0;
}

bool ZT::ZTFilesAndFolders::isDirectory(const std::string& path)
{
    recordFileCall("isDirectory", path);
    return true;
}

bool ZT::ZTFilesAndFolders::isFile(const std::string& path)
{
    recordFileCall("isFile", path);
    return true;
}

std::string ZT::ZTFilesAndFolders::addSlash(const std::string& path)
{
    recordFileCall("addSlash", path);
    return path + '/';
}

std::uint64_t ZT::ZTFilesAndFolders::getFileSize(const std::string& path, std::string* error)
{
    recordFileCall(error == nullptr ? "getFileSize" : "getFileSize with an error", path);
    if (sizes().empty()) {
        return 0;
    }
    const std::uint64_t size = sizes().front();
    sizes().pop_front();
    return size;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the companion library's signature
bool ZT::ZTFilesAndFolders::eraseFileOrFolder(std::string path, bool recursive,
                                              const std::string& reserved)
{
    recordFileCall(recursive || !reserved.empty() ? "erase more than" : "erase", path);
    return true;
}
