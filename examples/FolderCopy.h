#ifndef ZT_EXAMPLES_FOLDERCOPY_H
#define ZT_EXAMPLES_FOLDERCOPY_H

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"
#include "zt/ZTPipe.h"

#include <cstdio>
#include <memory>
#include <string>

/// Copies a folder in the background. Its thread hands the progress to the thread of the manager
/// through a pipe, so that only that one prints.
class FolderCopy : public ZT::ZTFileHandlingInterface, public ZT::ZTEndPointHandler {
public:
    explicit FolderCopy(ZT::ZTEndPointManager& manager) : manager(manager)
    {
        pipe.init();
        manager.addEndPoint(&pipe, this);
    }

    ~FolderCopy() override
    {
        handling.reset(); // and with it the copy, which uses the pipe
        manager.removeEndPointsOf(this);
    }

    void start(const std::string& source, const std::string& target)
    {
        handling.reset(new ZT::ZTFileHandling);
        if (handling->copyDir(source, target, true, this) != 0) {
            std::puts("cannot copy");
        }
    }

    void copyProgress(unsigned int percent) override { tell({percent, -1}); }
    void copyFinished(int errorCode) override { tell({100, errorCode}); }

    int onEndPointReadable(ZT::ZTEndPoint*, ZT::ZTEndPointManager*) override
    {
        News news{};
        const int result = pipe.readFromPipe(&news, sizeof news);
        if (news.errorCode < 0) {
            std::printf("copied %u %%\n", news.percent);
        } else {
            std::printf("the copy has ended with %d\n", news.errorCode);
        }
        return result;
    }
    int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

private:
    struct News {
        unsigned int percent;
        int errorCode; ///< negative before the end
    };

    void tell(const News& news) const { pipe.writeIntoPipe(&news, sizeof news); }

    ZT::ZTEndPointManager& manager;
    ZT::ZTPipe pipe;
    std::unique_ptr<ZT::ZTFileHandling> handling;
};

#endif
