#include "CopyPlan.h"
#include "Failure.h"
#include "Output.h"
#include "Progress.h"
#include "Reader.h"
#include "StopSignals.h"
#include "Verbs.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"
#include "zt/ZTPipe.h"
#include "ztutil/ZTTick.h"

#include <atomic>
#include <csignal>
#include <memory>
#include <pthread.h>
#include <string>

namespace zt {
namespace {

const unsigned int REDRAW_MS = 500;

struct CopyOptions {
    std::string source;
    std::string target;
    bool move = false;
};

/// Hears the copy on its thread and wakes ours.
class CopyState final : public ZT::ZTFileHandlingInterface, private Reader {
public:
    CopyState() { check(pipe.init(), "make a pipe", "see how many files are open"); }

    void subscribeTo(ZT::ZTEndPointManager& manager) { manager.addEndPoint(&pipe, this); }

    void copyProgress(unsigned int newPercent) override
    {
        percent = newPercent;
        wake();
    }

    void copyFinished(int errorCode) override
    {
        code = errorCode;
        finished = true;
        wake();
    }

    std::atomic<unsigned int> percent{0};
    std::atomic<int> code{0};
    std::atomic<bool> finished{false};

private:
    void wake()
    {
        const char byte = 0;
        pipe.writeIntoPipe(&byte, sizeof byte);
    }

    int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                           ZT::ZTEndPointManager* /*manager*/) override
    {
        char byte = 0;
        return pipe.readFromPipe(&byte, sizeof byte);
    }

    ZT::ZTPipe pipe;
};

/// Holds back all signals, also for the threads that start meanwhile, which keep it so: signals are
/// for the thread that waits for them.
class HeldSignals {
public:
    HeldSignals()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, &before);
    }

    ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &before, nullptr); }

    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    sigset_t before{};
};

void start(ZT::ZTFileHandling& handling, const CopyPlan& plan, const CopyOptions& options,
           CopyState& state)
{
    const HeldSignals held;
    const std::string target = plan.target().string();
    const int result = plan.isFolder()
                           ? handling.copyDir(options.source, target, !options.move, &state)
                           : handling.copyFile(options.source, target, !options.move, &state);
    check(result, "copy \"" + escape(options.source) + "\" to \"" + escape(target) + '"',
          result == 41 ? "copy a folder into a folder that is there: mkdir TARGET"
                       : "see that SOURCE is there and may be read");
}

/// Returns the signal that has stopped it, or 0.
int follow(ZT::ZTFileHandling& handling, CopyState& state)
{
    StopSignals signals;
    ZT::ZTEndPointManager manager;
    state.subscribeTo(manager);
    signals.subscribeTo(manager);
    Progress progress;
    const auto wait = [&manager] {
        manager.waitForEndPoints(ZT::ZTTick::getTickCount() + REDRAW_MS, 0);
    };
    while (!state.finished && StopSignals::received() == 0) {
        progress.show(state.percent);
        wait();
    }
    if (state.finished) {
        progress.show(state.percent);
    }
    progress.end();
    if (!state.finished) {
        handling.stop();
        complain("stopping after the file that is being copied; Ctrl-C again ends at once");
    }
    while (!state.finished) {
        wait();
    }
    handling.join();
    return StopSignals::received();
}

std::string amount(const CopyPlan& plan)
{
    return std::to_string(plan.files()) + (plan.files() == 1 ? " file, " : " files, ") +
           std::to_string(plan.bytes()) + " bytes";
}

/// A stop that came too late has stopped nothing.
void checkStopped(int signal, const CopyState& state)
{
    if (signal != 0 && (state.code != 0 || state.percent < 100)) {
        throw Failure(STOPPED_BY + signal, "stopped at " + std::to_string(state.percent) + " %",
                      "the same again, which begins anew with what is left in SOURCE");
    }
}

std::string adviceFor(int code)
{
    return code == 42 ? "take a SOURCE with files that are not empty; subfolders are left out"
                      : "see whether TARGET may be written and has room; the source is kept";
}

void copyVerb(const CopyOptions& options)
{
    const CopyPlan plan(options.source, options.target);
    plan.checkTargets();
    CopyState state; // outlives what calls it
    ZT::ZTFileHandling handling;
    start(handling, plan, options, state);
    checkStopped(follow(handling, state), state);
    const std::string verb = options.move ? "move" : "copy";
    check(state.code, verb + " \"" + escape(options.source) + '"', adviceFor(state.code));
    plan.checkResult();
    printLine((options.move ? "moved " : "copied ") + amount(plan));
    if (plan.leftOut() > 0) {
        complain("left out, for they are no regular files: " + std::to_string(plan.leftOut()));
    }
}

} // namespace

void addCopy(CLI::App& app)
{
    const auto options = std::make_shared<CopyOptions>();
    CLI::App* const copy = app.add_subcommand(
        "copy", "Copy a file, or the regular files of a folder into a folder; Ctrl-C stops it");
    copy->add_option("SOURCE", options->source, "A file or a folder")->required();
    copy->add_option("TARGET", options->target, "A file, or a folder that is there")->required();
    copy->add_flag("--move", options->move, "Delete each source that was copied");
    copy->callback([options] { copyVerb(*options); });
}

} // namespace zt
