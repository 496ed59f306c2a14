#ifndef ZT_ZTNETWORKCONFIGFACTORY_H
#define ZT_ZTNETWORKCONFIGFACTORY_H

#include "zt/ZTNetwork.h"

namespace ZT {

/// Owns up to four ZTNetwork objects, for the interfaces eth0 to eth3. `n` is the number of an
/// interface, 0 to 3; operations for any other do nothing, and answer as for one that has no
/// object.
///
/// A factory belongs to one thread at a time. Nothing but std::bad_alloc is thrown.
class ZT_API ZTNetworkConfigFactory {
public:
    /// All four are without an object.
    ZTNetworkConfigFactory();

    /// releaseAll().
    virtual ~ZTNetworkConfigFactory();

    ZTNetworkConfigFactory(const ZTNetworkConfigFactory&) = delete;
    ZTNetworkConfigFactory& operator=(const ZTNetworkConfigFactory&) = delete;

    /// reset() of all four.
    void init();

    /// Makes a new object for the interface; one that it has is deleted before. 0; 20 for an `n`
    /// that there is not.
    int create(int n);

    /// The object, which stays the factory's until reset(); null if there is none.
    ZTNetwork* getEthInstance(int n);

    /// Deletes the object.
    void release(int n);

    /// Forgets the object without deleting it: whoever took it from getEthInstance() owns it now.
    void reset(int n);

    /// release() of all four.
    void releaseAll();

    /// What the object's operation of that name gives; null or false without an object.
    ZTNetworkConfig* getConfig(int n);
    bool readNetworkSettings(int n);
    bool setNetworkSettings(int n, const std::string& ip, const std::string& netmask,
                            const std::string& gateway);

    /// The same; emptyString without an object.
    std::string getDefaultIPAdress(int n) const;
    std::string getDefaultNetmaskIP(int n) const;
    std::string getDefaultGatewayIP(int n) const;

    /// Always empty.
    static const std::string emptyString;

private:
    static const int INTERFACES = 4;

    static bool isInterface(int n);
    ZTNetwork* find(int n) const;

    ZTNetwork* instances[INTERFACES];
};

} // namespace ZT

#endif
