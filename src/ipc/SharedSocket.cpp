#include "ipc/SharedSocket.h"

namespace ZT {

SharedSocket* SharedSocket::emptyOf(std::unique_ptr<SharedSocket>& list)
{
    for (SharedSocket* place = list.get(); place != nullptr; place = place->next.get()) {
        if (place->isEmpty()) {
            return place;
        }
    }
    list = std::make_unique<SharedSocket>(std::move(list));
    return list.get();
}

} // namespace ZT
