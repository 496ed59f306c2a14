#include "Network.h"

#include "Bytes.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ztsim {
namespace {

const char INTERFACE[] = "eth0"; ///< at both ends of the cable
const char ADDRESS[] = "192.168.135.6";
const char NETMASK[] = "255.255.255.0";
const char GATEWAY[] = "192.168.135.1";
const char NAMESPACE[] = "/proc/thread-self/ns/net";

int checkNetwork(int result, const char* what)
{
    if (result < 0) {
        throw std::runtime_error(std::string("cannot set up eth0: ") + what + ": " +
                                 std::strerror(errno) + " (--no-eth0 does without)");
    }
    return result;
}

Bytes attribute(unsigned short type, const Bytes& content)
{
    const rtattr header{static_cast<unsigned short>(RTA_LENGTH(content.size())), type};
    Bytes bytes = bytesOf(header) + content;
    bytes.resize(RTA_ALIGN(bytes.size()));
    return bytes;
}

/// Asks for a pair of interfaces with a cable between them, one here and one in that namespace.
Bytes cableRequest(int otherNamespace)
{
    const Bytes interface =
        bytesOf(ifinfomsg{}) + attribute(IFLA_IFNAME, {INTERFACE, sizeof INTERFACE});
    const Bytes other = interface + attribute(IFLA_NET_NS_FD, bytesOf(otherNamespace));
    const Bytes kind = attribute(IFLA_INFO_KIND, "veth") +
                       attribute(IFLA_INFO_DATA, attribute(VETH_INFO_PEER, other));
    const Bytes body = interface + attribute(IFLA_LINKINFO, kind);
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(body.size()));
    header.nlmsg_type = RTM_NEWLINK;
    header.nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE | NLM_F_EXCL | NLM_F_ACK;
    return bytesOf(header) + body;
}

void layCable(int otherNamespace)
{
    struct Answer {
        nlmsghdr header;
        nlmsgerr error;
    };
    const int kernel =
        checkNetwork(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE), "netlink");
    const Bytes request = cableRequest(otherNamespace);
    checkNetwork(static_cast<int>(::send(kernel, request.data(), request.size(), 0)), "netlink");
    Bytes answer(4096, '\0');
    checkNetwork(static_cast<int>(::recv(kernel, answer.data(), answer.size(), 0)), "netlink");
    ::close(kernel);
    errno = -recordOf<Answer>(answer).error.error;
    checkNetwork(errno == 0 ? 0 : -1, "a veth pair");
}

sockaddr internetAddress(const char* text)
{
    sockaddr_in internet{};
    internet.sin_family = AF_INET;
    ::inet_aton(text, &internet.sin_addr);
    return recordOf<sockaddr>(bytesOf(internet));
}

/// Where the socket is.
void startInterface(int socket, const char* address)
{
    ifreq request{};
    std::memcpy(request.ifr_name, INTERFACE, sizeof INTERFACE);
    request.ifr_addr = internetAddress(address);
    checkNetwork(::ioctl(socket, SIOCSIFADDR, &request), "its address");
    request.ifr_netmask = internetAddress(NETMASK);
    checkNetwork(::ioctl(socket, SIOCSIFNETMASK, &request), "its netmask");
    request.ifr_flags = IFF_UP | IFF_MULTICAST;
    checkNetwork(::ioctl(socket, SIOCSIFFLAGS, &request), "its start");
}

void addDefaultRoute(int socket)
{
    rtentry route{};
    route.rt_dst = internetAddress("0.0.0.0");
    route.rt_genmask = internetAddress("0.0.0.0");
    route.rt_gateway = internetAddress(GATEWAY);
    route.rt_flags = RTF_UP | RTF_GATEWAY;
    checkNetwork(::ioctl(socket, SIOCADDRT, &route), "its route");
}

int openNamespace()
{
    return checkNetwork(::open(NAMESPACE, O_RDONLY | O_CLOEXEC), NAMESPACE);
}

int openNetworkSocket()
{
    return checkNetwork(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
}

} // namespace

Network::Network()
{
    const int device = openNamespace();
    checkNetwork(::unshare(CLONE_NEWNET), "a network namespace");
    const int other = openNamespace();
    gateway = openNetworkSocket();
    checkNetwork(::setns(device, CLONE_NEWNET), "the way back");
    layCable(other);
    ::close(other);
    ::close(device);

    const int here = openNetworkSocket();
    startInterface(here, ADDRESS);
    startInterface(gateway, GATEWAY);
    addDefaultRoute(here);
    ::close(here);
}

Network::~Network()
{
    ::close(gateway);
}

} // namespace ztsim
