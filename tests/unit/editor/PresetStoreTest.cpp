#include "editor/PresetStore.h"

#include "app/AppPaths.h"
#include "support/FakePlatform.h"

#include <QFile>
#include <QJsonDocument>

namespace {

class PresetStoreTest : public testsupport::PlatformTest {
protected:
    QString path() const { return AppPaths::dataDirectory() + "/presets.json"; }

    void writeFile(const QByteArray& bytes) const {
        QDir().mkpath(AppPaths::dataDirectory());
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QByteArray readFile(const QString& name) const {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static BeautifyPreset preset(const QString& name, const QString& style = "ocean") {
        BeautifyPreset p;
        p.name = name;
        p.style = style;
        p.padding = 40;
        p.radius = 8;
        return p;
    }
};

TEST_F(PresetStoreTest, WithoutAFileOffersStableBuiltInsAndWritesNothing) {
    PresetStore store(path());
    ASSERT_GE(store.presets().size(), 3);
    EXPECT_FALSE(store.activeID());
    EXPECT_FALSE(QFile::exists(path()));
    // The same IDs on every start, so an active built-in stays recognisable.
    EXPECT_EQ(PresetStore(path()).presets(), store.presets());
    for (const BeautifyPreset& p : store.presets())
        EXPECT_FALSE(p.name.isEmpty());
}

TEST_F(PresetStoreTest, ChangesPersistAndReload) {
    const BeautifyPreset added = preset("Blog header");
    const QUuid builtIn = PresetStore(path()).presets().first().id;
    {
        PresetStore store(path());
        store.add(added);
        BeautifyPreset changed = added;
        changed.padding = 96;
        store.update(changed);
        store.remove(builtIn);
        store.setActiveID(added.id);
    }
    PresetStore reloaded(path());
    ASSERT_TRUE(reloaded.find(added.id));
    EXPECT_EQ(reloaded.find(added.id)->padding, 96);
    EXPECT_FALSE(reloaded.find(builtIn));
    EXPECT_EQ(reloaded.activeID(), added.id);
    EXPECT_EQ(reloaded.active().name, "Blog header");
    EXPECT_EQ(reloaded.findByName("  BLOG header")->id, added.id);
    EXPECT_FALSE(reloaded.findByName("Nope"));
}

TEST_F(PresetStoreTest, ActiveFallsBackToPreferences) {
    Prefs::setValue("beautifyStyle", "sunset");
    Prefs::setValue("beautifyPadding", 24);
    Prefs::setValue("beautifyRadius", 6);
    PresetStore store(path());
    EXPECT_EQ(store.active().style, "sunset");
    EXPECT_EQ(store.active().padding, 24);
    EXPECT_EQ(store.active().radius, 6);

    // Removing the active preset clears it, and the preferences answer again.
    const BeautifyPreset added = preset("Temporary", "forest");
    store.add(added);
    store.setActiveID(added.id);
    EXPECT_EQ(store.active().style, "forest");
    store.remove(added.id);
    EXPECT_FALSE(store.activeID());
    EXPECT_EQ(store.active().style, "sunset");

    // An active ID that names no preset (a hand-edited file) also falls back.
    store.setActiveID(QUuid::createUuid());
    EXPECT_EQ(store.active().style, "sunset");
}

TEST_F(PresetStoreTest, AnUnreadableFileIsKeptUntilTheFirstChangeAndThenBackedUp) {
    const QByteArray broken = R"({"presets": [{"name": "no id"}]})";
    writeFile(broken);
    PresetStore store(path());
    EXPECT_EQ(store.presets(), PresetStore(AppPaths::dataDirectory() + "/elsewhere.json").presets());
    EXPECT_EQ(readFile(path()), broken);

    store.add(preset("Fresh"));
    EXPECT_EQ(readFile(path() + ".bak"), broken);
    EXPECT_TRUE(PresetStore(path()).findByName("Fresh"));

    // Only the unreadable original is backed up, not each later version.
    store.add(preset("Second"));
    EXPECT_EQ(readFile(path() + ".bak"), broken);
}

TEST_F(PresetStoreTest, PresetCodingChecksEveryKey) {
    const BeautifyPreset original = preset("Round trip");
    const auto decoded = BeautifyPreset::decode(original.encode());
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(*decoded, original);

    // JSON gives doubles; whole ones are fine.
    QVariantMap fromJson =
        QJsonDocument::fromJson(QJsonDocument::fromVariant(original.encode()).toJson()).toVariant().toMap();
    EXPECT_TRUE(BeautifyPreset::decode(fromJson).ok());

    const auto messageWith = [&original](const char* key, const QVariant& value) {
        QVariantMap map = original.encode();
        if (value.isValid())
            map.insert(key, value);
        else
            map.remove(key);
        const auto result = BeautifyPreset::decode(map);
        return result ? QString() : result.error().message;
    };
    EXPECT_EQ(messageWith("radius", {}), "The preset has no \"radius\".");
    EXPECT_EQ(messageWith("id", "not-a-uuid"), "The preset's \"id\" is not a UUID.");
    EXPECT_EQ(messageWith("padding", 12.5), "The preset's \"padding\" is not a whole number.");
    EXPECT_EQ(messageWith("name", 3), "The preset's \"name\" is not text.");
}

} // namespace
