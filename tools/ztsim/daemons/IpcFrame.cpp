#include "IpcFrame.h"

#include <cstddef>
#include <cstdint>

namespace ztsim {
namespace {

struct Headers {
    std::uint32_t header1;
    std::uint32_t header2;
};

constexpr std::size_t BEFORE_DATA = sizeof(Headers) + 1;

std::size_t sizeOf(std::string_view frame)
{
    return BEFORE_DATA + static_cast<unsigned char>(frame[sizeof(Headers)]);
}

} // namespace

std::vector<Bytes> IpcFrames::add(std::string_view bytes)
{
    part += bytes;
    std::vector<Bytes> frames;
    std::string_view left = part;
    while (left.size() >= BEFORE_DATA && left.size() >= sizeOf(left)) {
        frames.emplace_back(left.substr(0, sizeOf(left)));
        left.remove_prefix(sizeOf(left));
    }
    part.erase(0, part.size() - left.size());
    return frames;
}

std::string describeFrame(const Bytes& bytes)
{
    if (bytes.size() < BEFORE_DATA || bytes.size() < sizeOf(bytes)) {
        return "the first " + std::to_string(bytes.size()) + " bytes of a frame";
    }
    const auto headers = recordOf<Headers>(bytes);
    return "headers " + std::to_string(headers.header1) + " and " +
           std::to_string(headers.header2) + ", " + std::to_string(bytes.size() - BEFORE_DATA) +
           " bytes";
}

} // namespace ztsim
