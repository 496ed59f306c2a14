#include "zt/ZTPipe.h"

#include "frame/noDescriptor.h"
#include "ipc/DescriptorSet.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTTick.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace ZT {

namespace {} // namespace

ZTPipe::ZTPipe()
    : ZTEndPoint(false), initialized(false), readDescriptor(NO_DESCRIPTOR),
      writeDescriptor(NO_DESCRIPTOR), debugSection(ZTDebug::insertNewDebugSection("zt_pipe"))
{
    reserved = 0; // only to be used somewhere, of which compilers want to see a sign
}

ZTPipe::~ZTPipe()
{
    deinit();
}

int ZTPipe::init()
{
    if (initialized) {
        ZTDebug::debugPrintError(1, debugSection, "%s", "pipe is already initialized");
        return 3;
    }
    int descriptors[2] = {NO_DESCRIPTOR, NO_DESCRIPTOR};
    if (pipe(descriptors) != 0) {
        ZTDebug::debugPrintError(1, debugSection, "%s", "pipe creation failed ");
        return 3;
    }
    readDescriptor = descriptors[0];
    writeDescriptor = descriptors[1];
    initialized = true;
    return 0;
}

int ZTPipe::deinit()
{
    if (!initialized) {
        ZTDebug::debugPrintError(1, debugSection, "%s", "pipe already deinitialized");
        return 0;
    }
    close(readDescriptor);
    close(writeDescriptor);
    initialized = false;
    readDescriptor = NO_DESCRIPTOR;
    writeDescriptor = NO_DESCRIPTOR;
    return 0;
}

bool ZTPipe::isUsable(const void* buffer, int length) const
{
    return initialized && buffer != nullptr && length > 0;
}

int ZTPipe::readFromPipe(void* buffer, int length)
{
    if (!isUsable(buffer, length)) {
        ZTDebug::debugPrintError(
            1, debugSection, "%s % d",
            "no data available to read from the read End Pint with ID : ", readDescriptor);
        return 20;
    }
    const ssize_t count = read(readDescriptor, buffer, static_cast<std::size_t>(length));
    if (count == 0) {
        ZTDebug::debugPrintError(
            1, debugSection, "%s %d",
            "cannot read from the pipe as end of file reached , Read end ID : ", readDescriptor);
        return 5;
    }
    if (count < 0) {
        ZTDebug::debugPrintError(1, debugSection, "%s %d",
                                 "failed to read from the pipe , read end ID :", readDescriptor);
        return 5;
    }
    if (count < length) {
        ZTDebug::debugPrintError(
            1, debugSection, "%s %d %s %d %s %d",
            "failed to read requested no of bytes from the pipe, No of bytes requested: ", length,
            ", Bytes actually read: ", static_cast<int>(count), ", read end ID: ", readDescriptor);
        return 5;
    }
    return 0;
}

int ZTPipe::writeIntoPipe(const void* buffer, int length) const
{
    ZTDebug::debugPrintError(4, debugSection,
                             "ZTPipe::writeIntoPipe [%u] bytes to write %d to Endpoint %d",
                             ZTTick::getTickCount(), length, writeDescriptor);
    if (!isUsable(buffer, length)) {
        ZTDebug::debugPrintError(
            1, debugSection,
            "ZTPipe::writeIntoPipe no data available to write into the pipe or "
            "the pipe is uninitialized at write end point id %d",
            writeDescriptor);
        return 20;
    }
    const ssize_t count = write(writeDescriptor, buffer, static_cast<std::size_t>(length));
    if (count < 0) {
        ZTDebug::debugPrintError(1, debugSection, "ZTPipe::writeIntoPipe failed %d",
                                 writeDescriptor);
        return 6;
    }
    if (count < length) {
        ZTDebug::debugPrintError(
            1, debugSection, "ZTPipe::writeIntoPipe failed %d bytes to write %d bytes written %d",
            writeDescriptor, length, static_cast<int>(count));
        return 6;
    }
    ZTDebug::debugPrintError(4, debugSection,
                             "ZTPipe::writeIntoPipe [%u] bytes written %d to Endpoint %d",
                             ZTTick::getTickCount(), static_cast<int>(count), writeDescriptor);
    return 0;
}

bool ZTPipe::isReadable() const
{
    DescriptorSet descriptors;
    descriptors.add(readDescriptor);
    return descriptors.awaitReadable(0) >= 1 && descriptors.contains(readDescriptor);
}

int ZTPipe::getNoOfBytesAvailable() const
{
    int available = 0;
    ioctl(readDescriptor, FIONREAD, &available);
    return available;
}

int ZTPipe::getReadEndPointID() const
{
    return readDescriptor;
}

int ZTPipe::getWriteEndPointID() const
{
    return writeDescriptor;
}

bool ZTPipe::isConnected() const
{
    return initialized;
}

int ZTPipe::reconnect()
{
    return init();
}

} // namespace ZT
