#include "platform/plist/BinaryPropertyList.h"

#include <QDateTime>
#include <QPointF>
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <vector>

namespace {

// A hand-made "bplist00" with two-byte offsets and references, for shapes the encoder
// never produces.
QByteArray craft(const std::vector<QByteArray>& objects, quint64 top = 0) {
    QByteArray file("bplist00");
    std::vector<qsizetype> offsets;
    for (const QByteArray& object : objects) {
        offsets.push_back(file.size());
        file += object;
    }
    const qsizetype table = file.size();
    for (qsizetype offset : offsets) {
        file += char(offset >> 8);
        file += char(offset & 0xFF);
    }
    QByteArray trailer(32, '\0');
    trailer[6] = 2;
    trailer[7] = 2;
    auto put = [&trailer](int at, quint64 value) {
        for (int i = 7; i >= 0; --i, value >>= 8)
            trailer[at + i] = char(value & 0xFF);
    };
    put(8, objects.size());
    put(16, top);
    put(24, quint64(table));
    return file + trailer;
}

QByteArray ref(int index) {
    return QByteArray(1, char(index >> 8)) + char(index & 0xFF);
}

QVariantMap everyType() {
    return {
        {QStringLiteral("text"), QStringLiteral("Grüße ✓")},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("int"), 42},
        {QStringLiteral("negative"), qint64(-7)},
        {QStringLiteral("large"), qint64(1) << 40},
        {QStringLiteral("real"), 2.5},
        {QStringLiteral("yes"), true},
        {QStringLiteral("no"), false},
        {QStringLiteral("bytes"), QByteArray("\x00\x01\xFF", 3)},
        {QStringLiteral("when"), QDateTime(QDate(2024, 5, 17), QTime(13, 45, 12, 250), Qt::UTC)},
        {QStringLiteral("before2001"), QDateTime(QDate(1990, 3, 1), QTime(8, 0, 0, 500), Qt::UTC)},
        {QStringLiteral("list"), QVariantList{1, QStringLiteral("two"), QVariantMap{{"three", 3.0}}}},
        {QStringLiteral("nested"), QVariantMap{{"inner", QVariantList{}}}},
    };
}

} // namespace

TEST(BinaryPropertyListTest, RoundTripsEveryType) {
    const QVariantMap original = everyType();
    const QByteArray bytes = BinaryPropertyList::encode(original);
    ASSERT_TRUE(bytes.startsWith("bplist00"));
    const auto decoded = BinaryPropertyList::decode(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    const QVariantMap map = decoded->toMap();

    EXPECT_EQ(map.value("text").toString(), QStringLiteral("Grüße ✓"));
    EXPECT_EQ(map.value("empty").toString(), QString());
    EXPECT_EQ(map.value("int").toLongLong(), 42);
    EXPECT_EQ(map.value("negative").toLongLong(), -7);
    EXPECT_EQ(map.value("large").toLongLong(), qint64(1) << 40);
    EXPECT_DOUBLE_EQ(map.value("real").toDouble(), 2.5);
    EXPECT_EQ(map.value("yes").typeId(), QMetaType::Bool);
    EXPECT_TRUE(map.value("yes").toBool());
    EXPECT_FALSE(map.value("no").toBool());
    EXPECT_EQ(map.value("bytes").toByteArray(), QByteArray("\x00\x01\xFF", 3));
    EXPECT_EQ(map.value("when").toDateTime(), original.value("when").toDateTime());
    EXPECT_EQ(map.value("before2001").toDateTime(), original.value("before2001").toDateTime());
    const QVariantList list = map.value("list").toList();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[1].toString(), QStringLiteral("two"));
    EXPECT_DOUBLE_EQ(list[2].toMap().value("three").toDouble(), 3.0);
    EXPECT_TRUE(map.value("nested").toMap().value("inner").toList().isEmpty());
}

TEST(BinaryPropertyListTest, LeavesOutValuesItCannotHold) {
    const QVariantMap original{{"kept", 1}, {"null", QVariant()}, {"point", QPointF(1, 2)}};
    const auto decoded = BinaryPropertyList::decode(BinaryPropertyList::encode(original));
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(decoded->toMap().keys(), QStringList{"kept"});
}

TEST(BinaryPropertyListTest, RejectsWhatIsNotABinaryPropertyList) {
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("bplist00"), QByteArray("{\"json\": true}"),
          QByteArray("<?xml version=\"1.0\"?><plist><dict/></plist>"), QByteArray(100, 'x')}) {
        const auto decoded = BinaryPropertyList::decode(bytes);
        ASSERT_FALSE(decoded.ok());
        EXPECT_FALSE(decoded.error().message.isEmpty());
    }
    EXPECT_EQ(
        BinaryPropertyList::decode("not a plist at all, but long enough to have a trailer").error().message,
        QStringLiteral("The file is not a binary property list."));
}

// Every truncation and many random corruptions of a real file either decode or fail
// cleanly; none may crash (run under the address sanitizer by the fuzz target too).
TEST(BinaryPropertyListTest, SurvivesTruncatedAndGarbledFiles) {
    const QByteArray bytes = BinaryPropertyList::encode(everyType());
    for (qsizetype length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(BinaryPropertyList::decode(bytes.left(length)).ok()) << length;

    QRandomGenerator random(7);
    for (int round = 0; round < 3000; ++round) {
        QByteArray garbled = bytes;
        const int flips = 1 + int(random.bounded(4));
        for (int i = 0; i < flips; ++i)
            garbled[qsizetype(8 + random.bounded(int(garbled.size() - 8)))] = char(random.bounded(256));
        (void)BinaryPropertyList::decode(garbled);
    }
}

TEST(BinaryPropertyListTest, RejectsHostileStructures) {
    // An array that contains itself.
    EXPECT_FALSE(BinaryPropertyList::decode(craft({QByteArray("\xA1") + ref(0)})).ok());

    // Nesting deep enough to exhaust a recursive parser's stack.
    std::vector<QByteArray> deep;
    for (int i = 0; i < 5000; ++i)
        deep.push_back(QByteArray("\xA1") + ref(i + 1));
    deep.push_back(QByteArray("\xA0"));
    EXPECT_FALSE(BinaryPropertyList::decode(craft(deep)).ok());

    // Shared references that would expand to 2^40 copies.
    std::vector<QByteArray> bomb;
    for (int i = 0; i < 40; ++i)
        bomb.push_back(QByteArray("\xA2") + ref(i + 1) + ref(i + 1));
    bomb.push_back(QByteArray("\x10\x01", 2));
    EXPECT_FALSE(BinaryPropertyList::decode(craft(bomb)).ok());

    // A dictionary keyed by a number, a reference past the last object, an unknown marker.
    EXPECT_FALSE(
        BinaryPropertyList::decode(craft({QByteArray("\xD1") + ref(1) + ref(1), QByteArray("\x10\x01", 2)}))
            .ok());
    EXPECT_FALSE(BinaryPropertyList::decode(craft({QByteArray("\xA1") + ref(9)})).ok());
    EXPECT_FALSE(BinaryPropertyList::decode(craft({QByteArray("\x70")})).ok());

    // The same shapes, made sound, do decode: the checks are not merely rejecting crafting.
    const auto sound =
        BinaryPropertyList::decode(craft({QByteArray("\xD1") + ref(1) + ref(2), QByteArray("\x51k"),
                                          QByteArray("\xA1") + ref(3), QByteArray("\x10\x05", 2)}));
    ASSERT_TRUE(sound.ok()) << sound.error().message.toStdString();
    EXPECT_EQ(sound->toMap().value("k").toList().value(0).toLongLong(), 5);
}
