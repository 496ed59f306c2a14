#ifndef ZTSIM_SANDBOX_H
#define ZTSIM_SANDBOX_H

#include "Options.h"

namespace ztsim {

/// The outside of the sandbox: runs this program again, with the same arguments, in namespaces of
/// its own, passes signals on to it, and returns the exit code it tells.
int runOutside(const Options& options, int argc, char** argv);

} // namespace ztsim

#endif
