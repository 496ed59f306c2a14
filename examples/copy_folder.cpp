// Copies the files of a folder in the background, or moves them, and shows how far it is:
//
//     copy_folder SOURCE TARGET [move]

#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

class ProgressLine : public ZT::ZTFileHandlingInterface {
public:
    void copyProgress(unsigned int percent) override
    {
        // Target files that were there before and are longer count as more than all.
        std::printf("\r%3u %%", std::min(percent, 100U));
        std::fflush(stdout);
    }

    void copyFinished(int errorCode) override { std::printf("\n%s\n", meaning(errorCode)); }

private:
    static const char* meaning(int errorCode)
    {
        switch (errorCode) {
        case 0:
            return "done";
        case 16:
            return "a file could not be copied";
        case 42:
            return "there is nothing to copy";
        default:
            return "it ended early";
        }
    }
};

} // namespace

int main(int argumentCount, char* arguments[])
{
    const bool move = argumentCount == 4 && std::string(arguments[3]) == "move";
    if (argumentCount != 3 && !move) {
        std::fputs("usage: copy_folder SOURCE TARGET [move]\n", stderr);
        return 2;
    }
    ProgressLine line; // outlives what calls it
    ZT::ZTFileHandling handling;
    if (handling.copyDir(arguments[1], arguments[2], !move, &line) != 0) {
        std::fputs("one of them is no folder\n", stderr);
        return 1;
    }
    handling.join();
    return handling.getErrorCode() == 0 ? 0 : 1;
}
