#include "capture/OutputPipeline.h"
#include "capture/HistoryManager.h"

#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>

namespace {

class OutputPipelineTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        saveFolder = home.path() + "/Shots";
        Prefs::setValue("saveDirectory", saveFolder);
    }
    void TearDown() override { HistoryManager::setIndex({}); }

    static QImage picture(int w = 40, int h = 30) {
        QImage image(w, h, QImage::Format_RGB32);
        image.fill(QColor(200, 60, 20));
        return image;
    }
    static QStringList historyFiles() { return QDir(HistoryManager::directory()).entryList(QDir::Files); }

    QString saveFolder;
};

TEST_F(OutputPipelineTest, DefaultDeliveryStoresCopiesAndConfirms) {
    const CaptureContext context{"Editor", "notes.txt", std::nullopt, std::nullopt};
    QStringList indexed;
    HistoryManager::setIndex({[&](const QString& path, const CaptureContext& c) {
                                  indexed << QFileInfo(path).fileName() + "|" + c.appName.value_or("");
                              },
                              {},
                              {}});

    const auto delivered = OutputPipeline::deliverImage(picture(), 2.0, false, false, context);
    ASSERT_TRUE(delivered);
    EXPECT_TRUE(delivered->savedFile.isEmpty()); // "autoSaveToDisk" is off by default
    EXPECT_EQ(delivered->file(), delivered->historyFile);
    EXPECT_EQ(QImage(delivered->historyFile).size(), QSize(40, 30));
    EXPECT_TRUE(QFileInfo(delivered->historyFile).fileName().startsWith("Pictavia "));
    EXPECT_EQ(indexed, QStringList{QFileInfo(delivered->historyFile).fileName() + "|Editor"});

    ASSERT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ(clipboard->images[0].devicePixelRatio(), 2.0); // the clipboard gets it at its size in points
    EXPECT_FALSE(clipboard->pngs[0].isEmpty());
    EXPECT_EQ(sound->shutters, 1);
    EXPECT_EQ(toasts->shown, QStringList{"Copied to clipboard"});
    EXPECT_FALSE(QDir(saveFolder).exists());
}

TEST_F(OutputPipelineTest, OptionsOverridePreferences) {
    DeliveryOptions options;
    options.copyToClipboard = false;
    options.playSound = false;
    options.autoSave = true;
    options.format = "jpg";
    options.downscaleRetina = true;
    options.announcement = "Saved for the agent";
    const CaptureContext named{std::nullopt, std::nullopt, "agent shot", std::nullopt};

    const auto first = OutputPipeline::deliverImage(picture(80, 60), 2.0, false, false, named, options);
    const auto second = OutputPipeline::deliverImage(picture(80, 60), 2.0, false, false, named, options);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->savedFile, saveFolder + "/agent shot.jpg");
    EXPECT_EQ(second->savedFile, saveFolder + "/agent shot (2).jpg");
    EXPECT_EQ(QImageReader(first->savedFile).format(), "jpeg");
    EXPECT_EQ(QImage(first->savedFile).size(), QSize(40, 30)); // downscaled to points
    EXPECT_TRUE(clipboard->images.isEmpty());
    EXPECT_EQ(sound->shutters, 0);
    EXPECT_EQ(toasts->shown, (QStringList{"Saved for the agent", "Saved for the agent"}));
}

TEST_F(OutputPipelineTest, AutoBeautifyPlacesTheImageOnThePreset) {
    Prefs::setValue("autoBeautify", true);
    DeliveryOptions options;
    options.preset = BeautifyPreset{};
    options.preset->style = "black";
    options.preset->padding = 10;
    options.preset->radius = 0;
    const auto delivered = OutputPipeline::deliverImage(picture(), 2.0, false, false, {}, options);
    ASSERT_TRUE(delivered);
    const QImage result(delivered->historyFile);
    EXPECT_EQ(result.size(), QSize(80, 70)); // padding in points, twice at scale 2
    EXPECT_EQ(result.pixelColor(2, 2), QColor(Qt::black));
    EXPECT_EQ(result.pixelColor(40, 35), QColor(200, 60, 20));

    // Without a preset in the options, the active one (from the preferences) applies.
    Prefs::setValue("beautifyPadding", 5);
    const auto plain = OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
    EXPECT_EQ(QImage(plain->historyFile).size(), QSize(50, 40));
}

