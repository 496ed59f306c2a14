// The manager in Boost.Asio's main loop: loop_asio PATH

#include "Services.h"

#include <boost/asio.hpp>

namespace {

using Descriptor = boost::asio::posix::stream_descriptor;

void dispatchFromNowOn(Descriptor& descriptor, Services& services)
{
    descriptor.async_wait(Descriptor::wait_read, [&](const boost::system::error_code& error) {
        if (error) {
            return;
        }
        services.manager.dispatch();
        if (!services.areStopped()) {
            dispatchFromNowOn(descriptor, services);
        }
    });
}

} // namespace

int main(int argc, char** argv) // NOLINT(bugprone-exception-escape): it may end the process
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    boost::asio::io_context loop;
    Descriptor descriptor(loop, services.manager.getDescriptor());
    dispatchFromNowOn(descriptor, services);
    loop.run();
    descriptor.release(); // it is the manager's to close
}
