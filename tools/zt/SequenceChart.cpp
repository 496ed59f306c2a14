#include "SequenceChart.h"

#include "common/Printable.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace zt {
namespace {

using Escapes = std::map<char, const char*>;

// Both languages have these as markup, and Mermaid a # and a ; as well.
const Escapes SVG_ESCAPES{{'<', "&lt;"}, {'>', "&gt;"}, {'&', "&amp;"}, {'"', "&quot;"}};
const Escapes MERMAID_ESCAPES{{'<', "#lt;"},   {'>', "#gt;"}, {'&', "#amp;"},
                              {'"', "#quot;"}, {'#', "#35;"}, {';', "#59;"}};

std::string marked(const std::string& text, const Escapes& escapes)
{
    std::string result;
    for (const char letter : tools::printable(text)) {
        const auto found = escapes.find(letter);
        result += found == escapes.end() ? std::string(1, letter) : found->second;
    }
    return result;
}

constexpr std::size_t COLUMN = 260;
constexpr std::size_t ROW = 34;
constexpr std::size_t LEFT = 90; ///< for the times
constexpr std::size_t TOP = 60;

std::string at(const char* name, std::size_t value)
{
    return std::string(" ") + name + "=\"" + std::to_string(value) + '"';
}

std::size_t column(std::size_t place)
{
    return LEFT + COLUMN / 2 + place * COLUMN;
}

std::string textAt(std::size_t x, std::size_t y, const std::string& kind, const std::string& text)
{
    return "<text" + at("x", x) + at("y", y) + " class=\"" + kind + "\">" +
           marked(text, SVG_ESCAPES) + "</text>\n";
}

std::string lineTo(std::size_t x1, std::size_t y1, std::size_t x2, std::size_t y2,
                   const std::string& kind)
{
    return "<line" + at("x1", x1) + at("y1", y1) + at("x2", x2) + at("y2", y2) + " class=\"" +
           kind + "\"/>\n";
}

std::string inSeconds(std::uint64_t time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", static_cast<double>(time) / 1e9);
    return text;
}

const char* const STYLE =
    "<style>svg { background: #fff } text { font: 13px system-ui, \"DejaVu Sans\", sans-serif; "
    "fill: #17202b; text-anchor: middle } .who { font-weight: 600 } .said { paint-order: stroke; "
    "stroke: #fff; stroke-width: 4px } .when { fill: #566373; "
    "text-anchor: start } .life { stroke: #c5cdd6 } .arrow { stroke: #0b62b8; stroke-width: 1.5; "
    "marker-end: url(#head) }</style>\n"
    "<marker id=\"head\" viewBox=\"0 0 10 10\" refX=\"9\" refY=\"5\" markerWidth=\"8\" "
    "markerHeight=\"8\" orient=\"auto\"><path d=\"M0 0 10 5 0 10z\" fill=\"#0b62b8\"/></marker>\n";

/// A capture of a network does not know the process, and a script does not know the client either.
std::string clientOf(const SimulatedRecord& record)
{
    if (record.process != 0) {
        return "process " + std::to_string(record.process);
    }
    return record.client == 0 ? "clients" : "client " + std::to_string(record.client);
}

} // namespace

SequenceChart::SequenceChart(const std::vector<SimulatedRecord>& records)
{
    for (const SimulatedRecord& record : records) {
        const std::size_t server = placeOf(record.server);
        const std::size_t client = placeOf(clientOf(record));
        const std::uint64_t time = sinceFirst(records, record);
        arrows.push_back(record.isFromClient ? Arrow{client, server, time, record.text}
                                             : Arrow{server, client, time, record.text});
    }
}

std::size_t SequenceChart::placeOf(const std::string& name)
{
    const auto found = std::find(names.begin(), names.end(), name);
    const auto place = static_cast<std::size_t>(found - names.begin());
    if (found == names.end()) {
        names.push_back(name);
    }
    return place;
}

std::string SequenceChart::asMermaid() const
{
    std::string text = "sequenceDiagram";
    for (std::size_t place = 0; place < names.size(); ++place) {
        text += "\n    participant p" + std::to_string(place) + " as " + names[place];
    }
    for (const Arrow& arrow : arrows) {
        text += "\n    p" + std::to_string(arrow.from) + "->>p" + std::to_string(arrow.to) + ": " +
                marked(arrow.text, MERMAID_ESCAPES);
    }
    return text;
}

std::string SequenceChart::asSvg() const
{
    const std::size_t width = LEFT + std::max<std::size_t>(names.size(), 1) * COLUMN;
    const std::size_t height = TOP + arrows.size() * ROW + ROW;
    std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\"" + at("width", width) +
                       at("height", height) + " viewBox=\"0 0 " + std::to_string(width) + ' ' +
                       std::to_string(height) + "\" role=\"img\" aria-label=\"Sequence chart\">\n" +
                       STYLE;
    for (std::size_t place = 0; place < names.size(); ++place) {
        text += textAt(column(place), TOP / 2, "who", names[place]);
        text += lineTo(column(place), TOP * 2 / 3, column(place), height - ROW / 2, "life");
    }
    std::size_t y = TOP + ROW / 2;
    for (const Arrow& arrow : arrows) {
        const std::size_t from = column(arrow.from);
        const std::size_t to = column(arrow.to);
        text += textAt(8, y, "when", inSeconds(arrow.time));
        text += textAt((from + to) / 2, y - 5, "said", arrow.text);
        text += lineTo(from, y, to, y, "arrow");
        y += ROW;
    }
    return text + "</svg>";
}

} // namespace zt
