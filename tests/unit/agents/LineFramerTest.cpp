// Newline framing of agent messages: message boundaries are independent of how the
// bytes arrive, and one endless message cannot take the application's memory.
#include "agents/LineFramer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<QByteArray> feed(LineFramer& framer, const std::vector<QByteArray>& reads, bool* fits = nullptr) {
    std::vector<QByteArray> messages;
    bool ok = true;
    for (const QByteArray& bytes : reads)
        ok = framer.append(bytes.constData(), bytes.size(), [&](const QByteArray& m) {
            messages.push_back(m);
        }) && ok;
    if (fits) *fits = ok;
    return messages;
}

using Messages = std::vector<QByteArray>;

TEST(AgentFramingTest, MessagesDoNotDependOnHowTheBytesArrive) {
    const QByteArray stream = R"({"id":1,"method":"ping"})"
                              "\n"
                              R"({"id":2,"method":"tools/list"})"
                              "\n";
    const Messages expected{R"({"id":1,"method":"ping"})", R"({"id":2,"method":"tools/list"})"};
    {
        LineFramer framer; // both in one read
        EXPECT_EQ(feed(framer, {stream}), expected);
    }
    for (qsizetype cut = 1; cut < stream.size(); ++cut) {
        LineFramer framer; // split anywhere, the newline included
        EXPECT_EQ(feed(framer, {stream.left(cut), stream.mid(cut)}), expected) << cut;
    }
    LineFramer framer; // one byte at a time
    std::vector<QByteArray> bytes;
    for (const char c : stream)
        bytes.emplace_back(1, c);
    EXPECT_EQ(feed(framer, bytes), expected);
    EXPECT_EQ(framer.pending(), 0);
}

TEST(AgentFramingTest, CarriageReturnsStayAndBlankLinesAreDropped) {
    LineFramer framer;
    EXPECT_EQ(feed(framer, {"\n\r\n  \t \r\n{\"a\":1}\r\n\t\n x \n", "{\"b\""}),
              (Messages{"{\"a\":1}\r", " x "}));
    EXPECT_EQ(framer.pending(), 4);
    EXPECT_EQ(feed(framer, {":2}\n"}), Messages{"{\"b\":2}"});
}

TEST(AgentFramingTest, LongMessagesArriveWholeAndTheBufferShrinksBack) {
    LineFramer framer;
    const QByteArray big = QByteArray(3 * LineFramer::readChunk + 17, 'x');
    const Messages got = feed(framer, {big + "\nsmall\n"});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], big);
    EXPECT_EQ(got[1], "small");
    // The room the long message needed is given back once it has gone out.
    EXPECT_LE(framer.capacity(), 4 * LineFramer::readChunk);
    // Many small messages afterwards do not keep growing it.
    QByteArray many;
    for (int i = 0; i < 20000; ++i)
        many += "{\"id\":" + QByteArray::number(i) + "}\n";
    EXPECT_EQ(feed(framer, {many}).size(), 20000u);
    EXPECT_LE(framer.capacity(), 4 * LineFramer::readChunk);
}

TEST(AgentFramingTest, AnIncompleteMessageOverTheLimitIsRefusedWithoutGrowingPastIt) {
    LineFramer framer;
    bool fits = false;
    // Exactly the limit is still allowed to go on.
    const QByteArray chunk(LineFramer::readChunk, 'a');
    for (qsizetype sent = 0; sent < LineFramer::maxRemainder; sent += chunk.size())
        ASSERT_TRUE(feed(framer, {chunk}, &fits).empty());
    EXPECT_TRUE(fits);
    EXPECT_EQ(framer.pending(), LineFramer::maxRemainder);
    EXPECT_TRUE(feed(framer, {"b"}, &fits).empty());
    EXPECT_FALSE(fits);
    EXPECT_LE(framer.capacity(), LineFramer::maxRemainder + LineFramer::readChunk);
}

TEST(AgentFramingTest, CompleteMessagesBeforeAnOversizedOneAreStillDelivered) {
    LineFramer framer;
    bool fits = true;
    QByteArray bytes = "first\n" + QByteArray(LineFramer::maxRemainder + 1, 'z');
    const Messages got = feed(framer, {bytes}, &fits);
    EXPECT_EQ(got, Messages{"first"});
    EXPECT_FALSE(fits);
}

} // namespace
