#include "main/CommandOutput.h"

#include <cstdio>

namespace CommandOutput {

namespace {

void write(std::FILE* stream, const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

Sink terminal() {
    return {[](const QByteArray& bytes) { write(stdout, bytes); },
            [](const QByteArray& bytes) { write(stderr, bytes); }};
}

// Commands run on one thread at a time per sink; the instance's main thread swaps it
// for each forwarded command.
thread_local Sink sink = terminal();

} // namespace

void outBytes(const QByteArray& bytes) {
    sink.out(bytes);
}

void out(const QString& text) {
    sink.out(text.toUtf8());
}

void err(const QString& text) {
    sink.err(text.toUtf8());
}

void error(const QString& message) {
    err(QStringLiteral("pictavia: ") + message + u'\n');
}

Sink current() {
    return sink;
}

Redirect::Redirect(Sink replacement) : m_previous(std::move(sink)) {
    sink = std::move(replacement);
}

Redirect::~Redirect() {
    sink = std::move(m_previous);
}

} // namespace CommandOutput
