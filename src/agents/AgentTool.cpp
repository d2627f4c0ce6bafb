#include "agents/AgentTool.h"

#include "agents/MCPSession.h"

#include <QJsonDocument>

#include <cmath>
#include <exception>
#include <limits>

namespace {

QJsonObject textBlock(const QString& text) {
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("text")}, {QStringLiteral("text"), text}};
}

QString decimalText(double value) {
    if (std::floor(value) == value && std::fabs(value) < 1e15)
        return QString::number(static_cast<qlonglong>(value));
    return QString::number(value, 'g', 15);
}

} // namespace

QJsonObject ToolOutput::result(bool isError) const {
    QJsonArray content;
    if (!json.isEmpty())
        content.append(
            textBlock(QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Indented)).trimmed()));
    for (const QString& note : notes)
        content.append(textBlock(note));
    if (content.isEmpty() && images.isEmpty()) content.append(textBlock(QStringLiteral("Done.")));
    for (const ToolImage& image : images)
        content.append(QJsonObject{{QStringLiteral("type"), QStringLiteral("image")},
                                   {QStringLiteral("data"), image.data},
                                   {QStringLiteral("mimeType"), image.mime}});
    return QJsonObject{{QStringLiteral("content"), content}, {QStringLiteral("isError"), isError}};
}

QJsonObject ToolOutput::error(const QString& message) {
    return AgentToolProvider::errorResult(message);
}

// MARK: - Arguments

std::optional<QString> ToolArgs::stringFrom(const QJsonValue& value) {
    if (value.isDouble()) return decimalText(value.toDouble());
    if (!value.isString()) return std::nullopt;
    QString text = value.toString().trimmed();
    if (text.isEmpty()) return std::nullopt;
    return text;
}

std::optional<double> ToolArgs::numberFrom(const QJsonValue& value) {
    // Only finite numbers: NaN passes every range check, and infinities or text like "inf"
    // and "1e309" have no integer or pixel size to become.
    double number = 0;
    if (value.isDouble()) {
        number = value.toDouble();
    } else if (value.isString()) {
        bool ok = false;
        number = value.toString().trimmed().toDouble(&ok);
        if (!ok) return std::nullopt;
    } else {
        return std::nullopt;
    }
    if (!std::isfinite(number)) return std::nullopt;
    return number;
}

std::optional<bool> ToolArgs::booleanFrom(const QJsonValue& value) {
    if (value.isBool()) return value.toBool();
    if (value.isDouble()) return value.toDouble() != 0;
    if (!value.isString()) return std::nullopt;
    const QString text = value.toString().trimmed();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) return true;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) return false;
    return std::nullopt;
}

std::optional<QString> ToolArgs::string(const QString& key) const {
    return stringFrom(m_raw.value(key));
}

std::optional<double> ToolArgs::number(const QString& key) const {
    return numberFrom(m_raw.value(key));
}

std::optional<int> ToolArgs::integer(const QString& key) const {
    const auto value = number(key);
    if (!value) return std::nullopt;
    const double rounded = std::round(*value); // halves away from zero
    if (rounded < std::numeric_limits<int>::min() || rounded > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(rounded);
}

std::optional<bool> ToolArgs::boolean(const QString& key) const {
    return booleanFrom(m_raw.value(key));
}

std::optional<QJsonArray> ToolArgs::array(const QString& key) const {
    const QJsonValue value = m_raw.value(key);
    if (!value.isArray()) return std::nullopt;
    return value.toArray();
}

QStringList ToolArgs::strings(const QString& key) const {
    QStringList list;
    for (const auto& element : m_raw.value(key).toArray()) {
        if (element.isString())
            list.append(element.toString());
        else if (element.isDouble())
            list.append(decimalText(element.toDouble()));
    }
    return list;
}

std::optional<QRectF> ToolArgs::rect(const QString& key) const {
    return rectFrom(m_raw.value(key));
}

std::optional<QRectF> ToolArgs::rectFrom(const QJsonValue& value) {
    double v[4];
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        if (array.size() < 4) return std::nullopt;
        for (int i = 0; i < 4; ++i) {
            const auto n = numberFrom(array.at(i));
            if (!n) return std::nullopt;
            v[i] = *n;
        }
        return QRectF(v[0], v[1], v[2], v[3]);
    }
    if (!value.isObject()) return std::nullopt;
    const QJsonObject object = value.toObject();
    const char* keys[] = {"x", "y", "width", "height"};
    for (int i = 0; i < 4; ++i) {
        const auto n = numberFrom(object.value(QLatin1String(keys[i])));
        if (!n) return std::nullopt;
        v[i] = *n;
    }
    return QRectF(v[0], v[1], v[2], v[3]);
}

