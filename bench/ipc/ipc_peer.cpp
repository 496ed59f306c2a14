// ipc_peer NAME PATH SIZE COUNT: the other process of ZTIPCEndPoint_bench. It connects to PATH with
// the contender NAME and answers every COUNT messages of SIZE bytes with one, until it is killed.

#include "bench/ipc/FloorLink.h"
#include "bench/ipc/NngLink.h"
#include "bench/ipc/PocoLink.h"
#include "bench/ipc/ZeroMqLink.h"
#include "bench/ipc/ZtLink.h"
#include "bench/ipc/answer.h"

#include <string>

namespace {

struct Contender {
    const char* name;
    void (*answer)(const std::string& path, std::uint32_t size, int count);
};

const Contender CONTENDERS[] = {{FloorLink::NAME, answer<FloorLink>},
                                {ZtLink::NAME, answer<ZtLink>},
                                {NngLink::NAME, answer<NngLink>},
                                {ZeroMqLink::NAME, answer<ZeroMqLink>},
                                {PocoLink::NAME, answer<PocoLink>}};

} // namespace

int main(int count, char** arguments)
{
    require(count == 5, "usage: ipc_peer NAME PATH SIZE COUNT");
    const auto size = static_cast<std::uint32_t>(std::stoul(arguments[3]));
    for (const Contender& contender : CONTENDERS) {
        if (arguments[1] == std::string(contender.name)) {
            contender.answer(arguments[2], size, std::stoi(arguments[4]));
        }
    }
    return 2;
}
