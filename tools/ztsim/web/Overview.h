#ifndef ZTSIM_OVERVIEW_H
#define ZTSIM_OVERVIEW_H

#include "Simulated.h"
#include "State.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

namespace ztsim {

/// What the page shows of a device: how it is, and the last of what has happened on it.
class Overview {
public:
    /// So much is kept of what has happened.
    static constexpr std::size_t MOST_ENTRIES = 4096;
    static constexpr std::size_t MOST_CAUSES = 6;

    explicit Overview(Simulated& device);

    Overview(const Overview&) = delete;
    Overview& operator=(const Overview&) = delete;

    /// As JSON in one line.
    std::string state();
    static std::string forms();

    /// The number of the last entry.
    std::uint64_t last() const { return begin + entries.size() - 1; }

    /// What has happened behind the entry of that number, as JSON in one line, with how many
    /// entries are not kept any more.
    std::string entriesAfter(std::uint64_t number) const;

private:
    struct Connection {
        pid_t process;
        std::string program;
        double since;
        std::uint64_t records;
    };
    using ClientKey = std::pair<std::string, std::uint64_t>;

    void take(const Transfer& transfer);
    void take(const Event& event);
    void add(Json entry);
    std::string speaker(const Event& event) const;

    Simulated& device;
    std::deque<std::string> entries;
    std::uint64_t begin = 1; ///< the number of the first one that is kept
    std::map<ClientKey, Connection> clients;
    ClientKey lastSpeaker;
    std::uint32_t powerState = 0;
    std::deque<Json> causes; ///< of the last power states, the newest first
};

} // namespace ztsim

#endif
