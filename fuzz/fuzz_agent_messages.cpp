// Agent messages come from whatever program the user runs as an AI client: any bytes,
// cut into reads anywhere, must come out as replies that are each one line holding one
// JSON object, and never as a crash or a hang.
#include "agents/AgentConnection.h"
#include "agents/JsonMessage.h"
#include "agents/LineFramer.h"
#include "agents/MCPSession.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdlib>

namespace {

class CheckedChannel : public AgentChannel {
public:
    void send(QByteArray message) override {
        // A newline inside a reply would split it in two for the client.
        if (message.contains('\n')) std::abort();
        const auto parsed = JsonMessage::parse(message);
        if (!parsed || parsed->shape != JsonMessage::Parsed::Shape::Object) std::abort();
        if (parsed->object->object.value(QStringLiteral("jsonrpc")) != QStringLiteral("2.0")) std::abort();
    }
    void close() override {}
};

// Answers at once, echoing the arguments back, with a progress note when asked for one.
class EchoTools : public AgentToolProvider {
public:
    QJsonArray list() const override {
        return {QJsonObject{{QStringLiteral("name"), QStringLiteral("echo")}}};
    }
    void call(const ToolCallRequest& request, ToolCallDone done) override {
        if (request.progressToken && request.session)
            request.session->notifyProgress(*request.progressToken, 1, 2);
        if (request.name == u"hold") {
            held.push_back(std::move(done)); // answered when the session is gone
            return;
        }
        done(QJsonObject{{QStringLiteral("content"), QJsonArray{request.arguments}}});
    }
    std::vector<ToolCallDone> held;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Long batches are answered in slices through the event loop.
    static int argc = 1;
    static char name[] = "fuzz_agent_messages";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    if (size == 0) return 0;
    // The first byte decides how the rest is cut into reads.
    const qsizetype cut = 1 + data[0];
    const char* bytes = reinterpret_cast<const char*>(data + 1);
    qsizetype left = static_cast<qsizetype>(size - 1);

    CheckedChannel channel;
    auto tools = std::make_shared<EchoTools>();
    {
        MCPSession session(&channel, PeerIdentity{}, tools);
        LineFramer framer;
        while (left > 0) {
            const qsizetype n = std::min(left, cut);
            if (!framer.append(bytes, n, [&](const QByteArray& message) { session.receive(message); })) break;
            bytes += n;
            left -= n;
        }
        while (session.hasWaiting())
            QCoreApplication::processEvents();
        session.displayName();
    }
    for (const auto& done : tools->held)
        done(QJsonObject{});
    return 0;
}
