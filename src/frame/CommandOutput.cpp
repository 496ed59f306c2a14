#include "frame/CommandOutput.h"

#include <cerrno>
#include <cstdio>

namespace ZT {

namespace {

const int PIECE_SIZE = 128;

} // namespace

bool appendCommandOutput(const std::string& command, std::string& output)
{
    std::FILE* stream = popen(command.c_str(), "r");
    if (stream == nullptr) {
        return false;
    }
    bool isBroken = false;
    while (std::feof(stream) == 0 && !isBroken) {
        char piece[PIECE_SIZE] = "";
        if (std::fgets(piece, PIECE_SIZE, stream) == nullptr) {
            // A signal fails a read, but not the stream. What came before it is in the piece.
            isBroken = std::ferror(stream) != 0 && errno != EINTR;
        }
        output += piece;
    }
    pclose(stream);
    return true;
}

} // namespace ZT