std::optional<QPointF> ToolArgs::pointFrom(const QJsonValue& value) {
    std::optional<double> x, y;
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        if (array.size() < 2) return std::nullopt;
        x = numberFrom(array.at(0));
        y = numberFrom(array.at(1));
    } else if (value.isObject()) {
        x = numberFrom(value.toObject().value(QLatin1String("x")));
        y = numberFrom(value.toObject().value(QLatin1String("y")));
    }
    if (!x || !y) return std::nullopt;
    return QPointF(*x, *y);
}

// MARK: - Context

bool ToolContext::cancelled() const {
    return !session || (cancellation && cancellation->isCancelled());
}

void ToolContext::checkCancelled() const {
    if (cancelled()) throw ToolError{QStringLiteral("Cancelled.")};
}

void ToolContext::progress(double done, std::optional<double> total, const QString& message) const {
    if (session && progressToken) session->notifyProgress(*progressToken, done, total, message);
}

AgentAccess& ToolContext::access() const {
    return policy ? *policy : AgentAccess::shared();
}

void ToolContext::authorize(AgentAccess::Category category, const QString& action, const ToolDone& done,
                            std::function<void()> then) const {
    if (!session) throw ToolError{QStringLiteral("Cancelled.")};
    access().authorize(category, action, *session,
                       [context = *this, done, then = std::move(then)](std::optional<QString> refusal) {
                           if (refusal) {
                               done(ToolError{*refusal, true});
                               return;
                           }
                           // The client may have gone, or given up, while the user decided.
                           answeringErrors(done, [&] {
                               context.checkCancelled();
                               then();
                           });
                       });
}

void answeringErrors(const ToolDone& done, const std::function<void()>& body) {
    try {
        body();
    } catch (const ToolError& error) {
        done(error);
    } catch (const std::exception& error) {
        done(Error{QString::fromUtf8(error.what()), QStringLiteral("std"), 0});
    }
}

// MARK: - Tools

QJsonObject AgentTool::listing() const {
    return QJsonObject{
        {QStringLiteral("name"), name},
        {QStringLiteral("title"), title},
        {QStringLiteral("description"), description},
        {QStringLiteral("inputSchema"), schema},
        {QStringLiteral("annotations"), QJsonObject{{QStringLiteral("title"), title},
                                                    {QStringLiteral("readOnlyHint"), readOnly},
                                                    {QStringLiteral("destructiveHint"), destructive},
                                                    {QStringLiteral("idempotentHint"), false},
                                                    {QStringLiteral("openWorldHint"), false}}}};
}

// MARK: - Schemas

namespace ToolSchema {

namespace {

QJsonObject typed(const char* type, const QString& description) {
    return QJsonObject{{QStringLiteral("type"), QLatin1String(type)},
                       {QStringLiteral("description"), description}};
}

QJsonObject bounded(QJsonObject schema, std::optional<double> min, std::optional<double> max) {
    if (min) schema.insert(QStringLiteral("minimum"), *min);
    if (max) schema.insert(QStringLiteral("maximum"), *max);
    return schema;
}

QJsonObject numbers(std::initializer_list<const char*> keys) {
    QJsonObject properties;
    for (const char* key : keys)
        properties.insert(QLatin1String(key),
                          QJsonObject{{QStringLiteral("type"), QStringLiteral("number")}});
    return properties;
}

QJsonArray names(std::initializer_list<const char*> keys) {
    QJsonArray list;
    for (const char* key : keys)
        list.append(QLatin1String(key));
    return list;
}

} // namespace

QJsonObject object(const Properties& properties, const QStringList& required) {
    QJsonObject schema{{QStringLiteral("type"), QStringLiteral("object")},
                       {QStringLiteral("properties"), properties},
                       {QStringLiteral("additionalProperties"), false}};
    if (!required.isEmpty()) schema.insert(QStringLiteral("required"), QJsonArray::fromStringList(required));
    return schema;
}

QJsonObject string(const QString& description, const QStringList& values) {
    QJsonObject schema = typed("string", description);
    if (!values.isEmpty()) schema.insert(QStringLiteral("enum"), QJsonArray::fromStringList(values));
    return schema;
}

QJsonObject integer(const QString& description, std::optional<double> min, std::optional<double> max) {
    return bounded(typed("integer", description), min, max);
}

QJsonObject number(const QString& description, std::optional<double> min, std::optional<double> max) {
    return bounded(typed("number", description), min, max);
}

QJsonObject boolean(const QString& description) {
    return typed("boolean", description);
}

QJsonObject array(const QJsonObject& items, const QString& description, std::optional<int> maxItems) {
    QJsonObject schema{{QStringLiteral("type"), QStringLiteral("array")},
                       {QStringLiteral("items"), items},
                       {QStringLiteral("description"), description}};
    if (maxItems) schema.insert(QStringLiteral("maxItems"), *maxItems);
    return schema;
}

QJsonObject rect(const QString& description) {
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                       {QStringLiteral("description"), description},
                       {QStringLiteral("properties"), numbers({"x", "y", "width", "height"})},
                       {QStringLiteral("required"), names({"x", "y", "width", "height"})}};
}

