#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QHash>
#include <QLockFile>
#include <QObject>
#include <QSocketNotifier>
#include <QStringList>

#include <memory>
#include <optional>
#include <variant>

// One Pictavia per user session: later starts hand their arguments to the running one
// over a socket in $XDG_RUNTIME_DIR, readable by this user only. The running one answers
// "taken" only once it has acted on them, and for a command it carries out, sends the
// command's output and exit code back, so the caller behaves as if it had run it itself.
namespace InstanceChannel {

// $XDG_RUNTIME_DIR/pictavia/instance, or /tmp/pictavia-UID/instance without one.
QString socketPath();

// What the running instance is asked to do.
enum class Kind {
    open, // resident arguments: pictavia:// URLs and options, acted on as the app's own
    run,  // a command ("capture", "history" ...) carried out for the caller
};

struct Request {
    Kind kind = Kind::open;
    QString workingDirectory; // the caller's, for relative paths in a command
    QStringList arguments;
};

enum class Outcome {
    done,       // the instance took the request and, for a command, finished it
    noInstance, // nothing listens, or it ended before it took the request: ask again or run here
    notTaken,   // something listens but did not take the request in time
    cutOff,     // the instance took the command and ended before it finished
};
struct Forwarded {
    Outcome outcome = Outcome::noInstance;
    int exitCode = 0; // the command's, when done
};

// Hands the request to the running instance and waits for it to be taken (and, for a
// command, finished, relaying its output to this process's stdout and stderr). It runs
// before any Qt application exists, in plain POSIX: Qt's local sockets would bring in its
// network stack and slow every start.
Forwarded forward(const Request& request);

// The claim of the instance, held for as long as it runs. None while another live process
// holds it (it is starting up, or running without answering).
std::unique_ptr<QLockFile> tryClaim();

// Hands resident arguments to the running instance, or makes this process the instance
// when none runs: the claim to hold for the whole run. Starts at the same moment elect one
// of them; the others wait for it to listen and hand their arguments to it. An exit code
// when this process is done (the arguments were taken, or the message why not is printed).
std::variant<int, std::unique_ptr<QLockFile>> elect(const Request& request);

// The sentence for a request that could not be handed over, for "pictavia: <sentence>".
QString failureMessage(Outcome outcome);

// The encoded request, and the request from the bytes a connection sent: none while the
// end has not arrived, or when the bytes are not a request.
QByteArray encode(const Request& request);
std::optional<Request> decode(const QByteArray& message);

// The running instance's side of one request: the caller waits on it until finish().
class Reply {
public:
    virtual ~Reply() = default;
    virtual void out(const QByteArray& bytes) = 0;
    virtual void err(const QByteArray& bytes) = 0;
    // Tells the caller the request is taken and its work under way; finish() follows.
    virtual void take() = 0;
    // Ends the request: "taken" for resident arguments, the exit code for a command.
    virtual void finish(int exitCode) = 0;
};

// The running instance's side: each connection brings one request.
class Server : public QObject {
    Q_OBJECT
public:
    ~Server() override;
    // Takes over a socket left behind by an instance that has gone.
    Result<bool> listen();

signals:
    // Handlers answer through `reply`, now or later; a reply not finished when the last
    // reference goes finishes with exit code 1.
    void received(const InstanceChannel::Request& request, std::shared_ptr<InstanceChannel::Reply> reply);

private:
    class Connection;
    void accept();

    int m_listener = -1;
    QHash<int, std::shared_ptr<Connection>> m_connections;
};

} // namespace InstanceChannel
