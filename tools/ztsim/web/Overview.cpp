#include "Overview.h"

#include "Command.h"
#include "EthernetState.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <utility>

namespace ztsim {
namespace {

const char* nameOf(Transfer::What what)
{
    switch (what) {
    case Transfer::What::Came:
        return "came";
    case Transfer::What::Left:
        return "left";
    case Transfer::What::Received:
        return "received";
    case Transfer::What::Sent:
        return "sent";
    case Transfer::What::Fault:
        return "fault";
    default:
        return "ignored";
    }
}

std::string programOf(pid_t process)
{
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), name);
    return name;
}

double rounded(double time)
{
    return std::round(time * 1000) / 1000;
}

/// In hexadecimal digits.
std::string digitsOf(const Bytes& bytes)
{
    const char* const digits = "0123456789abcdef";
    std::string text;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += {digits[byte / 16], digits[byte % 16]};
    }
    return text;
}

} // namespace

Overview::Overview(Simulated& device) : device(device)
{
    if (device.power) {
        powerState = device.power->values().state;
    }
    device.journal.tap([this](const Transfer& transfer) { take(transfer); });
    device.journal.listen([this](const Event& event) {
        take(event);
        return true;
    });
}

void Overview::take(const Transfer& transfer)
{
    const ClientKey key(transfer.daemon, transfer.client);
    if (transfer.what == Transfer::What::Came) {
        clients[key] = {transfer.process, programOf(transfer.process), rounded(transfer.time), 0};
    }
    const auto client = clients.find(key);
    Json entry{{"t", rounded(transfer.time)},
               {"kind", nameOf(transfer.what)},
               {"daemon", transfer.daemon},
               {"client", transfer.client},
               {"program", client == clients.end() ? "" : client->second.program},
               {"text", transfer.text}};
    if (!transfer.bytes.empty()) {
        entry["bytes"] = digitsOf(transfer.bytes);
    }
    add(std::move(entry));
    if (transfer.what == Transfer::What::Received) {
        lastSpeaker = key;
        ++clients[key].records;
    } else if (transfer.what == Transfer::What::Left) {
        clients.erase(key);
    }
}

void Overview::take(const Event& event)
{
    if (event.by != Event::By::Client) { // whose records are transfers
        add({{"t", rounded(event.time)},
             {"kind", event.by == Event::By::Script ? "script" : "ctl"},
             {"text", event.text}});
    }
    if (device.power && device.power->values().state != powerState) {
        powerState = device.power->values().state;
        causes.push_front({{"t", rounded(event.time)},
                           {"state", powerState},
                           {"by", speaker(event)},
                           {"text", event.text}});
        causes.resize(std::min(causes.size(), MOST_CAUSES));
    }
}

std::string Overview::speaker(const Event& event) const
{
    if (event.by != Event::By::Client) {
        return event.by == Event::By::Script ? "script" : "ctl";
    }
    const auto client = clients.find(lastSpeaker);
    const std::string program = client == clients.end() ? "" : client->second.program;
    return "client " + std::to_string(lastSpeaker.second) + (program.empty() ? "" : ", " + program);
}

void Overview::add(Json entry)
{
    entry["n"] = last() + 1;
    entries.push_back(toJson(entry));
    if (entries.size() > MOST_ENTRIES) {
        entries.pop_front();
        ++begin;
    }
}

std::string Overview::entriesAfter(std::uint64_t number) const
{
    const std::uint64_t first = std::clamp(number + 1, begin, last() + 1);
    std::string list;
    for (auto entry = entries.begin() + static_cast<std::ptrdiff_t>(first - begin);
         entry != entries.end(); ++entry) {
        list += (list.empty() ? "" : ",") + *entry;
    }
    const std::uint64_t lost = number + 1 < first ? first - number - 1 : 0;
    return "{\"lost\":" + std::to_string(lost) + ",\"list\":[" + list + "]}";
}

std::string Overview::state()
{
    Json object = stateOf(device);
    object["eth0"] = device.hasNetwork ? ethernetState("eth0") : Json();
    object["causes"] = causes;
    object["clients"] = Json::array();
    for (const auto& [key, client] : clients) {
        object["clients"].push_back({{"daemon", key.first},
                                     {"number", key.second},
                                     {"process", client.process},
                                     {"program", client.program},
                                     {"since", client.since},
                                     {"records", client.records}});
    }
    return toJson(object);
}

std::string Overview::forms()
{
    Json array = Json::array();
    for (const CommandForm& form : commandForms()) {
        Json arguments = Json::array();
        for (const CommandForm::Argument& argument : form.arguments) {
            arguments.push_back({{"name", argument.name},
                                 {"required", argument.isRequired},
                                 {"flag", argument.isFlag},
                                 {"words", argument.takesWords},
                                 {"hint", argument.hint}});
        }
        array.push_back({{"verb", form.verb}, {"help", form.help}, {"arguments", arguments}});
    }
    return toJson(array);
}

} // namespace ztsim
