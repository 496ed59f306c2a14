#ifndef ZT_TOOL_SEQUENCECHART_H
#define ZT_TOOL_SEQUENCECHART_H

#include "SimulatedRecord.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zt {

/// Which process and server have said what to each other, from the top down.
class SequenceChart {
public:
    explicit SequenceChart(const std::vector<SimulatedRecord>& records);

    std::string asMermaid() const;
    std::string asSvg() const;

private:
    struct Arrow {
        std::size_t from;
        std::size_t to;
        std::uint64_t time; ///< in nanoseconds since the first one
        std::string text;
    };

    std::size_t placeOf(const std::string& name);

    std::vector<std::string> names; ///< from the left to the right
    std::vector<Arrow> arrows;
};

} // namespace zt

#endif
