#pragma once

#include "agents/AgentConnection.h"
#include "agents/AgentTool.h"
#include "agents/AgentToolProvider.h"
#include "support/EventLoop.h"

#include <QJsonObject>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace testsupport {

// A session's channel that drops what it is sent.
class Silent : public AgentChannel {
public:
    void send(QByteArray) override {}
    void close() override {}
};

// What a tool of `tools` answers to `arguments`, waiting up to `milliseconds` for answers
// that come later. An error thrown before the tool returns is its answer too.
inline ToolOutcome
callTool(const std::vector<AgentTool>& tools, const QString& name, const QJsonObject& arguments,
         MCPSession& session,
         std::shared_ptr<ToolCancellation> cancellation = std::make_shared<ToolCancellation>(),
         int milliseconds = 5000) {
    const auto it =
        std::find_if(tools.begin(), tools.end(), [&](const AgentTool& t) { return t.name == name; });
    if (it == tools.end()) return ToolError{"missing " + name};
    std::optional<ToolOutcome> outcome;
    const ToolContext context{&session, std::nullopt, std::move(cancellation)};
    try {
        it->run(ToolArgs(arguments), context, [&](ToolOutcome o) { outcome = std::move(o); });
    } catch (const ToolError& error) {
        return error;
    }
    EXPECT_TRUE(waitUntil([&] { return outcome.has_value(); }, milliseconds)) << name.toStdString();
    return outcome.value_or(ToolError{"no answer"});
}

// The structured fields of a successful answer; a test failure for any other.
inline QJsonObject answeredJson(const ToolOutcome& outcome) {
    if (const auto* error = std::get_if<ToolError>(&outcome)) ADD_FAILURE() << error->message.toStdString();
    const auto* output = std::get_if<ToolOutput>(&outcome);
    return output ? output->json : QJsonObject();
}

} // namespace testsupport
