#include "main/HostedCommands.h"

#include "app/Usage.h"
#include "main/CaptureCommand.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/HistoryCommand.h"

#include <QCoreApplication>
#include <QDir>

namespace HostedCommands {

namespace {

// The caller's working directory while its command runs, for the paths it names.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const QString& path) : m_previous(QDir::currentPath()) {
        if (!path.isEmpty()) QDir::setCurrent(path);
    }
    ~WorkingDirectory() { QDir::setCurrent(m_previous); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    QString m_previous;
};

// Answers once the capture is delivered; the grab and the encoding leave the main thread
// free for the overlays and the editor meanwhile.
void capture(const QStringList& arguments, std::shared_ptr<InstanceChannel::Reply> reply) {
    const auto parsed = parseCaptureCommand(arguments);
    if (const int* code = std::get_if<int>(&parsed)) return reply->finish(*code);
    const auto& request = std::get<CaptureRequest>(parsed);
    Usage::count(request.usageEvent());
    takeCapture(request, qApp,
                [reply, sink = CommandOutput::current(), copyOnly = request.copyOnly](const auto& result) {
                    const CommandOutput::Redirect redirect(sink);
                    // The running app showed its toast on its own screen; the command says it too.
                    if (result && copyOnly && !result->notCopied.isEmpty())
                        CommandOutput::error(result->notCopied);
                    reply->finish(reportCapture(result, copyOnly));
                });
}

} // namespace

bool isHosted(const QStringList& arguments) {
    const QString command = arguments.value(0);
    // An export only reads the history: the caller's own process writes it, and the app's
    // main thread stays free during a long PDF or archive.
    if (command == u"history") return arguments.value(1) != u"export";
    return command == u"capture";
}

void run(const InstanceChannel::Request& request, std::shared_ptr<InstanceChannel::Reply> reply) {
    CommandLine::setHosted(true);
    const CommandOutput::Redirect redirect({[reply](const QByteArray& bytes) { reply->out(bytes); },
                                            [reply](const QByteArray& bytes) { reply->err(bytes); }});
    const WorkingDirectory directory(request.workingDirectory);
    const QString command = request.arguments.value(0);
    const QStringList rest = request.arguments.mid(1);
    if (command == u"capture") return capture(rest, std::move(reply));
    int code = CommandLine::usage;
    if (command == u"history")
        code = runHistoryCommand(rest);
    else
        CommandOutput::error(QStringLiteral("this Pictavia does not run \"%1\" for others").arg(command));
    reply->finish(code);
}

} // namespace HostedCommands
