#ifndef ZTSIM_PRELOADING_H
#define ZTSIM_PRELOADING_H

#include <string>

namespace ztsim {

/// From now on the programs that this process starts find the device's files below that folder.
/// Throws std::runtime_error if that program, on the PATH or of that path, cannot be served so.
void preloadFor(const std::string& root, const std::string& command);

} // namespace ztsim

#endif
