#ifndef ZT_SOAK_COPIER_H
#define ZT_SOAK_COPIER_H

#include "Actor.h"
#include "Check.h"
#include "support/TemporaryFolder.h"

#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"

#include <atomic>
#include <filesystem>
#include <string>

/// Copies a folder and a file at the same time, or moves them, and stops some of the runs. What was
/// not stopped is then there, byte for byte.
class Copier : public Actor {
public:
    using Actor::Actor;

    std::string report() const override { return std::to_string(runs) + " copies"; }

private:
    struct Ear : ZT::ZTFileHandlingInterface {
        void copyProgress(unsigned int percent) override
        {
            check(percent <= 100, "progress ends at 100 %");
        }
        void copyFinished(int errorCode) override
        {
            check(errorCode == 0 || errorCode == 43, "a copy succeeds or is stopped");
            ++finished;
        }

        std::atomic<int> finished{0};
    };

    void playRound() override
    {
        const TemporaryFolder scratch;
        const bool keep = random.isOneIn(2);
        std::filesystem::create_directory(scratch / "from");
        std::filesystem::create_directory(scratch / "to");
        const std::string one = writeRandom(scratch / "from/one");
        const std::string two = writeRandom(scratch / "from/two");
        const std::string single = writeRandom(scratch / "single");

        Ear ear;
        check(folders.copyDir(scratch / "from", scratch / "to", keep, &ear) == 0,
              "a folder's copy starts");
        check(files.copyFile(scratch / "single", scratch / "copied", keep, &ear) == 0,
              "a file's copy starts");
        const bool isStopped = random.isOneIn(4);
        if (isStopped) {
            pauseUpTo(1500);
            folders.stop();
        }
        folders.join();
        files.join();
        check(ear.finished == 2, "each copy ends once");
        runs += 2;

        checkCopied(scratch / "single", scratch / "copied", single, keep);
        if (!isStopped) {
            checkCopied(scratch / "from/one", scratch / "to/one", one, keep);
            checkCopied(scratch / "from/two", scratch / "to/two", two, keep);
        }
    }

    std::string writeRandom(const std::string& path)
    {
        std::string content(1 + random.below(100000), '\0');
        for (char& byte : content) {
            byte = static_cast<char>(random.number());
        }
        writeAll(path, content);
        return content;
    }

    static void checkCopied(const std::string& source, const std::string& target,
                            const std::string& content, bool isKept)
    {
        check(readAll(target) == content, "a copy has the bytes of its source");
        check(std::filesystem::exists(source) == isKept,
              "a source is kept or moved, as it was asked");
    }

    ZT::ZTFileHandling folders;
    ZT::ZTFileHandling files;
    unsigned int runs = 0;
};

#endif
