#include "app/Hotkeys.h"

#include "support/FakePlatform.h"

#include <QFile>

namespace {

class HotkeysTest : public testsupport::PlatformTest {};

TEST_F(HotkeysTest, DefaultsAreWrittenForEditingAndFailuresNamedTogether) {
    Prefs::setValue("Hotkeys/window", ""); // turned off by the user
    Prefs::setValue("Hotkeys/allInOne", "Ctrl+Alt+Nonsense+Q");
    hotkeys->taken << QKeySequence("Shift+Print");
    QStringList ran;
    const QStringList failures =
        Hotkeys::bindAll(Hotkeys::captureBindings([&](const QString& f) { ran << f; }));

    EXPECT_EQ(failures,
              (QStringList{"Shift+Print is taken", "\"Ctrl+Alt+Nonsense+Q\" is not a key combination"}));
    EXPECT_EQ(
        Hotkeys::failureMessage(failures),
        "Shift+Print is taken. \"Ctrl+Alt+Nonsense+Q\" is not a key combination. Choose other keys under "
        "[Hotkeys] in pictavia.conf");
    ASSERT_EQ(hotkeys->bound.size(), 1);
    EXPECT_TRUE(hotkeys->press(QKeySequence(Qt::Key_Print)));
    EXPECT_EQ(ran, QStringList{"area"});

    Prefs::sync();
    QFile file(Prefs::filePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.contains("[Hotkeys]"));
    EXPECT_TRUE(text.contains("fullscreen = Shift+Print") || text.contains("fullscreen=Shift+Print"))
        << text.data();
    EXPECT_TRUE(text.contains("previous")) << text.data();
}

} // namespace
