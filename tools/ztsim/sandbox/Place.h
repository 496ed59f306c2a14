#ifndef ZTSIM_PLACE_H
#define ZTSIM_PLACE_H

#include "Way.h"

#include <string>

namespace ztsim {

/// Where the files of a device without namespaces are. It has two objects, one outside and one
/// inside, for the one that lives longer removes them.
class Place {
public:
    /// The outside's. Throws std::runtime_error if something is there already.
    explicit Place(Way way);

    /// The inside's, which makes the folders.
    explicit Place(const std::string& root);

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
