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
    if (passOn)
        passOn(type, context, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

} // namespace

void install() {
    showEverything = !qEnvironmentVariableIsEmpty("PICTAVIA_DEBUG");
    passOn = qInstallMessageHandler(filter);
}

} // namespace MessageFilter
