#include "app/Hotkeys.h"
#include "app/HotkeyRegistry.h"

#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QFile>
#include <QSaveFile>

namespace {

class HotkeysTest : public testsupport::PlatformTest {
protected:
    QStringList install() {
        return registry.install(Hotkeys::captureBindings([this](const QString& flow) { ran << flow; }));
    }

    QByteArray confText() {
        Prefs::sync();
        QFile file(Prefs::filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // The combinations the fake platform holds for us now.
    QList<QKeySequence> held() const {
        QList<QKeySequence> keys;
        for (const auto& [sequence, pressed] : std::as_const(hotkeys->bound))
            keys << sequence;
        return keys;
    }

    HotkeyRegistry registry;
    QStringList ran;
};

TEST_F(HotkeysTest, InstallWritesDefaultsAndNamesFailuresWithTheWayToSettings) {
    Prefs::setValue("Hotkeys/window", ""); // turned off by the user
    Prefs::setValue("Hotkeys/allInOne", "Ctrl+Alt+Nonsense+Q");
    hotkeys->taken << QKeySequence("Shift+Print");
    const QStringList failures = install();

    EXPECT_EQ(failures,
              (QStringList{"Shift+Print is taken", "\"Ctrl+Alt+Nonsense+Q\" is not a key combination"}));
    EXPECT_EQ(Hotkeys::failureMessage(failures),
              "Shift+Print is taken. \"Ctrl+Alt+Nonsense+Q\" is not a key combination. Choose other keys in "
              "Settings, under Keyboard Shortcuts");
    EXPECT_EQ(registry.problem("fullscreen"), "Shift+Print is taken");
    EXPECT_TRUE(registry.problem("area").isEmpty());
    EXPECT_EQ(held(), (QList<QKeySequence>{QKeySequence(Qt::Key_Print), QKeySequence("Ctrl+Shift+Print")}));
    EXPECT_TRUE(hotkeys->press(QKeySequence(Qt::Key_Print)));
    EXPECT_EQ(ran, QStringList{"area"});

    const QByteArray text = confText();
    EXPECT_TRUE(text.contains("[Hotkeys]"));
    EXPECT_TRUE(text.contains("fullscreen = Shift+Print") || text.contains("fullscreen=Shift+Print"))
        << text.data();
    EXPECT_TRUE(text.contains("previous")) << text.data();
}

TEST_F(HotkeysTest, AChangeIsGrabbedAtOnceAndWrittenAndResetBringsTheDefaultBack) {
    install();
    QStringList changed;
    QObject::connect(&registry, &HotkeyRegistry::changed, [&](const QString& name) { changed << name; });

    ASSERT_TRUE(registry.change("area", "Ctrl+Shift+A").ok());
    EXPECT_EQ(changed, QStringList{"area"});
    EXPECT_FALSE(held().contains(QKeySequence(Qt::Key_Print))) << "the old keys were not released";
    EXPECT_TRUE(hotkeys->press(QKeySequence("Ctrl+Shift+A")));
    EXPECT_EQ(ran, QStringList{"area"});
    EXPECT_TRUE(confText().contains("Ctrl+Shift+A"));

    // Turned off: nothing held, the empty value kept so that the default does not come back.
    ASSERT_TRUE(registry.change("area", "").ok());
    EXPECT_FALSE(hotkeys->press(QKeySequence("Ctrl+Shift+A")));
    EXPECT_EQ(registry.keys("area"), "");

    ASSERT_TRUE(registry.reset("area").ok());
    EXPECT_EQ(registry.keys("area"), "Print");
    EXPECT_TRUE(hotkeys->press(QKeySequence(Qt::Key_Print)));
    EXPECT_EQ(held().count(QKeySequence(Qt::Key_Print)), 1);
}

TEST_F(HotkeysTest, ConflictsAreShownBeforeAnythingChanges) {
    install();
    // Another of our hotkeys has the keys: refused, nothing changed.
    const auto same = registry.change("text", "Shift+Print");
    ASSERT_FALSE(same.ok());
    EXPECT_EQ(same.error().message, "Shift+Print is already the hotkey of “Capture the screen”");
    EXPECT_EQ(registry.keys("text"), "");
    EXPECT_EQ(registry.takenBy("text", "Ctrl+Print"), "Capture a window");
    EXPECT_TRUE(registry.takenBy("window", "Ctrl+Print").isEmpty()) << "its own keys are no conflict";

    // Another program holds them: kept, and the problem stays for the page to show until
    // other keys are chosen.
    hotkeys->taken << QKeySequence("Ctrl+Alt+T");
    ASSERT_TRUE(registry.change("text", "Ctrl+Alt+T").ok());
    EXPECT_EQ(registry.keys("text"), "Ctrl+Alt+T");
    EXPECT_EQ(registry.problem("text"), "Ctrl+Alt+T is taken");
    ASSERT_TRUE(registry.change("text", "Ctrl+Alt+Y").ok());
    EXPECT_TRUE(registry.problem("text").isEmpty());
    EXPECT_TRUE(hotkeys->press(QKeySequence("Ctrl+Alt+Y")));
    EXPECT_EQ(ran, QStringList{"text"});
}

TEST_F(HotkeysTest, KeysEditedInTheFileAreGrabbedOnReload) {
    install();
    // Written the way an editor saves: a new file put in place of the old one. Area and
    // window swap keys, which only works when both are released before either is grabbed.
    QByteArray text = confText();
    text.replace("area = Print", "area = Ctrl+Print").replace("window = Ctrl+Print", "window = Print");
    // A note of the change, as people leave one. (Without it the file would have the same
    // size, and this test is fast enough to write it in the same millisecond, so nothing
    // could tell that it changed.)
    text.prepend("; swapped area and window\n");
    ASSERT_TRUE(text.contains("window = Print")) << text.data();
    QSaveFile file(Prefs::filePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
    ASSERT_TRUE(file.commit());
    Prefs::sync();
    registry.reload();

    EXPECT_TRUE(registry.problem("area").isEmpty()) << registry.problem("area").toStdString();
    EXPECT_TRUE(registry.problem("window").isEmpty()) << registry.problem("window").toStdString();
    ASSERT_TRUE(hotkeys->press(QKeySequence("Ctrl+Print")));
    ASSERT_TRUE(hotkeys->press(QKeySequence(Qt::Key_Print)));
    EXPECT_EQ(ran, (QStringList{"area", "window"}));
}

} // namespace
