// Which gateway ZTNetworkLinux finds in any text that "route -n" prints.
//
// Input: the interface's name up to the end of the line, then the text.

#include "Require.h"

#include "zt/ZTNetworkConfig.h"
#include "zt/ZTNetworkLinux.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

const std::size_t LONGEST_READ = 127;
const char GATEWAY_BEFORE[] = "192.168.135.1";

std::string routes; // what the command prints

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> pieces(1);
    for (const char c : text) {
        if (c == separator) {
            pieces.emplace_back();
        } else {
            pieces.back() += c;
        }
    }
    return pieces;
}

// The text is read line by line and in parts if a line is long; a NUL hides the rest of its part.
std::string readable(const std::string& text)
{
    std::string result;
    std::size_t size = 0;
    bool isHidden = false;
    for (const char c : text) {
        isHidden = isHidden || c == '\0';
        if (!isHidden) {
            result += c;
        }
        if (++size == LONGEST_READ || c == '\n') {
            size = 0;
            isHidden = false;
        }
    }
    return result;
}

bool contains(const std::string& text, const std::string& part)
{
    for (std::size_t at = 0; at + part.size() <= text.size(); ++at) {
        if (text.compare(at, part.size(), part) == 0) {
            return true;
        }
    }
    return false;
}

// Empty if there is none.
std::string gatewayIn(const std::string& text, const std::string& interface)
{
    std::string gateway;
    for (const std::string& line : split(readable(text), '\n')) {
        std::vector<std::string> columns;
        for (const std::string& column : split(line, ' ')) {
            if (!column.empty()) {
                columns.push_back(column);
            }
        }
        if (contains(line, "UG") && contains(line, interface) && columns.size() > 1) {
            gateway = columns[1];
        }
    }
    return gateway;
}

} // namespace

extern "C" std::FILE* popen(const char* command, const char* /*type*/)
{
    require(std::strcmp(command, "route -n") == 0, "the command prints the routing table");
    return fmemopen(&routes[0], routes.size(), "r");
}

extern "C" int pclose(std::FILE* stream)
{
    return std::fclose(stream);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    const std::string interface = split(input, '\n').front();
    routes = input.substr(std::min(interface.size() + 1, size));

    ZT::ZTNetworkLinux network;
    network.setNetworkinterface(interface);
    const std::string gateway = gatewayIn(routes, interface);
    require(network.readGateway() == (gateway.empty() ? 6 : 0), "a gateway is found or not");
    require(network.getNetworkConfig()->gateway == (gateway.empty() ? GATEWAY_BEFORE : gateway),
            "the gateway is the second column of the last line about the interface");
    return 0;
}
