#include "platform/json/HistoryJson.h"

#include <QFile>

#include <simdjson.h>

#include <cmath>
#include <limits>
#include <string_view>

namespace historyjson {

namespace {

using simdjson::error_code;
namespace ondemand = simdjson::ondemand;

// A wrong type is not corruption: the field just reads as absent.
bool fatal(error_code error) {
    return error != simdjson::SUCCESS && error != simdjson::INCORRECT_TYPE;
}

// Like QJsonValue::toInt: a number holding an int, else 0.
int intOf(double value) {
    if (!std::isfinite(value) || value != std::floor(value) || value < std::numeric_limits<int>::min() ||
        value > std::numeric_limits<int>::max())
        return 0;
    return static_cast<int>(value);
}

// False on corruption; fields of the wrong type are left as they are.
template <typename Text> bool readString(ondemand::value& value, Text& out) {
    std::string_view text;
    const error_code error = value.get_string().get(text);
    if (error == simdjson::SUCCESS) out = Text(text.data(), static_cast<qsizetype>(text.size()));
    return !fatal(error);
}

bool readOptional(ondemand::value& value, std::optional<QByteArrayView>& out) {
    std::string_view text;
    const error_code error = value.get_string().get(text);
    if (error == simdjson::SUCCESS) out = QByteArrayView(text.data(), static_cast<qsizetype>(text.size()));
    return !fatal(error);
}

bool readRecord(ondemand::object object, Fields& fields) {
    for (auto field : object) {
        std::string_view key;
        if (field.unescaped_key().get(key) != simdjson::SUCCESS) return false;
        ondemand::value value;
        if (field.value().get(value) != simdjson::SUCCESS) return false;
        bool ok = true;
        if (key == "name") {
            ok = readString(value, fields.name);
        } else if (key == "text") {
            ok = readString(value, fields.text);
        } else if (key == "app") {
            ok = readOptional(value, fields.app);
        } else if (key == "window") {
            ok = readOptional(value, fields.window);
        } else if (key == "date") {
            ok = readString(value, fields.date);
        } else if (key == "kind") {
            ok = readString(value, fields.kind);
        } else if (key == "width" || key == "height" || key == "duration") {
            double number = 0;
            const error_code error = value.get_double().get(number);
            if (fatal(error)) return false;
            if (error == simdjson::SUCCESS) {
                if (key == "width")
                    fields.width = intOf(number);
                else if (key == "height")
                    fields.height = intOf(number);
                else
                    fields.duration = number;
            }
        } else if (key == "keep") {
            bool keep = false;
            const error_code error = value.get_bool().get(keep);
            if (fatal(error)) return false;
            if (error == simdjson::SUCCESS) fields.keep = keep;
        }
        if (!ok) return false;
    }
    return true;
}

// The whole file in the padded buffer the parser needs, so it is held once.
std::optional<simdjson::padded_string> loadFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    const qint64 size = file.size();
    if (size <= 0 || size > static_cast<qint64>(std::numeric_limits<uint32_t>::max() / 2))
        return std::nullopt;
    simdjson::padded_string bytes(static_cast<size_t>(size));
    if (file.read(bytes.data(), size) != size) return std::nullopt;
    return bytes;
}

// Where the object starting at `from` ends, when it is flat, as every record is: its
// closing brace outside strings, before any other brace or bracket.
std::optional<size_t> flatObjectEnd(std::string_view bytes, size_t from) {
    bool inString = false;
    for (size_t at = from + 1; at < bytes.size(); ++at) {
        const char c = bytes[at];
        if (inString) {
            if (c == '\\')
                ++at;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '}') {
            return at;
        } else if (c == '{' || c == '[') {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

bool salvage(const QString& path, const std::function<void(Fields&)>& each) {
    const auto bytes = loadFile(path);
    if (!bytes) return false;
    const std::string_view text(bytes->data(), bytes->size());
    ondemand::parser parser;
    size_t at = text.find('{');
    while (at != std::string_view::npos) {
        const std::optional<size_t> end = flatObjectEnd(text, at);
        if (end) {
            const simdjson::padded_string_view object(text.data() + at, *end + 1 - at,
                                                      text.size() - at + simdjson::SIMDJSON_PADDING);
            ondemand::document document;
            ondemand::object record;
            Fields fields;
            if (parser.iterate(object).get(document) == simdjson::SUCCESS &&
                document.get_object().get(record) == simdjson::SUCCESS && readRecord(record, fields)) {
                each(fields);
                at = text.find('{', *end + 1);
                continue;
            }
        }
        // Not a record, or a record cut by damage: the next brace may start a whole one.
        at = text.find('{', at + 1);
    }
    return true;
}

bool read(const QString& path, const std::function<void(Fields&)>& each) {
    const auto bytes = loadFile(path);
    if (!bytes) return false;

    ondemand::parser parser;
    ondemand::document document;
    if (parser.iterate(*bytes).get(document) != simdjson::SUCCESS) return false;
    ondemand::object root;
    if (document.get_object().get(root) != simdjson::SUCCESS) return false;
    bool seenRecords = false;
    for (auto field : root) {
        std::string_view key;
        if (field.unescaped_key().get(key) != simdjson::SUCCESS) return false;
        ondemand::value value;
        if (field.value().get(value) != simdjson::SUCCESS) return false;
        // A second "records" key is skipped: each record is read once.
        if (key != "records" || seenRecords) continue;
        seenRecords = true;
        ondemand::array records;
        const error_code error = value.get_array().get(records);
        if (fatal(error)) return false;
        if (error != simdjson::SUCCESS) continue;
        for (auto element : records) {
            ondemand::value item;
            if (element.get(item) != simdjson::SUCCESS) return false;
            ondemand::object object;
            const error_code itemError = item.get_object().get(object);
            if (fatal(itemError)) return false;
            if (itemError != simdjson::SUCCESS) continue;
            Fields fields;
            if (!readRecord(object, fields)) return false;
            each(fields);
        }
    }
    // Text after the closing brace means the file is not what this program wrote.
    // (The location is out of bounds exactly when everything was read.)
    const char* rest = nullptr;
    return document.current_location().get(rest) != simdjson::SUCCESS;
}

} // namespace historyjson
