#include "Output.h"

#include "Failure.h"
#include "common/Printable.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace zt {
namespace {

std::string textOf(const Json& value)
{
    if (value.is_null()) {
        return "-";
    }
    return value.is_string() ? escape(value.get<std::string>()) : value.dump();
}

void failToPrint(int error)
{
    if (error == EPIPE) {
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
    }
    throw Failure(FAILED, std::string("cannot write the output: ") + std::strerror(error),
                  "see where standard output leads, and whether there is room");
}

} // namespace

std::string escape(const std::string& text)
{
    std::string escaped;
    for (const char character : text) {
        escaped += character == '\\' ? "\\\\" : std::string(1, character);
    }
    return tools::printable(escaped);
}

void printLine(const std::string& line)
{
    const std::string text = line + '\n';
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) { // after a signal the line is ended first
            failToPrint(errno);
        }
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
}

std::string inJson(const Json& object)
{
    // What the device says need not be UTF-8, and may hold what a terminal would obey.
    return object.dump(-1, ' ', true, Json::error_handler_t::replace);
}

void printJson(const Json& object)
{
    printLine(inJson(object));
}

void print(const Json& fields, bool asJson)
{
    if (asJson) {
        printJson(fields);
        return;
    }
    std::size_t width = 0;
    for (const auto& field : fields.items()) {
        width = std::max(width, field.key().size());
    }
    for (const auto& field : fields.items()) {
        const std::string text = textOf(field.value());
        std::string line = field.key();
        if (!text.empty()) {
            line.resize(width + 2, ' ');
            line += text;
        }
        printLine(line);
    }
}

void printSingle(const Json& field, bool asJson)
{
    if (asJson) {
        printJson(field);
    } else {
        printLine(textOf(field.front()));
    }
}

void complain(const std::string& line)
{
    std::fputs(("zt: " + tools::printable(line) + '\n').c_str(), stderr);
}

} // namespace zt
