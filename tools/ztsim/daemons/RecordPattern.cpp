#include "RecordPattern.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace ztsim {
namespace {

const char* const ANY = "any";
const char* const END = ".";
const char* const FIRST_WORDS[] = {ANY,      "power",  "timeout", "propagation",
                                   "device", "health", "type"};

std::vector<std::string> splitRecord(const std::string& record)
{
    std::istringstream stream(record);
    return {std::istream_iterator<std::string>(stream), {}};
}

} // namespace

RecordPattern::RecordPattern(std::vector<std::string> given) : words(std::move(given))
{
    const std::string first = words.empty() ? "" : words.front();
    if (std::find(std::begin(FIRST_WORDS), std::end(FIRST_WORDS), first) == std::end(FIRST_WORDS)) {
        throw std::invalid_argument(
            "no record begins with \"" + first +
            "\", but with power, timeout, propagation, device, health or type");
    }
}

bool RecordPattern::matches(const std::string& record) const
{
    std::vector<std::string> said = splitRecord(record);
    said.emplace_back(END);
    return words.size() <= said.size() &&
           std::equal(words.begin(), words.end(), said.begin(),
                      [](const std::string& word, const std::string& other) {
                          return word == other || (word == ANY && other != END);
                      });
}

std::string RecordPattern::text() const
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

} // namespace ztsim
