#ifndef ZT_ZTSIGNAL_H
#define ZT_ZTSIGNAL_H

#include "zt/ZTTrigger.h"

namespace ZT {

/// An event on its way to a ZTSignalListener. Its own fields start at 0, where power events leave
/// them.
class ZT_API ZTSignal : public virtual ZTTrigger {
public:
    ZTSignal();
    ~ZTSignal() override;

    /// Two numbers of the signal's own.
    std::uint64_t getSignalData1() const { return signalData1; }
    void setSignalData1(std::uint64_t newSignalData1) { signalData1 = newSignalData1; }
    std::uint64_t getSignalData2() const { return signalData2; }
    void setSignalData2(std::uint64_t newSignalData2) { signalData2 = newSignalData2; }

private:
    std::uint64_t signalData1;
    std::uint64_t signalData2;
};

} // namespace ZT

#endif
