#include "TextFile.h"

#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace ztsim {

std::string readAll(int file)
{
    std::string text;
    char chunk[4096];
    for (ssize_t size = ::read(file, chunk, sizeof chunk); size > 0;
         size = ::read(file, chunk, sizeof chunk)) {
        text.append(chunk, static_cast<std::size_t>(size));
    }
    return text;
}

void forEachLine(const std::string& name, const std::string& text,
                 const std::function<void(const std::string& line)>& take)
{
    std::istringstream lines(text);
    unsigned int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        try {
            take(line);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(name + ':' + std::to_string(number) + ": " + error.what());
        }
    }
}

} // namespace ztsim
