// The manager in systemd's main loop: loop_sd_event PATH

#include "Services.h"

#include <sys/epoll.h>
#include <systemd/sd-event.h>

namespace {

int dispatch(sd_event_source* source, int /*descriptor*/, uint32_t /*events*/, void* argument)
{
    auto& services = *static_cast<Services*>(argument);
    services.manager.dispatch();
    return services.areStopped() ? sd_event_exit(sd_event_source_get_event(source), 0) : 0;
}

} // namespace

int main(int argc, char** argv)
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    sd_event* loop = nullptr;
    sd_event_source* source = nullptr;
    sd_event_new(&loop);
    sd_event_add_io(loop, &source, services.manager.getDescriptor(), EPOLLIN, dispatch, &services);
    sd_event_loop(loop);
    sd_event_source_unref(source);
    sd_event_unref(loop);
}
