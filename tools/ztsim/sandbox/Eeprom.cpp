#include "Eeprom.h"

#include <boost/asio/buffer.hpp>

#include <filesystem>
#include <fstream>
#include <sys/inotify.h>

namespace ztsim {
namespace {

const std::filesystem::path ATTRIBUTE = "/sys/bus/i2c/devices/1-0050/app";
constexpr std::uintmax_t WORD_SIZE = 4;

void createFile(const std::filesystem::path& path)
{
    std::ofstream(path, std::ios::app); // NOLINT(bugprone-unused-raii)
}

} // namespace

Eeprom::Eeprom(boost::asio::io_context& context, State initial) : state(initial), watch(context)
{
    if (state == State::Absent) {
        return;
    }
    std::filesystem::create_directories(ATTRIBUTE.parent_path());
    createFile(ATTRIBUTE);
    if (state == State::Open) {
        createFile(DEVICE);
        return;
    }
    watch.assign(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ::inotify_add_watch(watch.native_handle(), ATTRIBUTE.c_str(), IN_CLOSE_WRITE);
    awaitWord();
}

void Eeprom::awaitWord()
{
    watch.async_read_some(boost::asio::buffer(events), [this](const auto& error, std::size_t) {
        std::error_code none;
        if (!error && std::filesystem::file_size(ATTRIBUTE, none) == WORD_SIZE) {
            createFile(DEVICE);
            state = State::Open;
        } else if (!error) {
            awaitWord();
        }
    });
}

} // namespace ztsim
