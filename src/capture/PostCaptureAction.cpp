#include "capture/PostCaptureAction.h"

#include "app/Prefs.h"
#include "app/Toast.h"

#include <QEventLoop>
#include <QLocale>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <atomic>

namespace PostCaptureAction {

namespace {

std::atomic<std::chrono::milliseconds::rep> timeLimitMs{defaultTimeLimit.count()};
int runningCount = 0;

QString secondsText(std::chrono::milliseconds limit) {
    const double seconds = limit.count() / 1000.0;
    return seconds == 1.0 ? QStringLiteral("1 second")
                          : QStringLiteral("%1 seconds")
                                .arg(QString::number(seconds, 'g', QLocale::FloatingPointShortest));
}

QString lastLine(const QByteArray& output) {
    const QList<QByteArray> lines = output.trimmed().split('\n');
    return lines.isEmpty() ? QString() : QString::fromUtf8(lines.last()).trimmed();
}

QString failureReason(const QProcess& process, const QByteArray& errors) {
    if (process.exitStatus() == QProcess::CrashExit) return QStringLiteral("it crashed");
    QString reason = QStringLiteral("exit code %1").arg(process.exitCode());
    if (const QString detail = lastLine(errors); !detail.isEmpty())
        reason += QStringLiteral(" (") + detail + u')';
    return reason;
}

void finishedOne() {
    --runningCount;
}

} // namespace

bool inScope(Scope scope, const QString& kind) {
    switch (scope) {
    case Scope::both:
        return true;
    case Scope::images:
        return kind == imageKind;
    case Scope::recordings:
        return kind == videoKind || kind == gifKind;
    }
    return false;
}

void run(const QString& file, const QString& kind, const CaptureContext& context) {
    if (!inScope(Prefs::postActionScope(), kind)) return;
    switch (Prefs::postAction()) {
    case Kind::none:
        return;
    case Kind::shortcut:
        runShortcut(Prefs::text(QStringLiteral("postActionShortcut")), file);
        return;
    case Kind::script: {
        const QString script = Prefs::text(QStringLiteral("postActionScript"));
        if (script.trimmed().isEmpty()) return;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("PICTAVIA_FILE"), file);
        env.insert(QStringLiteral("PICTAVIA_KIND"), kind);
        env.insert(QStringLiteral("PICTAVIA_APP"), context.appName.value_or(QString()));
        env.insert(QStringLiteral("PICTAVIA_WINDOW"), context.windowTitle.value_or(QString()));
        launch(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script, QStringLiteral("pictavia"), file},
               env, QStringLiteral("Command"));
        return;
    }
    }
}

void recordingStarted() {
    if (const QString name = Prefs::text(QStringLiteral("recStartShortcut")); !name.isEmpty())
        runShortcut(name, std::nullopt);
}

void recordingStopped() {
    if (const QString name = Prefs::text(QStringLiteral("recStopShortcut")); !name.isEmpty())
        runShortcut(name, std::nullopt);
}

void runShortcut(const QString& name, const std::optional<QString>& input) {
    const QString described = QStringLiteral("Shortcut");
    if (name.trimmed().isEmpty()) return;
    const QString executable = QStandardPaths::findExecutable(name.trimmed());
    if (executable.isEmpty()) {
        Toast::show(described +
                    QStringLiteral(" could not start: no command named \"%1\" on PATH").arg(name));
        return;
    }
    launch(executable, input ? QStringList{*input} : QStringList{}, QProcessEnvironment::systemEnvironment(),
           described);
}

void launch(const QString& executable, const QStringList& arguments, const QProcessEnvironment& environment,
            const QString& describedAs) {
    auto* process = new QProcess;
    process->setProgram(executable);
    process->setArguments(arguments);
    process->setProcessEnvironment(environment);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardInputFile(QProcess::nullDevice());

    const std::chrono::milliseconds limit(timeLimitMs.load());
    auto* timer = new QTimer(process);
    timer->setSingleShot(true);
    auto timedOut = std::make_shared<bool>(false);
    QObject::connect(timer, &QTimer::timeout, process, [process, timedOut, describedAs, limit] {
        *timedOut = true;
        process->kill();
        Toast::show(describedAs + QStringLiteral(" timed out after ") + secondsText(limit));
    });
    QObject::connect(
        process, &QProcess::errorOccurred, process, [process, describedAs](QProcess::ProcessError e) {
            if (e != QProcess::FailedToStart) return;
            Toast::show(describedAs + QStringLiteral(" could not start: ") + process->errorString());
            finishedOne();
            process->deleteLater();
        });
    QObject::connect(process, &QProcess::finished, process, [process, timedOut, describedAs] {
        const QByteArray errors = process->readAllStandardError();
        if (!*timedOut && (process->exitStatus() == QProcess::CrashExit || process->exitCode() != 0))
            Toast::show(describedAs + QStringLiteral(" failed: ") + failureReason(*process, errors));
        finishedOne();
        process->deleteLater();
    });

    ++runningCount;
    process->start();
    timer->start(limit);
}

void setTimeLimit(std::chrono::milliseconds limit) {
    timeLimitMs = limit.count();
}

int running() {
    return runningCount;
}

void waitForAll() {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&loop] {
        if (runningCount <= 0) loop.quit();
    });
    poll.start(10);
    if (runningCount > 0) loop.exec();
}

} // namespace PostCaptureAction
