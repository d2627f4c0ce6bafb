// The user's decisions about agents: the gates' refusals word for word, prompts asked once
// and remembered, and the activity log's limit and file.
#include "agents/AgentAccess.h"

#include "agents/AgentConnection.h"
#include "agents/MCPSession.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

class NullChannel : public AgentChannel {
public:
    void send(QByteArray) override {}
    void close() override {}
};

class AgentAccessTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        access = std::make_unique<AgentAccess>(home.path() + "/agent-activity.json");
        // Prompts wait here until the test answers them.
        access->setAsker(
            [this](const AgentAccess::Prompt& prompt, std::function<void(AgentAccess::Answer)> answer) {
                prompts.append(prompt);
                answers.append(std::move(answer));
            });
    }

    std::unique_ptr<MCPSession> newSession() {
        return std::make_unique<MCPSession>(&channel, PeerIdentity{}, std::make_shared<NoAgentTools>());
    }

    using Outcome = std::optional<std::optional<QString>>; // unset until decided
    static AgentAccess::Decision record(Outcome& outcome) {
        return [&outcome](std::optional<QString> refusal) { outcome = refusal; };
    }

    NullChannel channel;
    std::unique_ptr<AgentAccess> access;
    QList<AgentAccess::Prompt> prompts;
    QList<std::function<void(AgentAccess::Answer)>> answers;
};

TEST_F(AgentAccessTest, NewClientIsAskedOnceEvenForCallsArrivingTogether) {
    auto session = newSession();
    Outcome first, second;
    access->authorizeClient(*session, record(first));
    access->authorizeClient(*session, record(second));
    ASSERT_EQ(prompts.size(), 1);
    EXPECT_EQ(prompts[0].allowTitle, "Allow");
    EXPECT_TRUE(prompts[0].title.startsWith("Allow “"));
    EXPECT_FALSE(first.has_value());
    answers[0](AgentAccess::Answer::allowedOnce);
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(first->has_value());
    EXPECT_FALSE(second->has_value());
    // Approved for good: a later session of the same client is not asked.
    EXPECT_TRUE(access->isApproved(session->approvalKey()));
    auto later = newSession();
    Outcome third;
    access->authorizeClient(*later, record(third));
    EXPECT_EQ(prompts.size(), 1);
    ASSERT_TRUE(third);
    EXPECT_FALSE(third->has_value());
}

TEST_F(AgentAccessTest, DeclinedClientIsRefusedForTheRestOfItsSession) {
    auto session = newSession();
    const QString name = session->displayName();
    Outcome first, again;
    access->authorizeClient(*session, record(first));
    answers[0](AgentAccess::Answer::declined);
    ASSERT_TRUE(first && first->has_value());
    EXPECT_EQ(**first, "The user did not allow " + name + " to use Pictavia.");
    access->authorizeClient(*session, record(again));
    EXPECT_EQ(prompts.size(), 1);
    EXPECT_EQ(**again, "The user did not allow " + name +
                           " to use Pictavia. They can allow it in Pictavia ▸ AI Agents.");

    access->setEnabled(false);
    Outcome off;
    access->authorizeClient(*newSession(), record(off));
    EXPECT_EQ(**off,
              "AI agents are turned off in Pictavia. The user can turn them on in Pictavia ▸ AI Agents.");
}

TEST_F(AgentAccessTest, CategoryPoliciesAllowRefuseOrAsk) {
    auto session = newSession();
    access->setPolicy(AgentAccess::Policy::off, AgentAccess::Category::record);
    Outcome recording;
    access->authorize(AgentAccess::Category::record, "record the screen", *session, record(recording));
    EXPECT_EQ(**recording, "Record the screen is turned off for AI agents in Pictavia ▸ AI Agents.");
    EXPECT_TRUE(prompts.isEmpty());

    access->setPolicy(AgentAccess::Policy::ask, AgentAccess::Category::manage);
    Outcome once, declined, always, after;
    access->authorize(AgentAccess::Category::manage, "delete a capture", *session, record(once));
    ASSERT_EQ(prompts.size(), 1);
    EXPECT_EQ(prompts[0].title, session->displayName() + " wants to delete a capture");
    EXPECT_EQ(prompts[0].alwaysTitle, "Always Allow");
    answers[0](AgentAccess::Answer::allowedOnce);
    EXPECT_FALSE(once->has_value());
    access->authorize(AgentAccess::Category::manage, "delete a capture", *session, record(declined));
    answers[1](AgentAccess::Answer::declined);
    EXPECT_EQ(**declined, "The user declined: delete a capture");
    access->authorize(AgentAccess::Category::manage, "change settings", *session, record(always));
    answers[2](AgentAccess::Answer::alwaysAllowed);
    EXPECT_FALSE(always->has_value());
    // Stored: a fresh access object reads the policy back.
    AgentAccess reread(home.path() + "/other.json");
    EXPECT_EQ(reread.policy(AgentAccess::Category::manage), AgentAccess::Policy::allow);
    EXPECT_EQ(reread.policy(AgentAccess::Category::record), AgentAccess::Policy::off);
    access->authorize(AgentAccess::Category::manage, "delete a capture", *session, record(after));
    EXPECT_EQ(prompts.size(), 3);
    EXPECT_FALSE(after->has_value());
}

TEST_F(AgentAccessTest, ActivityKeepsTheNewest300AndSurvivesARestart) {
    for (int i = 1; i <= 301; ++i)
        access->addActivity({QUuid::createUuid(), QDateTime::currentDateTimeUtc(), "Claude",
                             QStringLiteral("tool%1").arg(i), "summary", "ok"});
    ASSERT_EQ(access->activity().size(), 300);
    EXPECT_EQ(access->activity().first().tool, "tool301");
    EXPECT_EQ(access->activity().last().tool, "tool2");
    // One debounced write for the burst.
    EXPECT_FALSE(QFile::exists(home.path() + "/agent-activity.json"));
    ASSERT_TRUE(testsupport::waitUntil([&] { return QFile::exists(home.path() + "/agent-activity.json"); }));
    QFile file(home.path() + "/agent-activity.json");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonArray saved = QJsonDocument::fromJson(file.readAll()).array();
    ASSERT_EQ(saved.size(), 300);
    for (const char* key : {"id", "date", "client", "tool", "summary", "outcome"})
        EXPECT_TRUE(saved[0].toObject().contains(key)) << key;
    AgentAccess reloaded(home.path() + "/agent-activity.json");
    EXPECT_EQ(reloaded.activity().size(), 300);
    EXPECT_EQ(reloaded.activity().first().id, access->activity().first().id);
}

} // namespace
