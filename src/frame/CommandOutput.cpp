#include "frame/CommandOutput.h"

#include "frame/holdsNul.h"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace ZT {

namespace {

const int PIECE_SIZE = 128;

} // namespace

bool appendCommandOutput(const std::string& command, std::string& output)
{
    if (holdsNul(command)) {
        return false;
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(popen(command.c_str(), "r"),
                                                                 pclose);
    if (stream == nullptr) {
        return false;
    }
    bool isBroken = false;
    while (std::feof(stream.get()) == 0 && !isBroken) {
        char piece[PIECE_SIZE] = "";
        if (std::fgets(piece, PIECE_SIZE, stream.get()) == nullptr) {
            // A signal fails a read, but not the stream. What came before it is in the piece.
            isBroken = std::ferror(stream.get()) != 0 && errno != EINTR;
        }
        output += piece;
    }
    return true;
}

} // namespace ZT
