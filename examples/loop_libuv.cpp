// The manager in libuv's main loop: loop_libuv PATH

#include "Services.h"

#include <uv.h>

namespace {

void dispatch(uv_poll_t* poll, int /*status*/, int /*events*/)
{
    auto& services = *static_cast<Services*>(poll->data);
    services.manager.dispatch();
    if (services.areStopped()) {
        uv_close(reinterpret_cast<uv_handle_t*>(poll), nullptr);
    }
}

} // namespace

int main(int argc, char** argv)
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    uv_loop_t loop;
    uv_loop_init(&loop);
    uv_poll_t poll;
    uv_poll_init(&loop, &poll, services.manager.getDescriptor());
    poll.data = &services;
    uv_poll_start(&poll, UV_READABLE, dispatch);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
}
