#include "CaptureFile.h"
#include "Failure.h"
#include "Output.h"
#include "RecordFile.h"
#include "SequenceChart.h"
#include "SimulatedRecord.h"
#include "SocketMessages.h"
#include "Verbs.h"
#include "common/NumberOption.h"
#include "common/Printable.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace zt {
namespace {

struct DecodeOptions {
    std::string file;
    std::uint16_t port = 15000;
    bool json = false;
    bool mermaid = false;
    bool svg = false;
};

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw Failure(FAILED, "cannot read " + path + ": " + std::strerror(errno),
                      "see that the file is there");
    }
    return content;
}

std::vector<SimulatedRecord> recordsOf(const std::string& content, std::uint16_t port)
{
    if (isRecordFile(content)) {
        return readRecordFile(content);
    }
    const std::vector<CapturedPacket> packets = readCapture(content);
    std::vector<SimulatedRecord> records = readSocketMessages(packets, port);
    for (const CapturedPacket& packet : packets) {
        if (auto record = readRecord(packet)) {
            records.push_back(*std::move(record));
        }
    }
    std::stable_sort(records.begin(), records.end(),
                     [](const auto& one, const auto& other) { return one.time < other.time; });
    return records;
}

std::vector<SimulatedRecord> readRecords(const DecodeOptions& options)
{
    const std::string& path = options.file;
    const std::string content = readFile(path);
    try {
        return recordsOf(content, options.port);
    } catch (const std::runtime_error& error) {
        throw Failure(FAILED, "cannot decode " + path + ": " + error.what(),
                      "give it a file of ztsim --capture or --record, or of tcpdump");
    }
}

std::string clientOf(const SimulatedRecord& record)
{
    return record.client == 0 ? "clients" : "client " + std::to_string(record.client);
}

std::string secondsOf(std::uint64_t time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%llu.%09llu",
                  static_cast<unsigned long long>(time / 1000000000),
                  static_cast<unsigned long long>(time % 1000000000));
    return text;
}

std::string digitsOf(const std::string& bytes)
{
    std::string text;
    for (const char each : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x",
                      static_cast<unsigned int>(static_cast<unsigned char>(each)));
        text += digits;
    }
    return text;
}

void printAsJson(const SimulatedRecord& record)
{
    printJson({{"time", secondsOf(record.time)},
               {"server", record.server},
               {"direction", record.isFromClient ? "from-client" : "to-client"},
               {"client", record.client},
               {"process", record.process},
               {"text", record.text},
               {"bytes", digitsOf(record.bytes)}});
}

void decode(const DecodeOptions& options)
{
    const std::vector<SimulatedRecord> records = readRecords(options);
    if (options.mermaid || options.svg) {
        const SequenceChart chart(records);
        printLine(options.svg ? chart.asSvg() : chart.asMermaid());
        return;
    }
    for (const SimulatedRecord& record : records) {
        if (options.json) {
            printAsJson(record);
            continue;
        }
        printLine(secondsOf(sinceFirst(records, record)) + ' ' + record.server +
                  (record.isFromClient ? " <- " : " -> ") + clientOf(record) + ": " +
                  tools::printable(record.text));
    }
}

} // namespace

void addDecode(CLI::App& app)
{
    CLI::App* const verb = app.add_subcommand(
        "decode", "What a file of ztsim --capture or --record, or of tcpdump, says");
    const auto options = std::make_shared<DecodeOptions>();
    verb->add_option("FILE", options->file, "It is in pcapng or pcap, or a script")->required();
    tools::addNumber<std::uint16_t>(
        *verb, "--port", options->port, 1, UINT16_MAX,
        "The server's port of socket messages over TCP; 15000 by default")
        ->type_name("PORT");
    CLI::Option* const json = verb->add_flag("--json", options->json, "Print JSON");
    CLI::Option* const mermaid =
        verb->add_flag("--mermaid", options->mermaid, "Print a sequence chart for Mermaid");
    CLI::Option* const svg =
        verb->add_flag("--svg", options->svg, "Print a sequence chart as a picture, in SVG");
    json->excludes(mermaid)->excludes(svg);
    mermaid->excludes(svg);
    verb->callback([options] { decode(*options); });
}

} // namespace zt
