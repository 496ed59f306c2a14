#include "HealthMonitor.h"

#include "common/Number.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace ztsim {
namespace {

enum class Kind { Byte, Value, Text };

constexpr std::int64_t NONE = -1;

struct Field {
    const char* name;
    Kind kind;
    std::int64_t get; ///< the type of the request for it, or none
    std::int64_t set; ///< the type of the request to set it, or none
    std::uint32_t answer;
};

/// "field-N" is what the EEPROM command N is about, and "value-N" the health command N.
constexpr std::array<Field, 16> FIELDS{{
    {"field-0", Kind::Value, 0, NONE, 1},
    {"product-type", Kind::Byte, 2, NONE, 3},
    {"product-variant", Kind::Byte, 4, NONE, 5},
    {"field-6", Kind::Byte, 6, NONE, 7},
    {"field-8", Kind::Text, 8, NONE, 9},
    {"part-number", Kind::Text, 10, NONE, 11},
    {"serial-number", Kind::Text, 12, NONE, 13},
    {"field-16", Kind::Byte, 14, NONE, 15},
    {"field-17", Kind::Byte, NONE, 32, 33},
    {"field-19", Kind::Value, 16, NONE, 17},
    {"field-21", Kind::Byte, 18, NONE, 19},
    {"value-20", Kind::Byte, 20, 25, 21}, // the EEPROM's field 23, too
    {"field-25", Kind::Value, 22, NONE, 23},
    {"value-26", Kind::Byte, 26, 27, 28},
    {"value-29", Kind::Byte, 29, 30, 31},
    {"value-32", Kind::Value, 36, 37, 38},
}};

const Field& fieldNamed(const std::string& name)
{
    const auto* const field = std::find_if(
        FIELDS.begin(), FIELDS.end(), [&name](const Field& known) { return known.name == name; });
    if (field == FIELDS.end()) {
        throw std::invalid_argument("there is no field \"" + name + '"');
    }
    return *field;
}

void setText(HealthRecord& record, const std::string& text)
{
    if (text.size() > sizeof record.text) {
        throw std::invalid_argument("\"" + text + "\" has more than 32 bytes");
    }
    std::memset(record.text, 0, sizeof record.text);
    text.copy(record.text, sizeof record.text);
}

/// Of another record only what its kind uses is taken.
void setPayload(HealthRecord& record, Kind kind, const HealthRecord& from)
{
    if (kind == Kind::Byte) {
        record.byte = from.byte;
    } else {
        record.value = from.value;
    }
}

std::string payload(Kind kind, const HealthRecord& record)
{
    switch (kind) {
    case Kind::Byte:
        return std::to_string(record.byte);
    case Kind::Value:
        return std::to_string(record.value);
    default:
        return {record.text, strnlen(record.text, sizeof record.text)};
    }
}

} // namespace

HealthMonitor::HealthMonitor()
{
    for (const Field& field : FIELDS) {
        HealthRecord& answer = answers[field.answer];
        std::memset(&answer, 0, sizeof answer);
        answer.type = field.answer;
    }
}

std::vector<std::string> HealthMonitor::names()
{
    std::vector<std::string> names(FIELDS.size());
    std::transform(FIELDS.begin(), FIELDS.end(), names.begin(),
                   [](const Field& field) { return field.name; });
    return names;
}

bool HealthMonitor::isText(const std::string& name)
{
    return fieldNamed(name).kind == Kind::Text;
}

void HealthMonitor::set(const std::string& name, const std::string& value)
{
    const Field& field = fieldNamed(name);
    HealthRecord& answer = answers[field.answer];
    switch (field.kind) {
    case Kind::Byte:
        answer.byte = tools::parseNumber<std::uint8_t>(value);
        break;
    case Kind::Value:
        answer.value = tools::parseNumber<std::uint32_t>(value);
        break;
    case Kind::Text:
        setText(answer, value);
        break;
    }
}

std::string HealthMonitor::get(const std::string& name) const
{
    const Field& field = fieldNamed(name);
    return payload(field.kind, answers.at(field.answer));
}

std::optional<HealthRecord> HealthMonitor::handle(const HealthRecord& request)
{
    const auto* const field =
        std::find_if(FIELDS.begin(), FIELDS.end(), [&request](const Field& known) {
            return known.get == request.type || known.set == request.type;
        });
    if (field == FIELDS.end()) {
        return std::nullopt;
    }
    HealthRecord& answer = answers[field->answer];
    if (field->set == request.type) {
        setPayload(answer, field->kind, request);
    }
    return answer;
}

std::string describe(const HealthRecord& record)
{
    for (const Field& field : FIELDS) {
        if (record.type == field.get) {
            return std::string("health ") + field.name;
        }
        if (record.type == field.set) {
            return std::string("health ") + field.name + ' ' + payload(field.kind, record);
        }
        if (record.type == field.answer) {
            const std::string value = payload(field.kind, record);
            return field.name + (' ' + (field.kind == Kind::Text ? '"' + value + '"' : value));
        }
    }
    return "type " + std::to_string(record.type);
}

} // namespace ztsim