QJsonObject point(const QString& description) {
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                       {QStringLiteral("description"), description},
                       {QStringLiteral("properties"), numbers({"x", "y"})},
                       {QStringLiteral("required"), names({"x", "y"})}};
}

Properties source() {
    return {
        {QStringLiteral("capture_id"),
         string(QStringLiteral("A capture in Pictavia's history, by its id (file name), as returned by every "
                               "capture and edit tool and by search_history."))},
        {QStringLiteral("path"),
         string(QStringLiteral(
             "Absolute path to an image, video, PDF or Word file (.docx, .doc, .rtf, .odt), if "
             "it is not in Pictavia's history. Documents are used page by page (see `page`)."))},
    };
}

Properties imageSource() {
    return merged(
        source(),
        {{{QStringLiteral("from_clipboard"), boolean(QStringLiteral("Use the image currently on the "
                                                                    "clipboard."))},
          {QStringLiteral("page"),
           integer(QStringLiteral("With a PDF `path`: the page to use, 1 = first. Default 1. PDFs are "
                                  "rendered at 2× like a HiDPI screenshot."))}}});
}

Properties output() {
    return {
        {QStringLiteral("copy_to_clipboard"),
         boolean(QStringLiteral("Also copy the result to the clipboard. Default false."))},
        {QStringLiteral("show_thumbnail"),
         boolean(QStringLiteral(
             "Show the result in Pictavia's Quick Access thumbnail on screen. Default false."))},
        {QStringLiteral("save_to"),
         string(
             QStringLiteral("Also save a copy here: a folder, or a full file path (its extension picks the "
                            "format)."))},
        {QStringLiteral("return_image"),
         boolean(QStringLiteral("Include a preview image in the response. Default true."))},
    };
}

Properties screenTarget() {
    return {
        {QStringLiteral("display_id"),
         integer(QStringLiteral(
             "Display to use (get_status → displays). Default: the display under the mouse."))},
        {QStringLiteral("rect"),
         rect(QStringLiteral("Area in points, relative to the top-left of the display. Required for target "
                             "\"area\"."))},
        {QStringLiteral("window_id"), integer(QStringLiteral("Window to use (list_windows)."))},
        {QStringLiteral("app"),
         string(QStringLiteral("Pick the frontmost window of this app (name, case-insensitive), e.g. "
                               "\"Firefox\"."))},
        {QStringLiteral("window_title"),
         string(QStringLiteral("With `app`: the window whose title contains this text."))},
    };
}

Properties editOutput() {
    return merged(
        output(),
        {{{QStringLiteral("save"),
           string(QStringLiteral("\"new\" (default) saves a new capture; \"replace\" updates the "
                                 "original capture in history, keeping it editable."))},
          {QStringLiteral("open_in_editor"),
           boolean(QStringLiteral("Open the result in Pictavia's editor so the user can adjust it."))}}});
}

Properties merged(Properties a, std::initializer_list<Properties> more) {
    for (const Properties& set : more)
        for (auto it = set.begin(); it != set.end(); ++it)
            a.insert(it.key(), it.value());
    return a;
}

} // namespace ToolSchema
