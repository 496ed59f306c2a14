#ifndef ZTSIM_SANDBOX_H
#define ZTSIM_SANDBOX_H

#include "Options.h"

namespace ztsim {

/// The outside of the sandbox: runs this program again, with the same arguments, in the way of the
/// options or else the best that there is, passes signals on to it, and returns the exit code it
/// tells.
int runOutside(const Options& options, char** arguments);

} // namespace ztsim

#endif
