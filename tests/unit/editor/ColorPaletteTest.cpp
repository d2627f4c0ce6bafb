#include "editor/ColorPalette.h"

#include "app/AppPaths.h"
#include "support/FakePlatform.h"

#include <QFile>

namespace {

class ColorPaletteTest : public testsupport::PlatformTest {
protected:
    void writeFile(const QByteArray& bytes) const {
        QDir().mkpath(AppPaths::dataDirectory());
        QFile file(AppPaths::dataDirectory() + "/colors.json");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
};

TEST_F(ColorPaletteTest, SavedColoursComeBackWithTheirAlpha) {
    EXPECT_TRUE(ColorPalette::load().isEmpty());
    const QList<QColor> colors{QColor(255, 59, 48), QColor(0, 122, 255, 128), QColor(0, 0, 0, 0)};
    ColorPalette::save(colors);
    EXPECT_EQ(ColorPalette::load(), colors);
}

TEST_F(ColorPaletteTest, ReadsBothStoredFormsAndSkipsWhatItCannotRead) {
    writeFile(R"(["#FF000080", "#00ff00", {"r": 0, "g": 0, "b": 1, "a": 0.5}, "blue", 7, "#12345"])");
    const QList<QColor> colors = ColorPalette::load();
    ASSERT_EQ(colors.size(), 3);
    EXPECT_EQ(colors[0], QColor(255, 0, 0, 128));
    EXPECT_EQ(colors[1], QColor(0, 255, 0));
    EXPECT_EQ(colors[2].blue(), 255);
    EXPECT_NEAR(colors[2].alphaF(), 0.5, 0.01);
}

TEST_F(ColorPaletteTest, AFileThatIsNotAListGivesAnEmptyPalette) {
    for (const QByteArray& bytes :
         {QByteArray("{\"colors\": []}"), QByteArray("[\"#FF0000"), QByteArray("\xFF\xFE")}) {
        writeFile(bytes);
        EXPECT_TRUE(ColorPalette::load().isEmpty()) << bytes.constData();
    }
}

} // namespace
