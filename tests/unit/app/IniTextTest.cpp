#include "app/IniText.h"

#include <gtest/gtest.h>

namespace {

const QByteArray handEdited = "; my settings\n"
                              "imageFormat = jpg\n"
                              "\n"
                              "# the counter\n"
                              "captureCounter=7\n"
                              "this line is junk\n"
                              "[hotkeys]\n"
                              "area = Print ; not a comment\n"
                              "  window = Ctrl+Print\n";

TEST(IniText, ReadsKeysSectionsAndReportsJunkByLine) {
    const IniText::Parsed parsed = IniText::parse(handEdited);
    EXPECT_EQ(parsed.values.value("imageFormat"), "jpg");
    EXPECT_EQ(parsed.values.value("captureCounter"), "7");
    EXPECT_EQ(parsed.values.value("hotkeys/area"), "Print ; not a comment");
    EXPECT_EQ(parsed.values.value("hotkeys/window"), "Ctrl+Print");
    EXPECT_EQ(parsed.values.size(), 4);
    ASSERT_EQ(parsed.problems.size(), 1);
    EXPECT_TRUE(parsed.problems[0].contains("line 6")) << parsed.problems[0].toStdString();
}

TEST(IniText, WritingBackKeepsCommentsJunkAndOrder) {
    QMap<QString, QVariant> values;
    values["imageFormat"] = "png";
    values["captureCounter"] = 8;
    values["hotkeys/window"] = "Ctrl+Print";
    values["hotkeys/fullscreen"] = "Shift+Print"; // new, goes into its section
    values["askForName"] = true;                  // new, goes before the first section
    // "hotkeys/area" is gone: its line goes too.
    const QByteArray written = IniText::update(handEdited, values);

    EXPECT_EQ(written, "; my settings\n"
                       "imageFormat = png\n"
                       "\n"
                       "# the counter\n"
                       "captureCounter = 8\n"
                       "askForName = true\n"
                       "this line is junk\n"
                       "[hotkeys]\n"
                       "  window = Ctrl+Print\n"
                       "fullscreen = Shift+Print\n");
    EXPECT_EQ(IniText::parse(written).values.size(), 5);
}

TEST(IniText, NewSectionAndGeneralSection) {
    QMap<QString, QVariant> values{{"a", 1}, {"b", 2}, {"x/y", 3}};
    const QByteArray written = IniText::update("[General]\na = 0\n", values);
    EXPECT_EQ(written, "[General]\na = 1\nb = 2\n\n[x]\ny = 3\n");
}

TEST(IniText, AKeyGivenTwiceKeepsBothLinesAndTheLastOneIsTheOneThatCounts) {
    const QByteArray text = "k=1  \n[s]\nx = a\n[General]\nk = 2\n";
    EXPECT_EQ(IniText::parse(text).values.value("k"), "2");
    // The line the reader uses takes the new value; the earlier one stays, byte for byte.
    EXPECT_EQ(IniText::update(text, {{"k", 5}, {"s/x", "a"}}), "k=1  \n[s]\nx = a\n[General]\nk = 5\n");
    // A key no longer set loses every line: the earlier one would bring the old value back.
    EXPECT_EQ(IniText::update(text, {{"s/x", "a"}}), "[s]\nx = a\n[General]\n");
}

TEST(IniText, LinesNotRewrittenKeepEveryByte) {
    // Windows line ends, bytes that are not UTF-8, a byte-order mark, a tab, odd spacing,
    // a carriage return inside a line, and no newline at the end.
    const QByteArray odd = "\xEF\xBB\xBF; from another editor\r\n"
                           "imageFormat\t=jpg\r\n"
                           "caf\xE9 latin-1 junk\r\n"
                           "\r\n"
                           "   # indented comment\r\n"
                           "historyLimit=   50\r\n"
                           "half\rline\r\n"
                           "captureCounter = 3";
    const IniText::Parsed parsed = IniText::parse(odd);
    EXPECT_EQ(parsed.values.value("imageFormat"), "jpg");
    EXPECT_EQ(parsed.values.value("historyLimit"), "50");
    EXPECT_EQ(parsed.problems.size(), 2) << parsed.problems.join(" | ").toStdString();

    // Written back with the values it holds: not one byte changes.
    QMap<QString, QVariant> same;
    for (auto it = parsed.values.cbegin(); it != parsed.values.cend(); ++it)
        same.insert(it.key(), it.value());
    EXPECT_EQ(IniText::update(odd, same), odd);

    // One value changed and one added: only that line changes, in the file's own line
    // ends, and the last line gets the newline it now needs.
    same["historyLimit"] = 60;
    same["askForName"] = true;
    EXPECT_EQ(IniText::update(odd, same), "\xEF\xBB\xBF; from another editor\r\n"
                                          "imageFormat\t=jpg\r\n"
                                          "caf\xE9 latin-1 junk\r\n"
                                          "\r\n"
                                          "   # indented comment\r\n"
                                          "historyLimit = 60\r\n"
                                          "half\rline\r\n"
                                          "captureCounter = 3\r\n"
                                          "askForName = true\r\n");
}

TEST(IniText, ValuesSurviveARoundTrip) {
    const QStringList tricky = {"",
                                "  padded  ",
                                "\"quoted\"",
                                "a\\b",
                                "two\nlines",
                                "Pictavia {date} at {time}",
                                "; looks like a comment",
                                "=",
                                "ünïcödé"};
    for (const QString& value : tricky) {
        const QByteArray written = IniText::update({}, {{"key", value}});
        EXPECT_EQ(IniText::parse(written).values.value("key"), value) << written.toStdString();
    }
    EXPECT_EQ(IniText::encodeValue(0.9), "0.9");
    EXPECT_EQ(IniText::encodeValue(false), "false");
}

} // namespace
