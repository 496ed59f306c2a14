#include "RecordFile.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace zt {
namespace {

constexpr const char* FIRST_LINE = "# What the clients said to the daemons";
constexpr double LONGEST = 1e9; // seconds
constexpr double NANOSECONDS = 1e9;

bool beginsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// Of "SECONDS WHAT"; nothing for another line.
std::optional<SimulatedRecord> readLine(const std::string& line)
{
    double seconds = 0;
    const char* const end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(line.data(), end, seconds, std::chars_format::fixed);
    if (error != std::errc{} || end - stop < 2 || *stop != ' ' ||
        !(seconds >= 0 && seconds <= LONGEST)) {
        return std::nullopt;
    }
    SimulatedRecord record{};
    record.time = static_cast<std::uint64_t>(std::llround(seconds * NANOSECONDS));
    record.isFromClient = true;
    record.text.assign(stop + 1, end);
    record.server = beginsWith(record.text, "health") ? "health" : "power";
    return record;
}

} // namespace

bool isRecordFile(const std::string& content)
{
    return beginsWith(content, FIRST_LINE);
}

std::vector<SimulatedRecord> readRecordFile(const std::string& content)
{
    std::vector<SimulatedRecord> records;
    std::istringstream lines(content);
    std::string line;
    std::getline(lines, line);
    for (std::size_t number = 2; std::getline(lines, line); ++number) {
        // What a fault befell is a comment, for a script does not say it again.
        auto record = readLine(beginsWith(line, "# ") ? line.substr(2) : line);
        if (!record) {
            throw std::runtime_error("line " + std::to_string(number) + " is no record");
        }
        records.push_back(*std::move(record));
    }
    return records;
}

} // namespace zt
