#include "ztutil/ZTDebug.h"

#include "ztutil/ZTStringTokenizer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <string_view>
#include <syslog.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ZT {
namespace {

const int FAILURE_LEVEL = 1;

// Lines above it are not shown. Until the environment has been read none is above it.
std::atomic<int> shownLevel{INT_MAX};

std::string environment(const char* name)
{
    const char* value = secure_getenv(name);
    return value != nullptr ? value : "";
}

int levelOf(std::string_view text)
{
    int level = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, level);
    return error == std::errc{} && stop == end ? level : FAILURE_LEVEL;
}

struct Section {
    std::string name;
    bool wanted;
};

class Sections {
public:
    explicit Sections(const std::string& list)
    {
        if (!list.empty()) {
            wanted = ZTStringTokenizer::tokenize(list, ",");
        }
        append("?");
    }

    unsigned int insert(const std::string& name)
    {
        const std::lock_guard lock(mutex);
        const auto known = keys.find(name);
        if (known != keys.end()) {
            return known->second;
        }
        append(name);
        return keys[name] = static_cast<unsigned int>(sections.size() - 1);
    }

    unsigned int keyOf(const std::string& name)
    {
        const std::lock_guard lock(mutex);
        const auto known = keys.find(name);
        return known != keys.end() ? known->second : 0;
    }

    const Section& at(unsigned int key)
    {
        const std::lock_guard lock(mutex);
        return key < sections.size() ? sections[key] : sections.front();
    }

    // Around a fork(), so that the child finds them whole.
    void hold() { mutex.lock(); }
    void letGo() { mutex.unlock(); }

private:
    void append(const std::string& name)
    {
        const bool listed = std::find(wanted.begin(), wanted.end(), name) != wanted.end();
        sections.push_back({name, wanted.empty() || listed});
    }

    std::mutex mutex;
    std::vector<std::string> wanted; // empty: all
    std::map<std::string, unsigned int> keys;
    std::deque<Section> sections; // by key; a deque, for its elements stay where they are
};

char* putNumber(char* end, int number, int digits)
{
    for (int digit = digits; digit-- > 0; number /= 10) {
        end[digit] = static_cast<char>('0' + number % 10);
    }
    return end + digits;
}

// The local time as text. Most lines are of the same second as the one before, so its text is kept.
class LocalTime {
public:
    char* put(char* end)
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        if (now.tv_sec != second) {
            keep(now.tv_sec);
        }
        end = std::copy_n(text, sizeof text, end);
        *end++ = '.';
        return putNumber(end, static_cast<int>(now.tv_nsec / 1000000), 3);
    }

    void forget() { second = NEVER; }

private:
    static constexpr std::time_t NEVER = std::numeric_limits<std::time_t>::min();

    // Digit by digit, for strftime() costs more than all else of a line.
    void keep(std::time_t newSecond)
    {
        tm local{};
        localtime_r(&newSecond, &local);
        const struct {
            char before;
            int number;
        } fields[] = {{'-', local.tm_mon + 1},
                      {'-', local.tm_mday},
                      {' ', local.tm_hour},
                      {':', local.tm_min},
                      {':', local.tm_sec}};
        char* end = putNumber(text, local.tm_year + 1900, 4);
        for (const auto& field : fields) {
            *end++ = field.before;
            end = putNumber(end, field.number, 2);
        }
        second = newSecond;
    }

    std::time_t second = NEVER;
    char text[sizeof "2026-11-21 09:12:13" - 1];
};

char* putText(char* end, std::string_view text)
{
    return end + text.copy(end, text.size());
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// A text as printf() has it, on the stack if it is of usual length.
class Text {
public:
    Text(const char* format, std::va_list arguments)
    {
        std::va_list again;
        va_copy(again, arguments);
        char* allocated = nullptr;
        length = vsnprintf(usual, sizeof usual, format, arguments);
        if (length >= static_cast<int>(sizeof usual)) {
            length = vasprintf(&allocated, format, again);
        }
        va_end(again);
        larger.reset(allocated);
        if (length < 0) {
            throw std::system_error(errno, std::generic_category());
        }
    }

    const char* get() const { return larger == nullptr ? usual : larger.get(); }
    std::string_view view() const { return {get(), static_cast<std::size_t>(length)}; }

private:
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };

    char usual[512];
    std::unique_ptr<char, Free> larger;
    int length;
};

// What is printed of a text, on the stack if it is of usual length.
class Line {
public:
    Line(int level, std::string_view section, std::string_view text)
        : larger(roomFor(section, text) > sizeof usual ? new char[roomFor(section, text)]
                                                       : nullptr),
          start(larger == nullptr ? usual : larger.get())
    {
        char* const begin = start + TIME_SIZE;
        end = std::to_chars(begin, begin + MOST_DIGITS, level).ptr;
        *end++ = ' ';
        end = putText(end, section);
        *end++ = ' ';
        end = putText(end, text);
        std::replace_if(begin, end, isControl, ' ');
    }

    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    // With the time before it, at once.
    bool write(int descriptor, LocalTime& time)
    {
        *time.put(start) = ' ';
        *end = '\n';
        const auto size = static_cast<std::size_t>(end + 1 - start);
        return ::write(descriptor, start, size) == static_cast<ssize_t>(size);
    }

