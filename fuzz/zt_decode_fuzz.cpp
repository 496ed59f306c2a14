// Reads any bytes as a captured file, as "zt decode" does, and looks whether all that they decode
// to can be shown.

#include "Require.h"
#include "zt/CaptureFile.h"
#include "zt/RecordFile.h"
#include "zt/SequenceChart.h"
#include "zt/SimulatedRecord.h"
#include "zt/SocketMessages.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<zt::SimulatedRecord> recordsOf(const std::string& content)
{
    std::vector<zt::SimulatedRecord> records;
    try {
        if (zt::isRecordFile(content)) {
            return zt::readRecordFile(content);
        }
        const std::vector<zt::CapturedPacket> packets = zt::readCapture(content);
        records = zt::readSocketMessages(packets, 15000);
        for (const zt::CapturedPacket& packet : packets) {
            require(packet.bytes.size() <= content.size(), "a packet is a part of the file");
            if (auto record = zt::readRecord(packet)) {
                records.push_back(*record);
            }
        }
    } catch (const std::runtime_error& error) {
        require(*error.what() != '\0', "what is wrong is told");
    }
    return records;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size)
{
    const auto records = recordsOf(std::string(reinterpret_cast<const char*>(input), size));
    const zt::SequenceChart chart(records);
    const std::string mermaid = chart.asMermaid();
    std::size_t lines = 0;
    for (const char letter : mermaid) {
        require(static_cast<unsigned char>(letter) >= ' ' || letter == '\n', "it is text");
        lines += letter == '\n' ? 1 : 0;
    }
    require(lines >= records.size(), "each record has a line");
    require(chart.asSvg().find("</svg>") != std::string::npos, "the picture is a whole one");
    return 0;
}
