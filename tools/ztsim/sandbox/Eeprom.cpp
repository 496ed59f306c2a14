#include "Eeprom.h"

#include "DevicePaths.h"

#include <boost/asio/buffer.hpp>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/inotify.h>

namespace ztsim {
namespace {

constexpr std::uintmax_t WORD_SIZE = 4;

void createFile(const std::string& path)
{
    if (!std::ofstream(path, std::ios::app)) {
        throw std::runtime_error("cannot make " + path);
    }
}

} // namespace

Eeprom::Eeprom(boost::asio::io_context& context, State initial, const std::string& root)
    : device(root + EEPROM_DEVICE), attribute(root + EEPROM_ATTRIBUTE), state(initial),
      watch(context)
{
    if (state == State::Absent) {
        return;
    }
    if (state == State::Open) {
        createFile(device);
    }
    std::error_code isMachine; // to whose /sys nothing can be added
    std::filesystem::create_directories(std::filesystem::path(attribute).parent_path(), isMachine);
    if (isMachine && state == State::Open) {
        return;
    }
    createFile(attribute);
    if (state == State::Open) {
        return;
    }
    watch.assign(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ::inotify_add_watch(watch.native_handle(), attribute.c_str(), IN_CLOSE_WRITE);
    awaitWord();
}

void Eeprom::awaitWord()
{
    watch.async_read_some(boost::asio::buffer(events), [this](const auto& error, std::size_t) {
        std::error_code none;
        if (!error && std::filesystem::file_size(attribute, none) == WORD_SIZE) {
            createFile(device);
            state = State::Open;
        } else if (!error) {
            awaitWord();
        }
    });
}

} // namespace ztsim