TEST_F(OutputPipelineTest, CopyOnlyGoesToTheClipboardAndNowhereElse) {
    Prefs::setValue("autoSaveToDisk", true);
    Prefs::setValue("copyToClipboard", false);
    Prefs::setValue("askForName", true);
    const auto delivered =
        OutputPipeline::deliverImage(picture(), 1.0, true, false, {}, DeliveryOptions::copyOnly());
    ASSERT_TRUE(delivered);
    EXPECT_EQ(clipboard->images.size(), 1);
    EXPECT_TRUE(delivered->savedFile.isEmpty());
    EXPECT_TRUE(delivered->historyFile.isEmpty());
    EXPECT_TRUE(historyFiles().isEmpty());
    EXPECT_TRUE(namePrompt->offered.isEmpty()); // no prompt for a copy
}

TEST_F(OutputPipelineTest, TheCounterAdvancesOnlyWhenTheTemplateUsesIt) {
    OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
    EXPECT_EQ(Prefs::integer("captureCounter"), 1);

    Prefs::setValue("filenameTemplate", "Shot {counter}");
    const auto a = OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
    const auto b = OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
    EXPECT_EQ(QFileInfo(a->historyFile).fileName(), "Shot 1.png");
    EXPECT_EQ(QFileInfo(b->historyFile).fileName(), "Shot 2.png");
    EXPECT_EQ(Prefs::integer("captureCounter"), 3);
}

TEST_F(OutputPipelineTest, NamePromptNamesOrDiscards) {
    Prefs::setValue("askForName", true);
    namePrompt->answer = "Login page";
    const auto named = OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
    ASSERT_TRUE(named);
    EXPECT_EQ(QFileInfo(named->historyFile).fileName(), "Login page.png");
    EXPECT_TRUE(namePrompt->offered.startsWith("Pictavia ")); // offered without its extension
    EXPECT_FALSE(namePrompt->offered.endsWith(".png"));

    namePrompt->answer = std::nullopt;
    toasts->shown.clear();
    EXPECT_FALSE(OutputPipeline::deliverImage(picture(), 1.0, false, false, {}));
    EXPECT_EQ(toasts->shown, QStringList{"Capture discarded"});
    EXPECT_EQ(historyFiles().size(), 1);
}

TEST_F(OutputPipelineTest, HistoryIsPrunedToItsLimitSparingKeptFiles) {
    Prefs::setValue("historyLimit", 2);
    Prefs::setValue("filenameTemplate", "n{counter}");
    HistoryManager::setIndex({{}, [](const QString& name) { return name == "n1.png"; }, {}});
    for (int i = 0; i < 4; ++i) {
        OutputPipeline::deliverImage(picture(), 1.0, false, false, {});
        // Distinct modification times, oldest first.
        QFile file(HistoryManager::directory() + QString("/n%1.png").arg(i + 1));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(QDateTime::currentDateTime().addSecs(i - 10), QFileDevice::FileModificationTime);
    }
    EXPECT_EQ(historyFiles(), (QStringList{"n1.png", "n3.png", "n4.png"}));
}

TEST_F(OutputPipelineTest, TextDelivery) {
    OutputPipeline::deliverText("  ", {});
    EXPECT_EQ(toasts->shown.takeLast(), "No text found");
    EXPECT_TRUE(clipboard->texts.isEmpty());

    OutputPipeline::deliverText("héllo", {});
    EXPECT_EQ(toasts->shown.takeLast(), "Copied 5 characters of text");
    EXPECT_EQ(clipboard->texts.takeLast(), "héllo");

    OutputPipeline::deliverText("", {"https://example.org"});
    EXPECT_EQ(toasts->shown.takeLast(), "Found a code");
    EXPECT_EQ(clipboard->texts.takeLast(), "https://example.org");

    OutputPipeline::deliverText("ab", {"1", "2"});
    EXPECT_EQ(toasts->shown.takeLast(), "Copied 2 characters of text. Found 2 codes");
    EXPECT_EQ(sound->shutters, 4);
}

} // namespace
