#include "CountOption.h"
#include "Failure.h"
#include "Output.h"
#include "PowerDialogue.h"
#include "PowerNames.h"
#include "StopSignals.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "common/NumberOption.h"
#include "common/WallClock.h"
#include "zt/ZTEvent.h"
#include "ztutil/ZTTick.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zt {
namespace {

const unsigned int LONGEST_PROPAGATION_TIME = 30;

struct PowerOptions {
    std::optional<std::string> subject; ///< a state or a device
    std::optional<std::string> value;   ///< what it is set to
    bool json = false;
    bool time = false;
    double wait = 2;
    unsigned int count = 0; ///< of events to watch; 0 for no end
};

using Power = ZT::ZTPowerManagement;

/// One thing that the daemon keeps: how to ask for it, and which number of which reports it is.
struct Item {
    std::string name; ///< as it is printed
    std::string task; ///< what asking for it is
    std::function<int(Power&)> ask;
    PowerDialogue::Predicate isReport;
    std::function<std::int64_t(const PowerReport&)> numberOf;
};

Item powerState()
{
    return {"state", "get the power state", [](Power& power) { return power.getPowerState(); },
            [](const PowerReport& report) {
                return report.event == ZT::EVENT_POWER_STATE_1 ||
                       report.event == ZT::EVENT_POWER_STATE_2;
            },
            [](const PowerReport& report) { return report.state; }};
}

Item timeoutOf(ZT::ztPowerStates state)
{
    return {stateName(state), "get the time-out of state " + stateName(state),
            [state](Power& power) { return power.getTimeoutForState(state); },
            [state](const PowerReport& report) {
                return report.event == ZT::EVENT_TIMEOUT &&
                       report.state == static_cast<std::int32_t>(state);
            },
            [](const PowerReport& report) { return report.value; }};
}

Item propagationTime()
{
    return {"propagation", "get the propagation time",
            [](Power& power) { return power.getPropagationTimeForState(ZT::STATE_2); },
            [](const PowerReport& report) {
                return report.event == ZT::EVENT_PROPAGATION_TIME_1 ||
                       report.event == ZT::EVENT_PROPAGATION_TIME_2;
            },
            [](const PowerReport& report) { return report.value; }};
}

Item stateOfDevice(int device)
{
    const auto number = static_cast<std::uint32_t>(device);
    return {deviceName(number), "get the state of " + deviceName(number),
            [device](Power& power) { return power.getDeviceStateInLowPower(device); },
            [number](const PowerReport& report) {
                return report.event == ZT::EVENT_DEVICE_STATE && report.value == number;
            },
            [](const PowerReport& report) { return report.state; }};
}

std::int64_t get(PowerDialogue& dialogue, const Item& item, double seconds)
{
    check(item.ask(dialogue.power()), item.task, POWER_ADVICE);
    return item.numberOf(dialogue.await(item.task, seconds, item.isReport));
}

/// The daemon does not acknowledge, so it is asked for what has become of it.
void set(PowerDialogue& dialogue, const Item& item, const std::string& task, int sent,
         std::int64_t wanted, double seconds)
{
    check(sent, task, POWER_ADVICE);
    check(item.ask(dialogue.power()), item.task, POWER_ADVICE);
    std::string kept;
    try {
        dialogue.await(task, seconds, [&](const PowerReport& report) {
            const bool isReport = item.isReport(report);
            kept = isReport ? std::to_string(item.numberOf(report)) : kept;
            return isReport && item.numberOf(report) == wanted;
        });
    } catch (const Failure&) {
        if (kept.empty()) {
            throw;
        }
        throw Failure(FAILED, "cannot " + task + ": the daemon reports " + kept + " instead",
                      "see whether it takes such a change later, or give it longer with --wait");
    }
}

void getAll(const std::vector<Item>& items, const PowerOptions& options)
{
    PowerDialogue dialogue(options.wait);
    Json fields;
    for (const Item& item : items) {
        fields[item.name] = get(dialogue, item, options.wait);
    }
    print(fields, options.json);
}

void getOne(const Item& item, const PowerOptions& options)
{
    PowerDialogue dialogue(options.wait);
    printSingle({{item.name, get(dialogue, item, options.wait)}}, options.json);
}

void getState(const PowerOptions& options)
{
    PowerDialogue dialogue(options.wait);
    const std::int64_t state = get(dialogue, powerState(), options.wait);
    if (options.json) {
        printJson({{"state", state}});
    } else {
        printLine(stateName(state));
    }
}

void setState(const PowerOptions& options)
{
    const ZT::ztPowerStates state = parseState(*options.subject);
    if (state == ZT::STATE_SILENT_ON) {
        throw CLI::ValidationError("STATE", "silent-on can be reported, but not be asked for");
    }
    PowerDialogue dialogue(options.wait);
    const std::string task = "set the power state " + stateName(state);
    const int sent = dialogue.power().setPowerState(state);
    if (state == ZT::STATE_6) {
        check(sent, task, POWER_ADVICE); // no report ever tells it
        return;
    }
    set(dialogue, powerState(), task, sent, state, options.wait);
}

void stateVerb(const PowerOptions& options)
{
    !options.subject ? getState(options) : setState(options);
}

ZT::ztPowerStates parseStateWithTimeout(const std::string& text)
{
    const ZT::ztPowerStates state = parseState(text);
    if (state != ZT::STATE_1 && state != ZT::STATE_2 && state != ZT::STATE_SILENT_ON) {
        throw CLI::ValidationError("STATE", "only 1, 2 and silent-on have a time-out");
    }
    return state;
}

void timeoutVerb(const PowerOptions& options)
{
    if (!options.subject) {
        getAll({timeoutOf(ZT::STATE_1), timeoutOf(ZT::STATE_2), timeoutOf(ZT::STATE_SILENT_ON)},
               options);
        return;
    }
    const ZT::ztPowerStates state = parseStateWithTimeout(*options.subject);
    if (!options.value) {
        getOne(timeoutOf(state), options);
        return;
    }
    const auto value = tools::parseNumber("VALUE", *options.value, 0U, UINT32_MAX);
    PowerDialogue dialogue(options.wait);
    set(dialogue, timeoutOf(state), "set the time-out of state " + stateName(state),
        dialogue.power().setTimeoutForState(state, value), value, options.wait);
}

void propagationVerb(const PowerOptions& options)
{
    if (!options.value) {
        getOne(propagationTime(), options);
        return;
    }
    const auto value = tools::parseNumber("TIME", *options.value, 0U, LONGEST_PROPAGATION_TIME);
    PowerDialogue dialogue(options.wait);
    set(dialogue, propagationTime(), "set the propagation time",
        dialogue.power().setPropagationTimeForState(ZT::STATE_2, value), value, options.wait);
}

void getDevices(const PowerOptions& options)
{
    std::vector<Item> items;
    for (int device = 0; device < static_cast<int>(POWER_DEVICES.size()); ++device) {
        if (device != ZT::DEVICE_ENCODER_BL) {
            items.push_back(stateOfDevice(device));
        }
    }
    getAll(items, options);
}

void setDevice(int device, const PowerOptions& options)
{
    const auto state = tools::parseNumber("STATE", *options.value, INT32_MIN, INT32_MAX);
    const Item item = stateOfDevice(device);
    PowerDialogue dialogue(options.wait);
    const std::string task = "set the state of " + item.name;
    const int sent = dialogue.power().setDeviceStateForLowPower(device, state);
    if (device == ZT::DEVICE_ENCODER_BL) {
        check(sent, task, POWER_ADVICE); // no report ever tells it
        return;
    }
    set(dialogue, item, task, sent, state, options.wait);
}

void deviceVerb(const PowerOptions& options)
{
    if (!options.subject) {
        getDevices(options);
        return;
    }
    const int device = parseDevice(*options.subject);
    if (options.value) {
        setDevice(device, options);
    } else if (device == ZT::DEVICE_ENCODER_BL) {
        throw CLI::ValidationError("DEVICE", "encoder_bl can be set, but is never reported");
    } else {
        getOne(stateOfDevice(device), options);
    }
}

const char* eventName(std::uint32_t event)
{
    switch (event) {
    case ZT::EVENT_TIMEOUT:
        return "timeout";
    case ZT::EVENT_DEVICE_STATE:
        return "device";
    case ZT::EVENT_POWER_STATE_1:
        return "state";
    case ZT::EVENT_POWER_STATE_2:
        return "new-state";
    case ZT::EVENT_PROPAGATION_TIME_1:
        return "propagation";
    default:
        return "new-propagation";
    }
}

/// The two kinds of event that have a subject and a number.
Json describe(const PowerReport& report)
{
    Json event{{"event", eventName(report.event)}, {"time", report.timestamp}};
    switch (report.event) {
    case ZT::EVENT_DEVICE_STATE:
        event["device"] = deviceName(report.value);
        event["state"] = report.state;
        break;
    case ZT::EVENT_POWER_STATE_1:
    case ZT::EVENT_POWER_STATE_2:
        event["state"] = report.state;
        break;
    default:
        event["state"] = report.state;
        event["value"] = report.value;
        break;
    }
    return event;
}

std::string inWords(const PowerReport& report)
{
    const std::string name = eventName(report.event);
    switch (report.event) {
    case ZT::EVENT_DEVICE_STATE:
        return name + ' ' + deviceName(report.value) + ' ' + std::to_string(report.state);
    case ZT::EVENT_POWER_STATE_1:
    case ZT::EVENT_POWER_STATE_2:
        return name + ' ' + stateName(report.state);
    case ZT::EVENT_TIMEOUT:
        return name + ' ' + stateName(report.state) + ' ' + std::to_string(report.value);
    default:
        return name + ' ' + std::to_string(report.value);
    }
}

void printEvent(const PowerOptions& options, Json event, const std::string& words)
{
    if (options.json) {
        if (options.time) {
            event["wall-clock"] = tools::wallClock();
        }
        printJson(event);
    } else {
        printLine((options.time ? tools::wallClock() + ' ' : "") + words);
    }
}

void watchVerb(const PowerOptions& options)
{
    StopSignals signals;
    PowerDialogue dialogue(options.wait);
    signals.subscribeTo(dialogue.manager());
    unsigned int heard = 0;
    const auto isEnough = [&] { return options.count != 0 && heard >= options.count; };
    dialogue.setHearer([&](const PowerReport& report) {
        if (!isEnough()) {
            ++heard;
            printEvent(options, describe(report), inWords(report));
        }
    });
    dialogue.setWitness([&](bool isThere) {
        if (isEnough()) {
            return;
        }
        const char* const name = isThere ? "daemon-back" : "daemon-gone";
        printEvent(options, {{"event", name}, {"time", ZT::ZTTick::getTickCount()}}, name);
    });
    complain("listening to the power-management daemon");
    while (!isEnough() && StopSignals::received() == 0) {
        dialogue.listen();
    }
}

struct PowerVerb {
    const char* name;
    const char* about;
    const char* subject; ///< an argument that may be left out, or null
    const char* value;   ///< the same behind it
    const char* subjectHelp;
    const char* valueHelp;
    void (*run)(const PowerOptions& options);
};

const PowerVerb VERBS[] = {
    {"state", "Get the power state, or ask for another one", "STATE", nullptr, "0, 1, 2, 3, 5 or 6",
     nullptr, stateVerb},
    {"timeout", "Get the time-outs of the power states, or set one", "STATE", "VALUE",
     "1, 2 or silent-on", "0..4294967295, in the daemon's unit", timeoutVerb},
    {"propagation", "Get the propagation time of power state 2, or set it", nullptr, "TIME",
     nullptr, "0..30, in the daemon's unit", propagationVerb},
    {"device", "Get the states of the devices in low power, or set one", "DEVICE", "STATE",
     "display, display_bl, keypad_bl, encoder_bl, rgb_led, beeper, keypad, encoder, touch, "
     "console, output0, output1, output2, cam_output, video0, input0, input1, input2, input3, "
     "status_led1, status_led2, or its number, 0..20",
     "A number that the daemon understands", deviceVerb},
    {"watch", "Print each event until Ctrl-C", nullptr, nullptr, nullptr, nullptr, watchVerb},
};

CLI::App* addVerb(CLI::App& power, const PowerVerb& verb,
                  const std::shared_ptr<PowerOptions>& options)
{
    CLI::App* const app = power.add_subcommand(verb.name, verb.about);
    if (verb.subject != nullptr) {
        app->add_option(verb.subject, options->subject, verb.subjectHelp);
    }
    if (verb.value != nullptr) {
        app->add_option(verb.value, options->value, verb.valueHelp);
    }
    app->add_flag("--json", options->json, "Print JSON");
    app->callback([options, &verb] { verb.run(*options); });
    return app;
}

} // namespace

void addPower(CLI::App& app)
{
    CLI::App* const power =
        app.add_subcommand("power", "Power states, time-outs, devices in low power, and events");
    requireVerb(*power);
    for (const PowerVerb& verb : VERBS) {
        const auto options = std::make_shared<PowerOptions>();
        CLI::App* const added = addVerb(*power, verb, options);
        if (verb.run == watchVerb) {
            addCountOption(*added, options->count, "End after so many reports");
            added->add_flag("--time", options->time, "Print the local time of each event, too");
        } else {
            addWaitOption(*added, options->wait);
        }
    }
}

} // namespace zt
