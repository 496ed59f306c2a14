#ifndef ZTSIM_STATE_H
#define ZTSIM_STATE_H

#include "Journal.h"
#include "Simulated.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace ztsim {

using Json = nlohmann::ordered_json;

/// All that there is on the device.
Json stateOf(Simulated& device);

/// An event as a line of "ztsim ctl watch".
std::string toLine(const Event& event);
Json toObject(const Event& event);

/// In one line, and ASCII alone.
std::string toJson(const Json& value);

/// A line for each value, with the names that lead to it in front.
std::vector<std::string> toLines(const Json& value);

} // namespace ztsim

#endif
