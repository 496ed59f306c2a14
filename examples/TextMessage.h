#ifndef ZT_EXAMPLES_TEXTMESSAGE_H
#define ZT_EXAMPLES_TEXTMESSAGE_H

#include "zt/ZTSocketMessage.h"

#include <cstdint>
#include <string>
#include <utility>

/// A message with a text behind the fields that every message has.
class TextMessage : public ZT::ZTSocketMessage {
public:
    static constexpr std::uint16_t TYPE = 201;
    static constexpr unsigned int HEAD_SIZE = 28;

    explicit TextMessage(std::string newText) : text(std::move(newText))
    {
        init(); // again, for only now the length counts the text
        messageType = TYPE;
    }

    /// Reads a record as it was received. The length is the peer's and may be too small.
    explicit TextMessage(char* record) : ZTSocketMessage(record)
    {
        if (messageLength > HEAD_SIZE) {
            text.assign(record + HEAD_SIZE, messageLength - HEAD_SIZE);
        }
    }

    unsigned int calculateBufferSize() override
    {
        return HEAD_SIZE + static_cast<unsigned int>(text.size());
    }

    int fillBuffer(char* buffer) override
    {
        const int size = ZTSocketMessage::fillBuffer(buffer);
        if (size == -1) {
            return -1;
        }
        text.copy(buffer + size, text.size());
        return size + static_cast<int>(text.size());
    }

    std::string text;
};

#endif
