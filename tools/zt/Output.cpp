#include "Output.h"

#include "Failure.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

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
    const char* const digits = "0123456789abcdef";
    std::string escaped;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) {
            escaped += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
        } else if (character == '\\') {
            escaped += "\\\\";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

void printLine(const std::string& line)
{
    if (std::fputs((line + '\n').c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        failToPrint(errno);
    }
}

void printJson(const Json& object)
{
    // What the device says need not be UTF-8.
    printLine(object.dump(-1, ' ', false, Json::error_handler_t::replace));
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
    std::fputs(("zt: " + line + '\n').c_str(), stderr);
}

} // namespace zt
