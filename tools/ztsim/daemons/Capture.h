#ifndef ZTSIM_CAPTURE_H
#define ZTSIM_CAPTURE_H

#include "Bytes.h"
#include "Journal.h"

namespace ztsim {

/// Writes the records between daemons and clients into a file of the format pcapng, which Wireshark
/// opens. Each is a packet of the link type USER0; docs/guide/wire-formats.md says what it holds.
class Capture {
public:
    /// Into an open file, which becomes the capture's.
    explicit Capture(int file);
    ~Capture();

    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Of other transfers than records there is nothing to write.
    void write(const Transfer& transfer);

private:
    void append(const Bytes& bytes);

    int file;
};

} // namespace ztsim

#endif
