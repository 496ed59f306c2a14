#include "Payload.h"

namespace zt {

void addPayload(Json& fields, const std::string& bytes)
{
    const char* const digits = "0123456789abcdef";
    std::string hex;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        hex += {digits[byte / 16], digits[byte % 16]};
    }
    fields["text"] = bytes;
    fields["hex"] = hex;
}

} // namespace zt
