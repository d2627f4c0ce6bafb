#pragma once

#include "agents/AgentAccess.h"
#include "agents/AgentToolProvider.h"
#include "common/Result.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

class MCPSession;

// A failure a tool reports to the agent. `denied` marks refusals that come from the user's
// settings or answers rather than from bad input. Also thrown by ToolContext::checkCancelled.
struct ToolError {
    QString message;
    bool denied = false;
};

// Ends a tool with a message for the agent; dispatch turns it into an error result.
[[noreturn]] inline void failTool(const QString& message, bool denied = false) {
    throw ToolError{message, denied};
}

// The value, or the tool ends with the failure's message.
template <typename T> T unwrapTool(Result<T> result) {
    if (!result) failTool(result.error().message);
    return std::move(result).value();
}

// One image block of a result.
struct ToolImage {
    QString data; // base64
    QString mime;
};

// What a tool hands back: structured fields, extra lines, images and a line for the log.
struct ToolOutput {
    QJsonObject json;
    QStringList notes;
    QList<ToolImage> images;
    std::optional<QString> summary;

    // {"content": [...], "isError": isError}: the JSON as one pretty-printed text block,
    // then each note, "Done." when there is nothing else, then the images.
    QJsonObject result(bool isError = false) const;
    // {"content": [{"type": "text", "text": message}], "isError": true}
    static QJsonObject error(const QString& message);
};

// The "arguments" of a call, read leniently: a missing or unusable value reads as absent.
class ToolArgs {
public:
    ToolArgs() = default;
    explicit ToolArgs(QJsonObject raw) : m_raw(std::move(raw)) {}

    const QJsonObject& raw() const { return m_raw; }
    bool has(const QString& key) const { return m_raw.contains(key); }
    // Trimmed text, absent when empty; a number gives its decimal text.
    std::optional<QString> string(const QString& key) const;
    // A number, or text that reads as one.
    std::optional<double> number(const QString& key) const;
    // number() rounded to the nearest integer, halves away from zero.
    std::optional<int> integer(const QString& key) const;
    // A boolean, a number (non-zero is true) or the text "true"/"false" in any case.
    std::optional<bool> boolean(const QString& key) const;
    std::optional<QJsonArray> array(const QString& key) const;
    // The text elements of an array (numbers as their text); empty otherwise.
    QStringList strings(const QString& key) const;
    std::optional<QRectF> rect(const QString& key) const;

    // [x, y, width, height, ...] or {"x", "y", "width", "height"}, each read by numberFrom.
    static std::optional<QRectF> rectFrom(const QJsonValue& value);
    // [x, y, ...] or {"x", "y"}, each read by numberFrom.
    static std::optional<QPointF> pointFrom(const QJsonValue& value);
    static std::optional<QString> stringFrom(const QJsonValue& value);
    // A finite number, or text that reads as one; NaN, infinities and text like "inf" or
    // "1e309" read as absent.
    static std::optional<double> numberFrom(const QJsonValue& value);
    static std::optional<bool> booleanFrom(const QJsonValue& value);

private:
    QJsonObject m_raw;
};

// A tool's outcome: its output, a ToolError, or an Error from a subsystem (shown with its
// domain and code).
using ToolOutcome = std::variant<ToolOutput, ToolError, Error>;
// Answered exactly once, then or later, on the main thread.
using ToolDone = std::function<void(ToolOutcome)>;

// Where a call comes from, and whether it has been cancelled.
struct ToolContext {
    QPointer<MCPSession> session;
    std::optional<QByteArray> progressToken; // JSON text
    std::shared_ptr<ToolCancellation> cancellation;

    bool cancelled() const;
    // Throws ToolError "Cancelled." once the call has been cancelled or its session is gone.
    // Long tools call it between steps, from within run() or a continuation that catches.
    void checkCancelled() const;
    // Reports progress when the caller asked for it.
    void progress(double done, std::optional<double> total = {}, const QString& message = {}) const;

    // The access policy of the catalogue that dispatched the call; the shared one when unset.
    AgentAccess* policy = nullptr;
    AgentAccess& access() const;
    // The category gate for one kind of action ("take a screenshot"): a refusal answers
    // `done` as denied; otherwise `then` runs, then or after the user's answer, with the
    // ToolErrors it throws answered to `done`. Throws "Cancelled." when the session is gone.
    void authorize(AgentAccess::Category category, const QString& action, const ToolDone& done,
                   std::function<void()> then) const;
};

// Runs `body`, answering the ToolErrors it throws to `done`: for continuations that run
// after a tool's run() has returned (timers, workers, prompts).
void answeringErrors(const ToolDone& done, const std::function<void()>& body);

// One tool of the catalogue.
struct AgentTool {
    QString name;
    QString title;
    QString description;
    bool readOnly = false;
    bool destructive = false;
    QJsonObject schema;
    // Runs on the main thread. May throw ToolError before it returns; later, it answers `done`.
    std::function<void(const ToolArgs& args, const ToolContext& context, const ToolDone& done)> run;

    // The tools/list entry.
    QJsonObject listing() const;
};

// Input schema building blocks.
namespace ToolSchema {
using Properties = QJsonObject;

QJsonObject object(const Properties& properties, const QStringList& required = {});
QJsonObject string(const QString& description, const QStringList& values = {});
QJsonObject integer(const QString& description, std::optional<double> min = {},
                    std::optional<double> max = {});
QJsonObject number(const QString& description, std::optional<double> min = {},
                   std::optional<double> max = {});
QJsonObject boolean(const QString& description);
QJsonObject array(const QJsonObject& items, const QString& description, std::optional<int> maxItems = {});
QJsonObject rect(const QString& description);
QJsonObject point(const QString& description);

// The property sets many tools share.
Properties source();       // capture_id, path
Properties imageSource();  // source, from_clipboard, page
Properties output();       // copy_to_clipboard, show_thumbnail, save_to, return_image
Properties screenTarget(); // display_id, rect, window_id, app, window_title
Properties editOutput();   // output, save, open_in_editor

// `a` with the properties of each of `more` added.
Properties merged(Properties a, std::initializer_list<Properties> more);
} // namespace ToolSchema
