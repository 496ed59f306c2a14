#ifndef ZTSIM_PLACE_H
#define ZTSIM_PLACE_H

#include "Way.h"

#include <string>
#include <utility>

namespace ztsim {

/// Where the files of a device without namespaces are. It has two objects, one outside and one
/// inside, for the one that lives longer removes them.
class Place {
public:
    /// Throws std::runtime_error if something is there already.
    explicit Place(Way way);

    /// What another process has made.
    explicit Place(std::string root) : root(std::move(root)) {}

    ~Place();

    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    /// The folder below which they have the paths of the device; empty for the real ones.
    const std::string root;

private:
    int lock = -1; ///< one device at a time has the real paths
};

} // namespace ztsim

#endif
