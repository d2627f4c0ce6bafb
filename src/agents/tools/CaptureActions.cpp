#include "agents/tools/CaptureActions.h"

#include "agents/tools/DesktopActions.h"
#include "app/QuickActions.h"
#include "app/SettingsCatalog.h"
#include "capture/ImageUtils.h"
#include "history/HistoryRecord.h"
#include "platform/Platform.h"

#include <QFileInfo>

namespace CaptureActions {

namespace {

Error unavailable(const QString& what) {
    return Error{what + QStringLiteral(" is not available: Pictavia is running without its windows.")};
}

} // namespace

Result<QJsonObject> copy(const QString& path, const QString& text) {
    const auto& clipboard = platform::services().clipboard;
    if (!clipboard) return unavailable(QStringLiteral("The clipboard"));
    if (path.isEmpty()) {
        if (text.isEmpty())
            return Error{QStringLiteral("Give a capture (capture_id or path) or `text` to copy.")};
        clipboard->setText(text);
        return QJsonObject{{QStringLiteral("copied"), QStringLiteral("text")},
                           {QStringLiteral("characters"), int(text.size())}};
    }
    if (HistoryRecord::kindOf(QFileInfo(path).fileName()) != HistoryRecord::Kind::Image) {
        // Videos and GIFs: their path, which file managers and chat apps accept as a paste.
        clipboard->setText(path);
        return QJsonObject{{QStringLiteral("copied"), QStringLiteral("file")},
                           {QStringLiteral("path"), path}};
    }
    const QImage image = ImageUtils::readFile(path);
    if (image.isNull())
        return Error{
            QStringLiteral("“%1” is not an image Pictavia can read.").arg(QFileInfo(path).fileName())};
    QuickActions::copy(path, image);
    return QJsonObject{{QStringLiteral("copied"), QStringLiteral("image")},
                       {QStringLiteral("path"), path},
                       {QStringLiteral("width"), image.width()},
                       {QStringLiteral("height"), image.height()}};
}

Result<QJsonObject> pin(const QImage& image, double scale, const QString& action) {
    const auto& hooks = DesktopActions::hooks();
    const QString what = action.trimmed().isEmpty() ? QStringLiteral("pin") : action.trimmed().toLower();
    if (what == u"pin") {
        if (image.isNull())
            return Error{QStringLiteral("Give an image to pin (capture_id, path or from_clipboard).")};
        if (!hooks.pin) return unavailable(QStringLiteral("Pinning"));
        hooks.pin(image, scale);
        return QJsonObject{{QStringLiteral("pinned"), true},
                           {QStringLiteral("width"), image.width()},
                           {QStringLiteral("height"), image.height()}};
    }
    if (what != u"hide" && what != u"show" && what != u"close")
        return Error{QStringLiteral("`action` must be pin, hide, show or close, not “%1”.").arg(action)};
    if (!hooks.pins) return unavailable(QStringLiteral("Pinning"));
    return QJsonObject{{QStringLiteral("action"), what}, {QStringLiteral("pins"), hooks.pins(what)}};
}

Result<QJsonObject> show(const QString& path, const QString& view, const QString& settingsTab) {
    const auto& hooks = DesktopActions::hooks();
    QString what = view.trimmed().toLower();
    if (path.isEmpty()) {
        QString section;
        if (!settingsTab.trimmed().isEmpty()) {
            // The AI agent settings have a page of their own.
            const QString folded = settingsTab.toLower().remove(u' ').remove(u'_');
            if (const auto named = SettingsCatalog::sectionNamed(settingsTab)) {
                section = *named;
                what = QStringLiteral("settings");
            } else if (folded == u"agents" || folded == u"aiagents") {
                what = QStringLiteral("agents");
            } else {
                return Error{QStringLiteral("No settings page “%1”. The pages are: %2, and AI Agents.")
                                 .arg(settingsTab, SettingsCatalog::sections().join(QStringLiteral(", ")))};
            }
        }
        if (what.isEmpty()) what = QStringLiteral("home");
        if (what == u"history") what = QStringLiteral("library");
        if (!QStringList{QStringLiteral("home"), QStringLiteral("library"), QStringLiteral("agents"),
                         QStringLiteral("settings")}
                 .contains(what))
            return Error{
                QStringLiteral("Without a capture, `view` is home, library, history, agents or settings.")};
        if (!hooks.showPage) return unavailable(QStringLiteral("The main window"));
        hooks.showPage(what, section);
        QJsonObject shown{{QStringLiteral("shown"), what}};
        if (!section.isEmpty()) shown.insert(QStringLiteral("settings_tab"), section);
        return shown;
    }
    if (what.isEmpty()) what = QStringLiteral("editor");
    if (what == u"file_manager" || what == u"reveal") what = QStringLiteral("finder");
    QJsonObject shown{{QStringLiteral("shown"), what}, {QStringLiteral("path"), path}};
    if (what == u"editor") {
        if (HistoryRecord::kindOf(QFileInfo(path).fileName()) != HistoryRecord::Kind::Image)
            return Error{QStringLiteral("Only images open in the editor; use \"video_editor\" for videos.")};
        if (!hooks.openEditor) return unavailable(QStringLiteral("The editor"));
        hooks.openEditor(path);
    } else if (what == u"video_editor") {
        if (HistoryRecord::kindOf(QFileInfo(path).fileName()) != HistoryRecord::Kind::Video)
            return Error{QStringLiteral("Only movies open in the video editor; use \"editor\" for images.")};
        if (!hooks.openVideoEditor) return unavailable(QStringLiteral("The video editor"));
        if (const QString problem = hooks.openVideoEditor(path); !problem.isEmpty()) return Error{problem};
    } else if (what == u"quick_access") {
        if (!hooks.showQuickAccess) return unavailable(QStringLiteral("Quick Access"));
        hooks.showQuickAccess(path, ImageUtils::readFile(path));
    } else if (what == u"finder" || what == u"share") {
        // Files are shared on this desktop from the file manager, the file selected.
        if (!hooks.reveal) return unavailable(QStringLiteral("The file manager"));
        hooks.reveal({path});
    } else if (what == u"default_app") {
        if (!hooks.openWithDefaultApp) return unavailable(QStringLiteral("Opening files"));
        if (!hooks.openWithDefaultApp(path))
            return Error{QStringLiteral("No application opened %1.").arg(path)};
    } else {
        return Error{
            QStringLiteral("With a capture, `view` is editor, video_editor, quick_access, finder, share or "
                           "default_app.")};
    }
    return shown;
}

} // namespace CaptureActions
