#ifndef ZT_ZTFILEHANDLING_H
#define ZT_ZTFILEHANDLING_H

#include "zt/ztExport.h"

#include <atomic>
#include <memory>
#include <pthread.h>
#include <string>

namespace ZT {

class RunLock;
class WakeUp;
class ZTFileHandlingInterface;
class ZTThread;

/// Copies or moves one file, or the regular files of one folder, on a thread of its own, and tells
/// a ZTFileHandlingInterface how it goes. One object does one run at a time, and many in turn.
///
/// The thread makes a step every 200 ms of the wall clock (setting that forward ends a wait,
/// setting it back makes one so much longer) and copies at most one file in each, as ZTCopy does:
/// slow, but gentle to a flash medium. A file takes three steps, a folder four and one for each
/// entry, "." and ".." among them.
///
/// An object belongs to one thread at a time; stop(), getErrorCode(), isRunning() and
/// isThreadEnded() may be called from any, callbacks included, while it lives. What happens is
/// traced in the section "zt_copy_thread". Boost's exceptions come out where it says so; memory can
/// be lacking anywhere, which throws std::bad_alloc and, on the copy's thread, ends the process.
///
/// After fork() the child has no thread that copies. There release() and the destructor of an
/// object whose run began in the parent return at once and touch nothing of the parent's; nothing
/// else is promised.
///
/// A process that is killed (SIGKILL) during a run leaves the sources that it has not moved as they
/// are, of each target that is not done a beginning, before the end of an older, longer one, and
/// nothing else: a file that is being moved is whole in one place at least. The same run, started
/// again, does the rest; without a rest a move of a file gives 16, of a folder 42.
///
/// When the power goes, tried on ext4 and on UBIFS: a source is deleted only when its target is on
/// the medium in full, and so is the target of each copy that has finished with 0. The source of a
/// file that was just moved may be there again.
///
/// Codes, as results and for copyFinished():
///
///      0  success
///     16  the source is no file, a name is empty, or a file could not be opened or written
///     19  there is no thread
///     41  the source or target is no folder, or its name is empty
///     42  the folder's regular files have 0 bytes together, or it cannot be opened: nothing is
///         copied
///     43  a stop came between the first entry of the folder and the last; getErrorCode() says so
///         from the first entry on
///
/// Beware:
/// - Moving deletes a source for which ZTCopy::copy() returned 0. A source that cannot be read to
///   its end is one of them, one whose copy cannot be flushed to the medium, and one that is its
///   own target, under whatever name. A copy that gives 16 keeps its source, but not the ones
///   before it.
/// - A source that cannot be deleted stays, and nothing tells. Names may be links: then the link is
///   deleted and what it leads to stays.
/// - A stop, and so the next run and the destructor, also end in copyFinished(), with the code as
///   it stands: before the first step that is 0, though nothing was copied.
/// - A target that is a FIFO holds the run until somebody reads it. No stop() ends that, and so the
///   next run, join(), release() and the destructor wait, too.
/// - A folder that cannot be listed to its end counts as ended there.
/// - Two runs of the same kind at once, also of two objects, disturb each other: where the run
///   stands is known once for all folders and once for all files in the process. A run may then
///   skip or repeat steps, end early with 0 or a code of the other, or go on until it is stopped.
/// - Each copied file sets the umask of the whole process to 0. What else ZTCopy::copy() does that
///   surprises goes for each one, too.
/// - Subfolders, links, sockets and the like in a folder are left out, and so is every entry on a
///   file system that does not tell the types of its entries (DT_UNKNOWN).
/// - Sizes count in 32 bits: a folder of exactly 4 GiB has 0 bytes, and percentages of larger ones
///   are wrong.
class ZT_API ZTFileHandling {
public:
    /// Registers the section. Throws boost::thread_resource_error if the system lacks a mutex or
    /// condition variable.
    ZTFileHandling();

    /// release().
    virtual ~ZTFileHandling();

    ZTFileHandling(const ZTFileHandling&) = delete;
    ZTFileHandling& operator=(const ZTFileHandling&) = delete;

