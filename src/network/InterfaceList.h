#ifndef ZT_INTERFACELIST_H
#define ZT_INTERFACELIST_H

#include <cstddef>
#include <net/if.h>

namespace ZT {

/// The interfaces that have an IPv4 address, as the system lists them, and a socket to ask it more
/// about them.
class InterfaceList {
public:
    InterfaceList();
    ~InterfaceList();

    InterfaceList(const InterfaceList&) = delete;
    InterfaceList& operator=(const InterfaceList&) = delete;

    /// False if the list cannot be had.
    bool fetch();

    const ifreq* begin() const;
    const ifreq* end() const;

    /// A record of zeros behind the last one. Only after fetch().
    ifreq& spare();

    /// Makes a request about the interface that `record` names; the answer takes the place of what
    /// the record held. False if the system refuses it.
    bool ask(unsigned long request, ifreq& record) const;

private:
    bool fetchUpTo(std::size_t room);
    bool makeRoom(std::size_t room);

    const int descriptor;
    ifreq* records;
    std::size_t count;
};

} // namespace ZT

#endif
