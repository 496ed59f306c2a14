// The manager in GLib's main loop: loop_glib PATH

#include "Services.h"

#include <glib-unix.h>

namespace {

gboolean dispatch(gint /*descriptor*/, GIOCondition /*condition*/, gpointer services)
{
    static_cast<Services*>(services)->manager.dispatch();
    return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char** argv)
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    const guint source =
        g_unix_fd_add(services.manager.getDescriptor(), G_IO_IN, dispatch, &services);
    while (!services.areStopped()) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(source);
}
