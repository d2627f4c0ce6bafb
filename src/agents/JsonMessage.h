#pragma once

#include <QByteArray>
#include <QJsonObject>
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

// The elements of a batch that are objects, read one at a time: parsed all at once, a
// line of many small requests would take many times its own size in memory.
class Batch {
public:
    Batch() = default;
    // `line` must hold one valid JSON array.
    explicit Batch(QByteArray line);
    // The next element that is an object; nullopt after the last.
    std::optional<Message> next();

private:
    QByteArray m_line;
    qsizetype m_offset = -1; // where the next element (or the closing bracket) starts; -1 when done
};

struct Parsed {
    enum class Shape { Object, Array, Other };
    Shape shape = Shape::Other;
    std::optional<Message> object; // Shape::Object
    Batch batch;                   // Shape::Array
};

// Nullopt when the bytes are not one JSON text. A batch is checked whole here, so that
// none of it is answered when its end is unreadable.
std::optional<Parsed> parse(const QByteArray& line);

// Tells requests apart for cancellation: a number is "n:" and its decimal text, with
// the same key for 3, 3.0 and 3e0; anything else is "s:" and its text (a string's
// value, unquoted). So 7 and "7" are different requests. `raw` is valid JSON.
QString requestKey(const QByteArray& raw);

// The text of a JSON string literal's value; `raw` must be a valid literal.
QString stringValue(const QByteArray& raw);

} // namespace JsonMessage
