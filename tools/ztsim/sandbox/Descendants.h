#ifndef ZTSIM_DESCENDANTS_H
#define ZTSIM_DESCENDANTS_H

#include <set>
#include <sys/types.h>

namespace ztsim {

/// From now on what loses its parent becomes a child of this process.
void adoptOrphans();

std::set<pid_t> children();

/// Kills all children but these, and theirs, which are adopted; returns when they are gone. What
/// this user may not kill is left.
void killDescendants(const std::set<pid_t>& spared = {});

} // namespace ztsim

#endif
