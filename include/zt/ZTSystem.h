#ifndef ZT_ZTSYSTEM_H
#define ZT_ZTSYSTEM_H

#include "zt/ztExport.h"

#include <string>

namespace ZT {

/// Processes, commands, memory and the version of the system.
///
/// Names and commands reach the shell as they are, with the rights of the process: never pass on
/// what comes from outside unchecked. What holds a NUL is not run. A command is waited for without
/// limit and inherits the open descriptors. While one runs by system(), SIGINT and SIGQUIT are
/// ignored and SIGCHLD is blocked; in a process that ignores SIGCHLD its status is lost, and counts
/// as a failure.
///
/// Any thread may call. Nothing but std::bad_alloc is thrown.
class ZT_API ZTSystem {
public:
    /// Whether a process of that name runs and may be sent signals: the shell runs killall -0
    /// "NAME", without output. The name stands between double quotes, in which the shell still
    /// heeds $, `, \ and ". False also if there is no killall.
    ///
    /// Beware: the process that asks counts, too, and the shell ("sh") that it runs for that; so
    /// does a process that has ended, until its parent has waited for it. What begins with "-" is
    /// an option of killall: "-l" is true.
    static bool isProcessRunning(const std::string& name);

    /// Runs the command by system(). Its exit code, 0 to 255; -1 if a signal ended it or it could
    /// not be run. The shell's 127 means that it has not found the command.
    static int runSystemCommand(const std::string& command);

    /// Appends what the command writes to its standard output to `output`, as it comes. It is text:
    /// what follows a NUL within a line, or within 127 bytes of a longer one, is left out. 0,
    /// whatever the command's exit code; 16 if it cannot be run, and then `output` is as it was.
    /// A signal does not end it.
    static int getSystemCommandOutput(const std::string& command, std::string& output);

    /// The number of this process.
    static int getProcessID();

    /// "BSP " and the release of the kernel, for example "BSP 4.9.88". If the system does not tell
    /// it, prints a line on standard output and returns "BSP " alone.
    static std::string getSystemVersion();

    /// In MiB. Memory is counted in 32 bits of bytes, as the device does: what goes beyond 4 GiB is
    /// not seen, so 5 GiB are 1024. 0 if the system does not tell.
    static unsigned int getFreeRAM();
    static unsigned int getTotalRAM();

    /// Makes the kernel drop its page cache and its caches of names and inodes, by a 3 in
    /// "/proc/sys/vm/drop_caches"; then, if `compactMemory`, join its free memory into larger
    /// blocks, by a 1 in "/proc/sys/vm/compact_memory". Only root may; a refusal is not told. What
    /// is not on the disk yet stays: call sync() before to have it dropped, too.
    static void tidyUpCaches(bool compactMemory);
};

} // namespace ZT

#endif
