#ifndef ZT_ZTCOPY_H
#define ZT_ZTCOPY_H

#include "zt/ztExport.h"

#include <string>

namespace ZT {

class ZTFileHandlingInterface;

/// Copies the bytes of one file on the calling thread, in chunks of 1024, and tells how far it is.
///
/// An object belongs to one thread at a time. Nothing is printed and nothing throws, and nothing is
/// repeated after a signal (EINTR). Programs that the process starts meanwhile inherit the files.
class ZT_API ZTCopy {
public:
    /// What init() sets.
    ZTCopy();
    virtual ~ZTCopy();

    /// Both clear the interface, the offset and the total.
    void init();
    void reset();

    /// Where the copy stands in a larger work, in bytes: `offset` of `total` are done. The next
    /// copy() counts on from there.
    void setOffsetAndTotal(unsigned int offset, unsigned int total);

    /// Who hears of the progress; it stays the caller's. Null for nobody: then nothing is counted,
    /// and only the end is flushed to the medium.
    void setInterface(ZTFileHandlingInterface* interface);

    /// Copies the bytes of `source` over those of `target`, which it creates (mode 0664) if it is
    /// missing; nothing but the bytes. Links are followed. 0; 16 if a file cannot be opened or
    /// written.
    ///
    /// Reports a percentage when it is larger than the last one of this file, and flushes every
    /// chunk beyond 50 % to the medium (fsync). The percentage is offset / total, the total
    /// being the caller's word: it can pass 100. Beyond the range, and with a total of 0, it is the
    /// largest unsigned int. The offset starts again from 0 after 4 GiB.
    ///
    /// Beware:
    /// - An older, longer target keeps the bytes behind the copied ones.
    /// - A read that fails counts as the end of the file: the result is 0, the target incomplete.
    ///   So a source that is a folder gives an empty target.
    /// - A flush that fails is not noticed: the result is 0, the medium may have nothing.
    /// - A FIFO waits without limit for its other end. A reader of one that goes away raises
    ///   SIGPIPE, which ends the process by default: handle it (ZTSignalHandler) or ignore it.
    /// - It sets the umask of the whole process to 0.
    /// - If just one of the files can be opened, its descriptor stays open for good; a target may
    ///   have been created by then.
    int copy(const std::string& source, const std::string& target);

    /// Writes all `length` bytes, which are less than 2 GiB, in as many writes as it takes; a write
    /// of 0 bytes is tried again without limit. Returns `length`, or -1 as soon as a write fails.
    static int zt_write(int fd, const void* data, unsigned int length);

private:
    bool copyContent(int input, int output);

    ZTFileHandlingInterface* interface;
    unsigned int offset;
    unsigned int total;
};

} // namespace ZT

#endif
