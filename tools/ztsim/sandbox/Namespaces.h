#ifndef ZTSIM_NAMESPACES_H
#define ZTSIM_NAMESPACES_H

#include "Invocation.h"

#include <string>

namespace ztsim {

/// The program.
constexpr const char* BUBBLEWRAP = "bwrap";

/// Runs that by bubblewrap, in namespaces of its own, with the folders of the device.
Invocation inNamespaces(const Invocation& inside);

/// From what bubblewrap said, with what may be done about it.
std::string explainRefusal(const std::string& errors);

} // namespace ztsim

#endif
