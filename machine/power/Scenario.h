#ifndef ZT_POWER_SCENARIO_H
#define ZT_POWER_SCENARIO_H

#include <map>
#include <string>
#include <vector>

/// A copy or a move that the power is cut in. On the medium it has a folder of its own, with the
/// folders "source" and "target"; the second is new, unless there are older files to copy over.
struct Scenario {
    std::string name;
    bool isFolder;
    bool keepsSource;
    bool isHeard; // by a ZTFileHandlingInterface, so its later chunks are flushed one by one
    std::map<std::string, std::size_t> sizes;
    std::size_t oldTargetSize;
};

inline std::vector<Scenario> scenarios()
{
    return {
        {"copy of a file", false, true, false, {{"file", 60000}}, 0},
        {"heard copy of a file", false, true, true, {{"file", 20000}}, 0},
        {"copy of a file over a longer one", false, true, false, {{"file", 9000}}, 15000},
        {"copy of a folder", true, true, true, {{"a", 3000}, {"b", 7000}, {"c", 500}}, 0},
        {"move of a file", false, false, false, {{"file", 60000}}, 0},
        {"heard move of a file", false, false, true, {{"file", 20000}}, 0},
        {"move of a file over a longer one", false, false, false, {{"file", 9000}}, 15000},
        {"move of a folder", true, false, false, {{"a", 3000}, {"b", 7000}, {"c", 500}}, 0},
        {"heard move of a folder", true, false, true, {{"a", 3000}, {"b", 7000}, {"c", 500}}, 0},
    };
}

/// Bytes of every value, which no compression makes much shorter, others for each name.
inline std::string contentOf(const std::string& name, std::size_t size)
{
    unsigned int state = 1;
    for (const char letter : name) {
        state = state * 31 + static_cast<unsigned char>(letter);
    }
    std::string bytes;
    while (bytes.size() < size) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

/// What the target holds once `source` is copied over an older one.
inline std::string targetOf(const Scenario& scenario, const std::string& source)
{
    return scenario.oldTargetSize > source.size()
               ? source + std::string(scenario.oldTargetSize - source.size(), 'o')
               : source;
}

#endif
