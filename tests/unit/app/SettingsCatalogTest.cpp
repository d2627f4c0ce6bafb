#include "app/SettingsCatalog.h"
#include "app/Hotkeys.h"
#include "app/Prefs.h"

#include <QSet>
#include <gtest/gtest.h>

namespace {

TEST(SettingsCatalogTest, EveryPreferenceAndHotkeyHasExactlyOneSetting) {
    QSet<QString> keys;
    for (const auto& setting : SettingsCatalog::settings()) {
        EXPECT_FALSE(keys.contains(setting.key)) << setting.key.toStdString();
        keys.insert(setting.key);
        EXPECT_FALSE(setting.title.isEmpty()) << setting.key.toStdString();
        EXPECT_EQ(setting.control == SettingsCatalog::Control::Hotkey, setting.key.startsWith("Hotkeys/"))
            << setting.key.toStdString();
    }
    QSet<QString> expected;
    for (const auto& entry : Prefs::defaults())
        expected.insert(entry.key);
    for (const auto& binding : Hotkeys::captureBindings({}))
        expected.insert(Hotkeys::prefKey(binding.name));
    EXPECT_EQ(keys, expected);
}

TEST(SettingsCatalogTest, ControlsFitTheDefaults) {
    for (const auto& entry : Prefs::defaults()) {
        const auto* setting = SettingsCatalog::find(entry.key);
        ASSERT_NE(setting, nullptr) << entry.key.toStdString();
        using SettingsCatalog::Control;
        switch (setting->control) {
        case Control::Toggle:
            EXPECT_EQ(entry.type, Prefs::Type::Flag) << entry.key.toStdString();
            break;
        case Control::Number:
            EXPECT_EQ(entry.type, Prefs::Type::Integer) << entry.key.toStdString();
            EXPECT_GE(entry.value.toInt(), setting->minimum) << entry.key.toStdString();
            EXPECT_LE(entry.value.toInt(), setting->maximum) << entry.key.toStdString();
            break;
        case Control::Percent:
            EXPECT_EQ(entry.type, Prefs::Type::Real) << entry.key.toStdString();
            break;
        case Control::Choice: {
            EXPECT_EQ(entry.type, Prefs::Type::Text) << entry.key.toStdString();
            const bool offered = std::any_of(setting->choices.begin(), setting->choices.end(),
                                             [&](const auto& choice) { return choice.value == entry.value; });
            EXPECT_TRUE(offered) << entry.key.toStdString() << " does not offer its default";
            break;
        }
        default:
            EXPECT_EQ(entry.type, Prefs::Type::Text) << entry.key.toStdString();
        }
    }
}

TEST(SettingsCatalogTest, SearchFindsSettingsByTheirWords) {
    const auto found = [](const QString& query) {
        QStringList keys;
        for (const auto& setting : SettingsCatalog::settings())
            if (SettingsCatalog::matches(setting, query)) keys << setting.key;
        return keys;
    };
    EXPECT_EQ(found("shutter"), QStringList{"captureSound"});
    EXPECT_EQ(found("GIF  frame"), QStringList{"gifFPS"});
    EXPECT_TRUE(found("webp").contains("imageFormat")); // by a choice's label
    EXPECT_TRUE(found("historyLimit").contains("historyLimit"));
    EXPECT_TRUE(found("no such words").isEmpty());
    // The hotkeys, by the words people try first and by their keys.
    for (const char* word : {"hotkey", "keyboard", "shortcut"})
        EXPECT_TRUE(found(word).contains("Hotkeys/area")) << word;
    EXPECT_EQ(found("print"), (QStringList{"Hotkeys/area", "Hotkeys/fullscreen", "Hotkeys/window",
                                           "Hotkeys/allInOne", "Hotkeys/record"}));
    EXPECT_EQ(found("").size(), SettingsCatalog::settings().size());
}

} // namespace
