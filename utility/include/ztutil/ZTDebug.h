#ifndef ZTUTIL_ZTDEBUG_H
#define ZTUTIL_ZTDEBUG_H

#include "ztutil/ztUtilExport.h"

#include <string>

namespace ZT {

/// Prints diagnostic lines: each has a level (1 a failure, 4 a trace) and belongs to a section, the
/// name of the part that prints it, so that a user can choose what to see.
///
/// All calls are safe from any thread, from static constructors and destructors, and in a child
/// made by fork(), whatever other threads of its parent were printing. They are not for signal
/// handlers.
///
/// The environment is read once, by the first call of any of these; a set-user-ID program ignores
/// it:
///
///     ZT_DEBUG_LEVEL      lines up to this level are shown; 0 silences all. Default: 1, also for
///                         what is not a number.
///     ZT_DEBUG_SECTIONS   names of the sections to show, separated by commas without blanks.
///                         Default: all.
///     ZT_DEBUG_OUTPUT     "stderr", "syslog" or the path of a file to append to. Default: stderr.
///
/// A line in stderr or the file is one write(2), which is never repeated. As any write it waits
/// while a pipe is full, and raises SIGPIPE when nobody reads the pipe any more:
///
///     2026-11-21 09:12:13.123 1 zt_pipe pipe is already initialized
///
/// that is local time, level, section and text, each control character among them a blank. syslog
/// has a time of its own and gets the rest, level 1 as LOG_ERR and any other as LOG_DEBUG. The file
/// is opened with the first line that goes there (mode 0666 less the umask, close-on-exec) and
/// stays open: a daemon closes inherited descriptors before that. If it cannot be opened, a line in
/// stderr says so and the lines go there.
///
/// A text of up to 511 characters, in a section whose name has up to 64, takes no memory but what
/// printf(3) and syslog(3) take by themselves. Lines are printed one at a time: a thread waits for
/// the write(2) of another.
///
/// dlclose() does not unload this library: a program that loads it again finds the sections, the
/// destination and the sink as they were, and no descriptor more than before.
class ZTUTIL_API ZTDebug {
public:
    /// Receives a wanted line. "section" is never freed, "text" is the caller's own, control
    /// characters included, and lives until the sink returns.
    typedef void (*Sink)(void* context, int level, const char* section, const char* text);

    /// Returns the key of the section of that name, which it registers if there is none yet: the
    /// same name always has the same key. May throw std::bad_alloc.
    static unsigned int insertNewDebugSection(const std::string& name);

    /// Returns the key of a registered section, or 0, which is no section's key.
    static unsigned int getDebugSectionKey(const std::string& name);

    /// Prints the text as one line, whatever its length. A level below 1 is taken as 1; the section
    /// of an unknown key is "?". Leaves errno as it was, throws nothing.
    ///
    /// Returns 0 if the line went out or is not wanted, 1 if it could not be written whole; syslog
    /// does not tell, so 0. A line above the level costs one atomic load and is not formatted.
    static int debugPrintError(int level, unsigned int key, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /// Lets a host program take the lines, in place of the environment's destination; null gives
    /// them back. Level and sections still decide which lines it gets.
    ///
    /// The sink is called by the thread that prints, one call at a time. When this returns, the old
    /// sink is not running and will not be called again, unless the old sink itself made the call.
    /// A sink may print: its own lines go to the environment's destination. It must not wait for a
    /// thread that may print or set a sink, and must not throw. Take it back before its code is
    /// unloaded.
    static void setSink(Sink sink, void* context);

    /// Shows the lines up to this level from now on, in place of ZT_DEBUG_LEVEL; 0 silences all.
    static void setLevel(int level);
};

} // namespace ZT

#endif
