#include "State.h"

#include <cmath>
#include <cstdio>

namespace ztsim {
namespace {

const char* nameOf(Eeprom::State state)
{
    switch (state) {
    case Eeprom::State::Open:
        return "open";
    case Eeprom::State::Locked:
        return "locked";
    default:
        return "absent";
    }
}

const char* nameOf(Event::By by)
{
    switch (by) {
    case Event::By::Client:
        return "client";
    case Event::By::Ctl:
        return "ctl";
    case Event::By::Script:
        return "script";
    default:
        return "device";
    }
}

void addStatus(Json& object, const Daemon& daemon)
{
    const Daemon::Status status = daemon.status();
    object["clients"] = status.clients;
    object["records"] = status.records;
    object["away"] = status.isAway;
    object["deaf"] = status.isDeaf;
    object["slow"] = std::to_string(status.delay.count()) + "ms";
    object["faults"] = status.faults;
}

Json stateOf(const PowerDaemon& daemon)
{
    const PowerSettings& settings = daemon.values();
    Json object{{"state", settings.state},
                {"timeout", settings.timeouts},
                {"propagation", settings.propagationTime},
                {"device", settings.devices}};
    addStatus(object, daemon);
    return object;
}

Json stateOf(HealthDaemon& daemon)
{
    Json object;
    for (const std::string& name : HealthMonitor::names()) {
        const std::string value = daemon.values().get(name);
        object["field"][name] = HealthMonitor::isText(name) ? Json(value) : Json(std::stoul(value));
    }
    addStatus(object, daemon);
    return object;
}

void addLines(std::vector<std::string>& lines, const std::string& path, const Json& value)
{
    if (!value.is_structured()) {
        const std::string text = value.is_string() ? value.get<std::string>()
                                 : value.is_null() ? "-"
                                                   : value.dump();
        lines.push_back(path + (text.empty() ? "" : ' ' + text));
        return;
    }
    for (const auto& item : value.items()) {
        addLines(lines, path + (path.empty() ? "" : " ") + item.key(), item.value());
    }
}

} // namespace

Json stateOf(Simulated& device)
{
    Json object{{"name", device.name.empty() ? Json() : Json(device.name)},
                {"eeprom", nameOf(device.eeprom.now())},
                {"eth0", device.hasNetwork}};
    object["power"] = device.power ? stateOf(*device.power) : Json();
    object["health"] = device.health ? stateOf(*device.health) : Json();
    return object;
}

std::string toLine(const Event& event)
{
    char time[32];
    std::snprintf(time, sizeof time, "%.3f ", event.time);
    return time + std::string(nameOf(event.by)) + ": " + event.text +
           (event.mishap.empty() ? "" : ": " + event.mishap);
}

Json toObject(const Event& event)
{
    return {{"time", std::round(event.time * 1000) / 1000},
            {"by", nameOf(event.by)},
            {"said", event.text},
            {"mishap", event.mishap.empty() ? Json() : Json(event.mishap)}};
}

std::string toJson(const Json& value)
{
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::vector<std::string> toLines(const Json& value)
{
    std::vector<std::string> lines;
    addLines(lines, "", value);
    return lines;
}

} // namespace ztsim
