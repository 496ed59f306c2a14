#include "ztsim/Device.h"

#include "Address.h"
#include "Process.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

const char* const VERSION = "1"; ///< of the protocol
const char DONE = '0';
const char TOO_LATE = '3';

/// The only one of these devices.
std::string onlyOf(const std::vector<Address>& devices, const std::string& missing)
{
    if (devices.empty()) {
        throw Error(missing);
    }
    if (devices.size() > 1) {
        throw Error("several devices run here: give the name of one, \"ztsim ctl list\" has them");
    }
    return devices.front().text;
}

std::string addressOf(const std::string& name)
{
    std::vector<Address> devices = findDevices();
    devices.erase(std::remove_if(devices.begin(), devices.end(),
                                 [&name](const Address& device) { return device.name != name; }),
                  devices.end());
    return onlyOf(devices,
                  "no device named " + name + " runs here: start one with ztsim --name " + name);
}

/// Empty if it is there no more.
std::string addressOf(pid_t pid)
{
    const std::vector<Address> devices = findDevices();
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [pid](const Address& device) { return device.pid == pid; });
    return found == devices.end() ? "" : found->text;
}

/// Sends all, unless the other end is gone; what comes back then tells.
void sendAll(int device, const std::string& text)
{
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t size = ::send(device, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (size < 0) {
            return;
        }
        sent += static_cast<std::size_t>(size);
    }
}

/// Returns what comes up to the end.
std::string receiveAll(int device)
{
    std::string text;
    char chunk[4096];
    for (ssize_t size = ::recv(device, chunk, sizeof chunk, 0); size > 0;
         size = ::recv(device, chunk, sizeof chunk, 0)) {
        text.append(chunk, static_cast<std::size_t>(size));
    }
    return text;
}

std::string exchange(const std::string& address, const std::string& request)
{
    const int device = connectTo(address);
    if (device < 0) {
        throw Error("the device has ended");
    }
    sendAll(device, request);
    ::shutdown(device, SHUT_WR);
    std::string answer = receiveAll(device);
    ::close(device);
    if (answer.empty()) {
        throw Error("the device has ended");
    }
    return answer;
}

std::vector<std::string> splitWords(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

/// The command with these words behind it, as far as they are any.
std::vector<std::string> join(std::vector<std::string> command,
                              const std::vector<std::string>& more)
{
    std::copy_if(more.begin(), more.end(), std::back_inserter(command),
                 [](const std::string& word) { return !word.empty(); });
    return command;
}

std::string inSeconds(std::chrono::milliseconds time)
{
    return std::to_string(static_cast<double>(time.count()) / 1000);
}

unsigned int unsignedOf(const std::vector<std::string>& answer)
{
    return static_cast<unsigned int>(std::stoul(answer.at(0)));
}

} // namespace

Device::Device()
{
    std::vector<Address> devices = findDevices();
    const auto here = std::find_if(devices.begin(), devices.end(), isHere);
    if (here != devices.end()) {
        devices = {*here};
    }
    address = onlyOf(devices, "no device runs here: run this program by ztsim, or see "
                              "ztsim::Device::start()");
}

Device::Device(const std::string& name) : address(addressOf(name)) {}

Device Device::start(const std::vector<std::string>& command,
                     const std::vector<std::string>& options)
{
    const Process process = startProcess(options, command);
    Device device{Nothing()};
    device.pid = process.pid;
    device.lifeline = process.lifeline;
    device.address = addressOf(process.pid);
    return device;
}

Device::Device(Device&& other) noexcept
{
    *this = std::move(other);
}

Device& Device::operator=(Device&& other) noexcept
{
    address.swap(other.address);
    std::swap(pid, other.pid);
    std::swap(lifeline, other.lifeline);
    return *this;
}

Device::~Device()
{
    end();
}

int Device::wait()
{
    if (pid < 0) {
        throw Error("this object has started no device, or the device has ended already");
    }
    const int exitCode = awaitProcess(pid);
    pid = -1;
    return exitCode;
}

void Device::end() noexcept
{
    if (lifeline >= 0) {
        // The byte reaches it even if somebody has inherited this end.
        while (::send(lifeline, "", 1, MSG_NOSIGNAL) < 0 && errno == EINTR) {
        }
        ::close(lifeline);
        lifeline = -1;
    }
    if (pid >= 0) {
        while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        pid = -1;
    }
}

unsigned int Device::powerState() const
{
    return unsignedOf(say({"power"}));
}

void Device::powerState(unsigned int state)
{
    say({"power", std::to_string(state)});
}

unsigned int Device::timeout(unsigned int state) const
{
    return unsignedOf(say({"timeout", std::to_string(state)}));
}

void Device::timeout(unsigned int state, unsigned int value)
{
    say({"timeout", std::to_string(state), std::to_string(value)});
}

unsigned int Device::propagationTime() const
{
    return unsignedOf(say({"propagation"}));
}

void Device::propagationTime(unsigned int time)
{
    say({"propagation", std::to_string(time)});
}

int Device::deviceState(const std::string& name) const
{
    return std::stoi(say({"device", name}).at(0));
}

void Device::deviceState(const std::string& name, int state)
{
    say({"device", name, std::to_string(state)});
}

std::string Device::healthField(const std::string& name) const
{
    return say({"health", name}).at(0);
}

void Device::healthField(const std::string& name, const std::string& value)
{
    say({"health", name, value});
}

void Device::hangUp(const std::string& daemon)
{
    say(join({"hang-up"}, {daemon}));
}

void Device::powerFault(const std::string& fault)
{
    say({"power-fault", fault});
}

void Device::healthFault(const std::string& fault)
{
    say({"health-fault", fault});
}

void Device::slow(std::chrono::milliseconds delay, const std::string& daemon)
{
    say(join({"slow", std::to_string(delay.count()) + "ms"}, {daemon}));
}

void Device::deaf(bool isDeaf, const std::string& daemon)
{
    say(join({"deaf", isDeaf ? "on" : "off"}, {daemon}));
}

void Device::awaitRecord(const std::string& record, std::chrono::milliseconds longest) const
{
    say(join({"await", "--since-start", "--wait", inSeconds(longest)}, splitWords(record)));
}

void Device::awaitNextRecord(const std::string& record, std::chrono::milliseconds longest) const
{
    say(join({"await", "--wait", inSeconds(longest)}, splitWords(record)));
}

std::vector<std::string> Device::records(const std::string& record) const
{
    return say(join({"records"}, splitWords(record)));
}

std::size_t Device::countRecords(const std::string& record) const
{
    return std::stoul(say(join({"count"}, splitWords(record))).at(0));
}

std::string Device::show() const
{
    return say({"show", "--json"}).at(0);
}

std::vector<std::string> Device::say(const std::vector<std::string>& words) const
{
    std::string request = VERSION + std::string(1, '\0');
    for (const std::string& word : words) {
        request += word + '\0';
    }
    const std::string answer = exchange(address, request);
    std::vector<std::string> lines;
    std::istringstream stream(answer.substr(1));
    for (std::string line; std::getline(stream, line, '\0');) {
        lines.push_back(line);
    }
    if (answer.front() == TOO_LATE) {
        throw NotSaid(lines.at(0));
    }
    if (answer.front() != DONE) {
        throw Error(lines.at(0));
    }
    return lines;
}

} // namespace ztsim
