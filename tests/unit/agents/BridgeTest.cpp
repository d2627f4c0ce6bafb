// What pictavia-mcp decides on its own: which requests to answer when Pictavia cannot
// be reached, and with which environment to start it.
#include "bridge/Bridge.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using Ids = std::vector<std::string>;
using namespace std::string_view_literals;

TEST(AgentBridgeTest, RequestIdsOfObjectsAndBatches) {
    EXPECT_EQ(bridge::requestIds(R"({"jsonrpc":"2.0","id":7,"method":"ping"})"), Ids{"7"});
    EXPECT_EQ(bridge::requestIds(R"( {"id" : "a\"}b" , "params":{"id":9}} )"), Ids{R"("a\"}b")"});
    EXPECT_EQ(bridge::requestIds(R"({"method":"notifications/initialized"})"), Ids{});
    EXPECT_EQ(bridge::requestIds(R"({"id":null,"method":"x"})"), Ids{});
    EXPECT_EQ(bridge::requestIds(R"({"id":123456789012345678901234567890})"),
              Ids{"123456789012345678901234567890"});
    EXPECT_EQ(bridge::requestIds(R"([{"id":1},{"method":"n"},2,{"id":"x","p":[{"id":3}]}])"),
              (Ids{"1", "\"x\""}));
    EXPECT_EQ(bridge::requestIds("[]"), Ids{});
    for (const char* bad : {"{", "{\"id\":1", "[{\"id\":1}", "{\"id\":1} x", "42", "", "{\"id\":\"open}"})
        EXPECT_EQ(bridge::requestIds(bad), Ids{"null"}) << bad;
}

TEST(AgentBridgeTest, ErrorRepliesAreJSON) {
    EXPECT_EQ(bridge::errorReply("\"a\"", "No \"display\" \\ here"),
              R"({"jsonrpc":"2.0","id":"a","error":{"code":-32000,"message":"No \"display\" \\ here"}})");
}

class AgentBridgeEnvironment : public ::testing::Test {
protected:
    void process(int pid, int parent, std::string_view environ) {
        const QString dir = proc.path() + '/' + QString::number(pid);
        QDir().mkpath(dir);
        QFile stat(dir + "/stat");
        ASSERT_TRUE(stat.open(QIODevice::WriteOnly));
        stat.write(QByteArray::number(pid) + " (p) S " + QByteArray::number(parent) + " 0 0\n");
        QFile env(dir + "/environ");
        ASSERT_TRUE(env.open(QIODevice::WriteOnly));
        env.write(environ.data(), static_cast<qint64>(environ.size()));
    }
    std::vector<std::string> launch(const std::vector<std::string>& own, int parent) {
        return bridge::launchEnvironment(own, parent, proc.path().toStdString());
    }
    QTemporaryDir proc;
};

TEST_F(AgentBridgeEnvironment, TheSessionComesFromTheNearestAncestorWithADisplay) {
    const std::vector<std::string> own{"HOME=/home/ann", "PATH=/usr/bin", "LANG=C"};
    process(30, 20, "PATH=/x\0"sv);
    process(20, 10,
            "DISPLAY=:1\0XDG_RUNTIME_DIR=/run/user/1000\0HOME=/elsewhere\0LANG=de_DE.UTF-8\0"
            "DBUS_SESSION_BUS_ADDRESS=unix:path=/run/user/1000/bus\0SECRET=1\0LC_TIME=C\0"sv);
    process(10, 1, "WAYLAND_DISPLAY=wayland-0\0"sv);
    const auto env = launch(own, 30);
    EXPECT_EQ(env, (std::vector<std::string>{"HOME=/home/ann", "PATH=/usr/bin", "LANG=C", "DISPLAY=:1",
                                             "XDG_RUNTIME_DIR=/run/user/1000",
                                             "DBUS_SESSION_BUS_ADDRESS=unix:path=/run/user/1000/bus",
                                             "LC_TIME=C"}));
    // With a display of its own nothing is borrowed; without any, nothing can start.
    const std::vector<std::string> withDisplay{"DISPLAY=:0", "HOME=/h"};
    EXPECT_EQ(launch(withDisplay, 30), withDisplay);
    process(40, 1, "DISPLAY=\0"sv);
    EXPECT_TRUE(launch(own, 40).empty());
    EXPECT_TRUE(launch({"DISPLAY="}, 99).empty());
}

} // namespace
