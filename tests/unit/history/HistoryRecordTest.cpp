#include "history/HistoryRecord.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

TEST(HistoryRecordTest, KindComesFromTheLowerCasedExtension) {
    EXPECT_EQ(HistoryRecord::kindOf("a.MP4"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.mov"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.m4v"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.Gif"), HistoryRecord::Kind::Gif);
    EXPECT_EQ(HistoryRecord::kindOf("a.png"), HistoryRecord::Kind::Image);
    EXPECT_EQ(HistoryRecord::kindOf("no extension"), HistoryRecord::Kind::Image);
}

TEST(HistoryRecordTest, DurationLabels) {
    HistoryRecord r;
    EXPECT_FALSE(r.durationLabel());
    r.duration = 0;
    EXPECT_FALSE(r.durationLabel());
    r.duration = -3;
    EXPECT_FALSE(r.durationLabel());
    r.duration = 59.6;
    EXPECT_EQ(r.durationLabel(), "1:00");
    r.duration = 75.4;
    EXPECT_EQ(r.durationLabel(), "1:15");
    r.duration = 3600;
    EXPECT_EQ(r.durationLabel(), "60:00"); // minutes are not folded into hours
}

TEST(HistoryRecordTest, HaystackJoinsNameTextAppAndWindowLowerCased) {
    HistoryRecord r;
    r.name = "Shot.PNG";
    r.text = "Invoice\nTOTAL";
    r.app = "Mail";
    EXPECT_EQ(r.haystack(), "shot.png\ninvoice\ntotal\nmail\n");
    EXPECT_EQ(r.haystackUtf8(), r.haystack().toUtf8());
}

TEST(HistoryRecordTest, JsonKeysAndRoundTrip) {
    HistoryRecord r{"a.gif",
                    "hello",
                    std::nullopt,
                    std::nullopt,
                    QDateTime(QDate(2024, 5, 1), QTime(9, 5, 7), Qt::UTC),
                    HistoryRecord::Kind::Gif,
                    320,
                    200,
                    std::nullopt,
                    true};
    QJsonObject object = r.toJson();
    EXPECT_EQ(object.keys(), (QStringList{"date", "height", "keep", "kind", "name", "text", "width"}));
    EXPECT_EQ(object["date"].toString(), "2024-05-01T09:05:07Z");
    EXPECT_EQ(object["kind"].toString(), "gif");
    EXPECT_EQ(HistoryRecord::fromJson(object), r);

    r.app = "Mail";
    r.window = "Inbox";
    r.duration = 2.5;
    object = r.toJson();
    EXPECT_EQ(object.keys(), (QStringList{"app", "date", "duration", "height", "keep", "kind", "name", "text",
                                          "width", "window"}));
    EXPECT_EQ(HistoryRecord::fromJson(object), r);

    EXPECT_FALSE(HistoryRecord::fromJson(QJsonObject{{"text", "no name"}}));
    // An unknown kind falls back to the extension.
    EXPECT_EQ(HistoryRecord::fromJson(QJsonObject{{"name", "m.mov"}, {"kind", "hologram"}})->kind,
              HistoryRecord::Kind::Video);
}

} // namespace
