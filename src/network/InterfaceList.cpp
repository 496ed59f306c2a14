#include "network/InterfaceList.h"

#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ZT {

InterfaceList::InterfaceList()
    : descriptor(socket(AF_INET, SOCK_DGRAM, 0)), records(nullptr), count(0)
{}

InterfaceList::~InterfaceList()
{
    std::free(records);
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool InterfaceList::fetch()
{
    if (descriptor < 0) {
        return false;
    }
    // The system does not tell what it has left out for want of room. So the list is whole when
    // there is room left over, which is the spare record's.
    std::size_t room = 1;
    do {
        ++room;
        if (!fetchUpTo(room)) {
            return false;
        }
    } while (count >= room);
    return true;
}

bool InterfaceList::fetchUpTo(std::size_t room)
{
    if (!makeRoom(room)) {
        return false;
    }
    ifconf list{};
    list.ifc_len = static_cast<int>(room * sizeof(ifreq));
    list.ifc_req = records;
    if (ioctl(descriptor, SIOCGIFCONF, &list) < 0) {
        return false;
    }
    count = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
    return true;
}

bool InterfaceList::makeRoom(std::size_t room)
{
    const std::size_t size = room * sizeof(ifreq);
    auto* grown = static_cast<ifreq*>(std::realloc(records, size));
    if (grown == nullptr) {
        return false;
    }
    records = grown;
    std::memset(records, 0, size);
    return true;
}

const ifreq* InterfaceList::begin() const
{
    return records;
}

const ifreq* InterfaceList::end() const
{
    return records + count;
}

ifreq& InterfaceList::spare()
{
    return records[count];
}

bool InterfaceList::ask(unsigned long request, ifreq& record) const
{
    return ioctl(descriptor, request, &record) >= 0;
}

} // namespace ZT
