#ifndef ZT_LOCALADDRESS_H
#define ZT_LOCALADDRESS_H

#include <string>

namespace ZT {

/// Runs "rm -f " and `path` and "*" in the shell, unquoted.
void removeFilesThatBeginWith(const std::string& path);

/// Binds a local socket to a path, where it replaces what is there. False if the system refuses, or
/// the path does not fit.
bool bindTo(int descriptor, const std::string& path);

/// Connects a local socket to whoever listens at `path`. A non-blocking one waits for that:
/// `timeoutMs` at most, without limit if it is negative.
///
/// 0 if it is connected at once, 1 if that took a wait; 14 or 17 after a line that begins with
/// `operation`.
int connectWithin(int descriptor, const std::string& path, long timeoutMs,
                  const std::string& operation);

} // namespace ZT

#endif