    /// Starts copying the regular files of folder `source` into folder `target`, after release().
    /// They are kept if `cm` is true and moved if it is false. `interface` stays the caller's; null
    /// for nobody, then the copies are not flushed while they are written.
    ///
    /// 0 once the thread runs; 19; 41 without a thread. Throws boost::thread_resource_error (error
    /// 11, EAGAIN) if the system starts no thread and boost::lock_error if it refuses a lock.
    int copyDir(const std::string& source, const std::string& target, bool cm,
                ZTFileHandlingInterface* interface);

    /// The same for one file; `target` is a file's path, too. 0, 16 or 19.
    int copyFile(const std::string& source, const std::string& target, bool cm,
                 ZTFileHandlingInterface* interface);

    /// Starts copying with the folders as they were set, and ends the run before; copyDir() does
    /// all that is needed. 0 or 19, throws as copyDir(). isRunning() is start()'s to set. A stop()
    /// that came without a run, and without a start() since, ends this one after its first step.
    int create(bool cm, ZTFileHandlingInterface* interface);

    /// Asks the run to end and does not wait: a file that is being copied is finished before.
    /// Nothing takes that back. Throws boost::lock_error if the system refuses a lock.
    void stop();

    /// Waits without limit until the run has ended; at once without one.
    void join();

    /// Ends the run as stop() and join() do and forgets everything that was set.
    void release();

    /// Both forget everything that was set, and end the run before without a trace of it.
    void init();
    void reset();

    /// Store a name. 0; 41 for a folder that is none, 16 for a source that is no file, and the same
    /// for empty names; this is then the error code, too. Not during a run.
    int setSourceDirectory(const std::string& directory);
    int setTargetDirectory(const std::string& directory);
    int setCurrentSourceFile(const std::string& file);
    int setCurrentTargetFile(const std::string& file);

    /// Mark the object as running, or the run as over. copyDir(), copyFile() and the end of a run
    /// do so themselves; these start and end nothing.
    void start();
    void setThreadEnd(bool end);

    /// The last code; 0 after release().
    int getErrorCode() const;

    /// Whether copyDir(), copyFile() or start() was called, and since then neither stop() nor
    /// setThreadEnd(), and no run has ended.
    bool isRunning() const;

    /// Whether the run is done and copyFinished() was called. A stop() makes it false, also one
    /// that comes after the end, and then it stays so: wait for the end with join(), not in a loop
    /// on this.
    bool isThreadEnded() const;

    /// The key of the section "zt_copy_thread".
    unsigned int getDebugSection() const;

    /// What the thread does, given the ZTFileHandling; for create() and copyFile() alone.
    static void copy(void* self);
    static void copyTheFile(void* self);

private:
    friend class CopyWorker;
    friend class DirectoryCopyWorker;
    friend class FileCopyWorker;

    WakeUp& wakeUp();
    int startWorker(void (*worker)(void*), bool newCm, ZTFileHandlingInterface* newInterface);
    void endWorker();
    void requestStop();
    int checkDirectory(const std::string& directory);
    int keepFailure(int result);
    void setRunning();
    void trace(const char* text) const;

    std::atomic<bool> running;
    std::atomic<bool> stopRequested;
    std::atomic<bool> threadEnded;
    std::atomic<bool> notified; // also without a run
    std::string sourceDirectory;
    std::string targetDirectory;
    std::string currentSourceFile;
    std::string currentTargetFile;
    bool cm;
    std::atomic<int> errorCode;
    ZTFileHandlingInterface* interface;
    // A WakeUp, which is a boost::condition_variable and a boost::mutex: applications need no
    // Boost.
    alignas(pthread_cond_t) unsigned char wakeUpStorage[sizeof(pthread_cond_t) +
                                                        2 * sizeof(pthread_mutex_t)];
    std::unique_ptr<RunLock> lock;
    std::unique_ptr<ZTThread> thread;
    unsigned int debugSection;
};

} // namespace ZT

#endif