    const char* withoutTime()
    {
        *end = '\0';
        return start + TIME_SIZE;
    }

private:
    static constexpr std::size_t TIME_SIZE = sizeof "2026-11-21 09:12:13.123 " - 1;
    static constexpr std::size_t MOST_DIGITS = 10; // of a level

    static std::size_t roomFor(std::string_view section, std::string_view text)
    {
        return TIME_SIZE + MOST_DIGITS + 1 + section.size() + 1 + text.size() + 1;
    }

    char usual[640];
    const std::unique_ptr<char[]> larger;
    char* const start;
    char* end;
};

// The place the environment names.
class Destination {
public:
    explicit Destination(const std::string& name) : name(name.empty() ? "stderr" : name) {}

    bool print(int level, std::string_view section, std::string_view text)
    {
        Line line(level, section, text);
        if (name == "syslog") {
            syslog(level == FAILURE_LEVEL ? LOG_ERR : LOG_DEBUG, "%s", line.withoutTime());
            return true;
        }
        if (descriptor < 0) {
            descriptor = name == "stderr" ? STDERR_FILENO : openFile();
        }
        return line.write(descriptor, time);
    }

    void forgetTime() { time.forget(); }

private:
    int openFile()
    {
        const int file = open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        if (file >= 0) {
            return file;
        }
        const std::string reason = std::generic_category().message(errno);
        const std::string text = "cannot open " + name + " (" + reason + "), using stderr";
        Line(FAILURE_LEVEL, "ZTDebug", text).write(STDERR_FILENO, time);
        return STDERR_FILENO;
    }

    const std::string name;
    int descriptor = -1; // until the first line
    LocalTime time;
};

// Who is in the sink.
class Caller {
public:
    explicit Caller(std::thread::id& noted) : noted(noted) { noted = std::this_thread::get_id(); }
    ~Caller() { noted = std::thread::id(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

private:
    std::thread::id& noted;
};

class Output {
public:
    explicit Output(const std::string& destination) : destination(destination) {}

    bool print(int level, const std::string& section, const Text& text)
    {
        const std::lock_guard lock(mutex);
        if (sink == nullptr || inSink == std::this_thread::get_id()) {
            return destination.print(level, section, text.view());
        }
        const Caller calling(inSink);
        sink(context, level, section.c_str(), text.get());
        return true;
    }

    void setSink(ZTDebug::Sink newSink, void* newContext)
    {
        const std::lock_guard lock(mutex);
        sink = newSink;
        context = newContext;
    }

    // In a child made by fork(), where the thread that held the lock and kept a second is not.
    void forgetThreads()
    {
        new (&mutex) std::recursive_mutex;
        destination.forgetTime();
    }

private:
    // Held for a whole line, for a pipe may mix long writes. Recursive, for a sink may call back.
    std::recursive_mutex mutex;
    ZTDebug::Sink sink = nullptr;
    void* context = nullptr;
    std::thread::id inSink;
    Destination destination;
};

struct Debug {
    Debug();

    Sections sections{environment("ZT_DEBUG_SECTIONS")};
    Output output{environment("ZT_DEBUG_OUTPUT")};
};

// Never destroyed, for static destructors print too.
Debug& debug()
{
    static Debug& instance = *new Debug;
    return instance;
}

Debug::Debug()
{
    shownLevel = levelOf(environment("ZT_DEBUG_LEVEL"));
    pthread_atfork([] { debug().sections.hold(); }, [] { debug().sections.letGo(); },
                   [] {
                       debug().sections.letGo();
                       debug().output.forgetThreads();
                   });
}

bool isShown(int level)
{
    return level <= shownLevel.load(std::memory_order_relaxed);
}

bool print(int level, unsigned int key, const char* format, std::va_list arguments)
{
    const Section& section = debug().sections.at(key);
    if (!isShown(level) || !section.wanted) {
        return true;
    }
    return debug().output.print(level, section.name, Text(format, arguments));
}

int printResult(int level, unsigned int key, const char* format, std::va_list arguments)
{
    const int callersErrno = errno;
    int result = 1;
    try {
        result = print(level, key, format, arguments) ? 0 : 1;
    } catch (const std::exception&) {
    }
    errno = callersErrno;
    return result;
}

} // namespace

unsigned int ZTDebug::insertNewDebugSection(const std::string& name)
{
    return debug().sections.insert(name);
}

unsigned int ZTDebug::getDebugSectionKey(const std::string& name)
{
    return debug().sections.keyOf(name);
}

int ZTDebug::debugPrintError(int level, unsigned int key, const char* format, ...)
{
    level = std::max(level, FAILURE_LEVEL);
    if (!isShown(level)) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const int result = printResult(level, key, format, arguments);
    va_end(arguments);
    return result;
}

void ZTDebug::setSink(Sink sink, void* context)
{
    debug().output.setSink(sink, context);
}

void ZTDebug::setLevel(int level)
{
    debug(); // reads the environment, which must not come after
    shownLevel = level;
}

} // namespace ZT
