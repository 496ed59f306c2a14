#ifndef ZTSIM_WAY_H
#define ZTSIM_WAY_H

namespace ztsim {

/// How the device is set apart from the machine.
enum class Way {
    Namespaces, ///< in every respect
    Preload,    ///< its files, for the programs that a preloaded library can serve
    Machine     ///< not at all: its files are those of the machine
};

} // namespace ztsim

#endif
