#ifndef ZT_TESTS_FAKEINTERFACES_H
#define ZT_TESTS_FAKEINTERFACES_H

#include "support/Interpose.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <vector>

/// A kernel's interfaces, as far as ioctl() tells of them. It answers as Linux does: an answer
/// takes the place of the address in the record that asked.
class FakeInterfaces {
public:
    struct Interface {
        std::string name;
        std::string address;
        bool hasFlags = true;
    };

    static constexpr int SOCKET = 1000;

    int socket = SOCKET; ///< the number that the next one gets
    std::vector<Interface> interfaces;
    std::string netmask = "255.255.0.0";
    unsigned long refused = 0;             ///< the request that fails
    std::vector<std::string> requests;     ///< but those for the list
    std::vector<std::size_t> sizes;        ///< of the buffers for the list, in records
    std::vector<std::vector<int>> created; ///< the arguments of each socket()
    std::vector<int> closed;

private:
    static void setAddress(sockaddr& field, const std::string& text)
    {
        sockaddr_in internet{};
        internet.sin_family = AF_INET;
        inet_aton(text.c_str(), &internet.sin_addr);
        std::memcpy(&field, &internet, sizeof internet);
    }

    int list(ifconf& list)
    {
        EXPECT_EQ(static_cast<std::size_t>(list.ifc_len) % sizeof(ifreq), 0U);
        const std::size_t room = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
        const std::size_t count = std::min(room, interfaces.size());
        sizes.push_back(room);
        for (std::size_t index = 0; index < count; ++index) {
            ifreq& record = list.ifc_req[index];
            interfaces[index].name.copy(record.ifr_name, IFNAMSIZ);
            setAddress(record.ifr_addr, interfaces[index].address);
        }
        list.ifc_len = static_cast<int>(count * sizeof(ifreq));
        return 0;
    }

    static std::string nameIn(const ifreq& record)
    {
        return {record.ifr_name, strnlen(record.ifr_name, IFNAMSIZ)};
    }

    int note(const char* request, const ifreq& record)
    {
        requests.push_back(std::string(request) + ' ' + nameIn(record));
        return 0;
    }

    int tellFlags(ifreq& record)
    {
        note("flags", record);
        const auto found =
            std::find_if(interfaces.begin(), interfaces.end(),
                         [&](const Interface& one) { return one.name == nameIn(record); });
        std::memset(&record.ifr_ifru, 0xFF, sizeof record.ifr_ifru);
        errno = ENODEV;
        return found != interfaces.end() && found->hasFlags ? 0 : -1;
    }

    int answer(unsigned long request, void* argument)
    {
        if (request == refused) {
            errno = EADDRNOTAVAIL;
            return -1;
        }
        ifreq& record = *static_cast<ifreq*>(argument);
        switch (request) {
        case SIOCGIFCONF:
            return list(*static_cast<ifconf*>(argument));
        case SIOCGIFFLAGS:
            return tellFlags(record);
        case SIOCGIFHWADDR:
            std::memset(&record.ifr_hwaddr, 0xFF, sizeof record.ifr_hwaddr);
            return note("hardware address", record);
        case SIOCGIFNETMASK:
            setAddress(record.ifr_netmask, netmask);
            return note("netmask", record);
        default:
            ADD_FAILURE() << "request " << request;
            return -1;
        }
    }

    const Interpose<int(int, int, int)> socketCall{interposed::socket,
                                                   [this](int domain, int type, int protocol) {
                                                       created.push_back({domain, type, protocol});
                                                       return socket;
                                                   }};
    const Interpose<int(int, unsigned long, void*)> ioctlCall{
        interposed::ioctl, [this](int descriptor, unsigned long request, void* argument) {
            EXPECT_EQ(descriptor, socket);
            return answer(request, argument);
        }};
    const Interpose<int(int)> closeCall{interposed::close, [this](int descriptor) {
                                            if (descriptor >= 0 && descriptor != socket) {
                                                return interposed::close.real(descriptor);
                                            }
                                            closed.push_back(descriptor);
                                            return 0;
                                        }};
};

#endif
