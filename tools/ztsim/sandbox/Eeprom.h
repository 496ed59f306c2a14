#ifndef ZTSIM_EEPROM_H
#define ZTSIM_EEPROM_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include <string>

namespace ztsim {

/// The files of the EEPROM: the device, and the attribute to which the word that unlocks it is
/// written.
class Eeprom {
public:
    enum class State {
        Open,   ///< both are there
        Locked, ///< the device comes when some word has been written to the attribute
        Absent  ///< none is there
    };

    /// Below that folder, or at the real paths if it is empty. From the context's run() on the
    /// attribute is watched.
    Eeprom(boost::asio::io_context& context, State initial, const std::string& root);

    /// What it is now.
    State now() const { return state; }

private:
    void awaitWord();

    const std::string device;
    const std::string attribute;
    State state;
    boost::asio::posix::stream_descriptor watch;
    alignas(8) char events[4096]{};
};

} // namespace ztsim

#endif
