#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

// JSON-RPC messages as agents send them: one JSON text per line, parsed strictly (RFC
// 8259, UTF-8). Replies must carry ids exactly as they came, whatever their type:
// 1e400, 123456789012345678901234567890, "\u0041", so each message also keeps the exact
// text of its members and of the members of its "params" and "params"/"_meta".
namespace JsonMessage {

// Containers nested deeper than this make the text unreadable.
constexpr int maxDepth = 512;

struct Message {
    QJsonObject object;
    // The exact text of the member at `path` ("id", "params.requestId",
    // "params._meta.progressToken"); nullopt when absent.
    std::optional<QByteArray> raw(const QString& path) const;

    QByteArray line;
    std::vector<std::pair<QString, std::pair<qsizetype, qsizetype>>> spans; // path → (start, length)
};

struct Parsed {
    enum class Shape { Object, Array, Other };
    Shape shape = Shape::Other;
    // The object, or the elements of the array that are objects, in order.
    QList<Message> messages;
};

// Nullopt when the bytes are not one JSON text.
std::optional<Parsed> parse(const QByteArray& line);

// Tells requests apart for cancellation: a number is "n:" and its decimal text, with
// the same key for 3, 3.0 and 3e0; anything else is "s:" and its text (a string's
// value, unquoted). So 7 and "7" are different requests. `raw` is valid JSON.
QString requestKey(const QByteArray& raw);

// The text of a JSON string literal's value; `raw` must be a valid literal.
QString stringValue(const QByteArray& raw);

} // namespace JsonMessage
