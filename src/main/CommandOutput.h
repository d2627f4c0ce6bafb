#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

// Where a command's output goes: this process's stdout and stderr, or, for a command the
// running instance carries out for another `pictavia`, that process's terminal.
namespace CommandOutput {

struct Sink {
    std::function<void(const QByteArray&)> out;
    std::function<void(const QByteArray&)> err;
};

void out(const QString& text); // written as it is: callers end their lines
void err(const QString& text);
void outBytes(const QByteArray& bytes);

// "pictavia: <message>" and a line feed on the error stream.
void error(const QString& message);

// The sink of this thread now, to carry into work that finishes later.
Sink current();

// Sends this thread's command output to `sink` while it lives.
class Redirect {
public:
    explicit Redirect(Sink sink);
    ~Redirect();
    Redirect(const Redirect&) = delete;
    Redirect& operator=(const Redirect&) = delete;

private:
    Sink m_previous;
};

} // namespace CommandOutput
