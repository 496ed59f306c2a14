#ifndef ZTSIM_NETWORK_H
#define ZTSIM_NETWORK_H

namespace ztsim {

/// eth0 with the settings that the device comes with, and at the other end of its cable the
/// gateway, which has a network namespace of its own.
class Network {
public:
    Network();
    ~Network();

    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

private:
    int gateway; ///< a socket there, which keeps the namespace alive
};

} // namespace ztsim

#endif
