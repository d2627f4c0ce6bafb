#include "main/MessageFilter.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <cstring>

namespace MessageFilter {

namespace {

QtMessageHandler passOn = nullptr;
bool showEverything = false;

bool isOurs(const QMessageLogContext& context) {
    return context.category && std::strncmp(context.category, "pictavia", 8) == 0 &&
           (context.category[8] == '\0' || context.category[8] == '.');
}

void filter(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (!showEverything && !isOurs(context) && type != QtFatalMsg) return;
    // Lines that already say whose they are ("Pictavia: camera not drawn in: ...") go out
    // without the category's "pictavia: " in front of them.
    const bool named = isOurs(context) && message.startsWith(QLatin1String("Pictavia: "));
    const QMessageLogContext unnamed(context.file, context.line, context.function, nullptr);
    const QMessageLogContext& shown = named ? unnamed : context;
    if (passOn)
        passOn(type, shown, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, shown, message)));
}

} // namespace

void install() {
    showEverything = !qEnvironmentVariableIsEmpty("PICTAVIA_DEBUG");
    passOn = qInstallMessageHandler(filter);
}

} // namespace MessageFilter
