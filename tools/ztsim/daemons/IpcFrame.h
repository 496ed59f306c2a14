#ifndef ZTSIM_IPCFRAME_H
#define ZTSIM_IPCFRAME_H

#include "Bytes.h"

#include <string>
#include <string_view>
#include <vector>

namespace ztsim {

/// Finds the frames in what one end of a connection between processes sends.
class IpcFrames {
public:
    /// Takes bytes as they come, and returns the frames that are whole now.
    std::vector<Bytes> add(std::string_view bytes);

    /// The part of a frame that has come so far.
    const Bytes& rest() const { return part; }

private:
    Bytes part;
};

/// What a frame says, or the part of one.
std::string describeFrame(const Bytes& bytes);

} // namespace ztsim

#endif
