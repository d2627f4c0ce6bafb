#include "platform/BackendChoice.h"

#include <QtGlobal>

#include <atomic>

namespace BackendChoice {

namespace {

std::atomic<Backend> chosen{Backend::x11};

const QString optionName = QStringLiteral("--backend");

} // namespace

Session Session::fromEnvironment() {
    return {qgetenv("WAYLAND_DISPLAY"), qgetenv("XDG_SESSION_TYPE"), qgetenv("DISPLAY")};
}

Result<Backend> choose(const std::optional<QString>& requested, const Session& session) {
    if (requested) {
        if (*requested == u"x11") return Backend::x11;
        if (*requested == u"wayland") return Backend::wayland;
        return Error{QStringLiteral("--backend is x11 or wayland, not \"%1\"").arg(*requested)};
    }
    const QByteArray type = session.sessionType.toLower();
    if (type == "x11") return Backend::x11;
    if (type == "wayland" || !session.waylandDisplay.isEmpty()) return Backend::wayland;
    return Backend::x11;
}

std::optional<QString> takeOption(QStringList& arguments) {
    std::optional<QString> value;
    for (qsizetype i = 0; i < arguments.size();) {
        const QString& argument = arguments[i];
        if (argument == optionName) {
            value = arguments.value(i + 1);
            arguments.remove(i, std::min<qsizetype>(2, arguments.size() - i));
        } else if (argument.startsWith(optionName + u'=')) {
            value = argument.mid(optionName.size() + 1);
            arguments.remove(i);
        } else {
            ++i;
        }
    }
    return value;
}

QByteArray qtPlatformFor(Backend backend, const QByteArray& current) {
    // Under Wayland the displays are Qt's screens, which only its Wayland plugins know.
    if (backend == Backend::wayland) return current.startsWith("wayland") ? current : QByteArray("wayland");
    if (current.isEmpty() || current.startsWith("wayland")) return "xcb";
    return current;
}

QString name(Backend backend) {
    return backend == Backend::wayland ? QStringLiteral("wayland") : QStringLiteral("x11");
}

Backend current() {
    return chosen.load();
}

void setCurrent(Backend backend) {
    chosen.store(backend);
}

} // namespace BackendChoice
