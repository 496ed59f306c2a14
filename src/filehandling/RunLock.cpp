#include "filehandling/RunLock.h"

#include <boost/thread/exceptions.hpp>

#include <cerrno>

namespace ZT {

void RunLock::refuseWorker() const
{
    if (worker.load() == std::this_thread::get_id()) {
        throw boost::thread_resource_error(EDEADLK, "boost thread: trying joining itself");
    }
}

} // namespace ZT
