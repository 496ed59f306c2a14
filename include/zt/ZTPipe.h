#ifndef ZT_ZTPIPE_H
#define ZT_ZTPIPE_H

#include "zt/ZTEndPoint.h"

namespace ZT {

/// An anonymous pipe inside one process, mostly to wake a thread that waits on a ZTEndPointManager.
///
/// One thread may write while another reads; init() and deinit() must not run beside either. No
/// operation throws, but for std::bad_alloc out of the constructor. Every failure prints one line
/// in the section "zt_pipe".
///
/// Writing into a pipe whose read end is closed raises SIGPIPE, which ends the process by default:
/// handle it (ZTSignalHandler) or ignore it. Programs that the process starts inherit both
/// descriptors, so the end of file does not come before they have ended, too.
class ZT_API ZTPipe : public ZTEndPoint {
public:
    /// Registers the section; the pipe itself comes with init(). Not reconnected by a manager.
    ZTPipe();

    /// Closes the pipe; prints "pipe already deinitialized" if there is none.
    ~ZTPipe() override;

    /// Creates the pipe. 0; 3 if the system refuses or there is a pipe already, which then stays.
    int init();

    /// Closes the pipe. Always 0, also when there is none.
    int deinit();

    /// Reads `length` bytes in one read(), waiting while the pipe is empty.
    ///
    /// 0 if all came; 5 at the end of file, on an error, and when fewer bytes came: those are in
    /// `buffer`, consumed; 20 without a pipe, with a null `buffer` or a `length` below 1.
    int readFromPipe(void* buffer, int length);

    /// Writes `length` bytes in one write(), waiting while the pipe is full.
    ///
    /// 0 if all went; 6 on an error or when fewer bytes went; 20 without a pipe, with a null
    /// `buffer` or a `length` below 1.
    int writeIntoPipe(const void* buffer, int length) const;

    /// Whether a read would not wait: bytes are there, or the write end is closed. Never waits.
    bool isReadable() const;

    /// How many bytes can be read now; 0 also without a pipe.
    int getNoOfBytesAvailable() const;

    /// Both are -1 without a pipe.
    int getReadEndPointID() const override;
    int getWriteEndPointID() const override;

    /// Whether there is a pipe. An end of file does not change it.
    bool isConnected() const override;

    /// The same as init(): on an open pipe it returns 3 and changes nothing.
    int reconnect() override;

private:
    bool isUsable(const void* buffer, int length) const;

    bool initialized;
    int readDescriptor;
    int writeDescriptor;
    unsigned int reserved; // 0; a part of the layout
    unsigned int debugSection;
};

} // namespace ZT

#endif
