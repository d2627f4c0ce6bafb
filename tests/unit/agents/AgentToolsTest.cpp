// The tool catalogue as agents meet it: lenient arguments, schemas, result shapes, the
// dispatch with its client gate and activity log, and previews that obey image sharing.
#include "agents/AgentTools.h"
#include "agents/AgentAccess.h"
#include "agents/AgentConnection.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/CaptureOperations.h"
#include "app/Prefs.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"

#include "../support/EventLoop.h"
#include "../support/FakePlatform.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QJsonDocument>
#include <QSet>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

QJsonObject parsed(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

TEST(ToolArgsTest, ReadsLeniently) {
    const ToolArgs args(parsed(R"({"half": 2.5, "negHalf": -2.5, "text": "  7.5 ", "blank": "   \n",
        "word": " hi\n", "num": 3, "frac": 0.25, "yes": "TRUE", "no": "false", "one": 1, "zero": 0,
        "bad": "maybe", "list": ["a", 2, true, null, 2.5], "r": [10, 20, 30, 40, 50], "short": [1, 2, 3],
        "obj": {"x": 1, "y": "2", "width": 3, "height": 4}, "p": [5, 6], "big": 1e12})"));
    EXPECT_EQ(args.integer("half"), 3);
    EXPECT_EQ(args.integer("negHalf"), -3);
    EXPECT_EQ(args.integer("text"), 8);
    EXPECT_EQ(args.number("text"), 7.5);
    EXPECT_EQ(args.integer("big"), std::nullopt);
    EXPECT_EQ(args.integer("word"), std::nullopt);
    EXPECT_EQ(args.string("blank"), std::nullopt);
    EXPECT_EQ(args.string("word"), QString("hi"));
    EXPECT_EQ(args.string("num"), QString("3"));
    EXPECT_EQ(args.string("frac"), QString("0.25"));
    EXPECT_EQ(args.string("missing"), std::nullopt);
    EXPECT_EQ(args.boolean("yes"), true);
    EXPECT_EQ(args.boolean("no"), false);
    EXPECT_EQ(args.boolean("one"), true);
    EXPECT_EQ(args.boolean("zero"), false);
    EXPECT_EQ(args.boolean("bad"), std::nullopt);
    EXPECT_TRUE(args.has("bad"));
    EXPECT_FALSE(args.has("missing"));
    EXPECT_EQ(args.strings("list"), (QStringList{"a", "2", "2.5"}));
    EXPECT_TRUE(args.strings("word").isEmpty());
    EXPECT_EQ(args.rect("r"), QRectF(10, 20, 30, 40));
    EXPECT_EQ(args.rect("short"), std::nullopt);
    EXPECT_EQ(args.rect("obj"), QRectF(1, 2, 3, 4));
    EXPECT_EQ(ToolArgs::pointFrom(args.raw()["p"]), QPointF(5, 6));
    EXPECT_EQ(ToolArgs::pointFrom(QJsonObject{{"x", 1}}), std::nullopt);
    EXPECT_EQ(args.array("list")->size(), 5);
    EXPECT_EQ(args.array("word"), std::nullopt);
}

TEST(ToolArgsTest, NumbersAreFinite) {
    // As numbers and as text: NaN and infinities read as absent, and so do points and
    // rectangles with such a member.
    for (const QJsonValue& bad :
         {QJsonValue(qQNaN()), QJsonValue(qInf()), QJsonValue(-qInf()), QJsonValue("nan"), QJsonValue("NaN"),
          QJsonValue(" inf "), QJsonValue("-Infinity"), QJsonValue("1e309"), QJsonValue("-1e400")}) {
        EXPECT_EQ(ToolArgs::numberFrom(bad), std::nullopt) << bad.toVariant().toString().toStdString();
        EXPECT_EQ(ToolArgs::pointFrom(QJsonArray{1, bad}), std::nullopt);
        EXPECT_EQ(ToolArgs::pointFrom(QJsonObject{{"x", bad}, {"y", 1}}), std::nullopt);
        EXPECT_EQ(ToolArgs::rectFrom(QJsonArray{0, 0, bad, 1}), std::nullopt);
        EXPECT_EQ(ToolArgs::rectFrom(QJsonObject{{"x", 0}, {"y", 0}, {"width", 1}, {"height", bad}}),
                  std::nullopt);
        const ToolArgs args(QJsonObject{{"n", bad}});
        EXPECT_EQ(args.number("n"), std::nullopt);
        EXPECT_EQ(args.integer("n"), std::nullopt);
    }
    EXPECT_EQ(ToolArgs::numberFrom(QJsonValue("1e308")), 1e308);
    EXPECT_EQ(ToolArgs::numberFrom(QJsonValue(-0.5)), -0.5);
}

TEST(ToolSchemaTest, RequiredOnlyWhenGiven) {
    const QJsonObject bare = ToolSchema::object({});
    EXPECT_FALSE(bare.contains("required"));
    EXPECT_EQ(bare["additionalProperties"], false);
    const QJsonObject needed = ToolSchema::object({{"hidden", ToolSchema::boolean("h")}}, {"hidden"});
    EXPECT_EQ(needed["required"].toArray(), QJsonArray{"hidden"});
    EXPECT_FALSE(ToolSchema::string("d").contains("enum"));
    EXPECT_EQ(ToolSchema::string("d", {"a", "b"})["enum"].toArray(), (QJsonArray{"a", "b"}));
    EXPECT_EQ(ToolSchema::integer("d", 0, 60)["maximum"].toDouble(), 60);
    EXPECT_EQ(ToolSchema::rect("d")["required"].toArray(), (QJsonArray{"x", "y", "width", "height"}));
    EXPECT_EQ(ToolSchema::imageSource().keys(),
              (QStringList{"capture_id", "from_clipboard", "page", "path"}));
    EXPECT_EQ(ToolSchema::editOutput().size(), 6);
}

TEST(ToolOutputTest, ShapesResults) {
    EXPECT_EQ(ToolOutput().result(),
              parsed(R"({"content": [{"type": "text", "text": "Done."}], "isError": false})"));
    ToolOutput full;
    full.json = QJsonObject{{"id", "a.png"}};
    full.notes = {"first", "second"};
    full.images = {{"AAAA", "image/png"}};
    const QJsonArray content = full.result(true)["content"].toArray();
    ASSERT_EQ(content.size(), 4);
    EXPECT_EQ(QJsonDocument::fromJson(content[0]["text"].toString().toUtf8()).object(), full.json);
    EXPECT_EQ(content[1]["text"], "first");
    EXPECT_EQ(content[2]["text"], "second");
    EXPECT_EQ(content[3].toObject(), parsed(R"({"type": "image", "data": "AAAA", "mimeType": "image/png"})"));
    EXPECT_TRUE(full.result(true)["isError"].toBool());
    ToolOutput imageOnly;
    imageOnly.images = {{"AAAA", "image/png"}};
    EXPECT_EQ(imageOnly.result()["content"].toArray().size(), 1);
    EXPECT_EQ(ToolOutput::error("No."),
              parsed(R"({"content": [{"type": "text", "text": "No."}], "isError": true})"));
}

class Recorder : public AgentChannel {
public:
    void send(QByteArray message) override { sent.push_back(std::move(message)); }
    void close() override {}
    std::vector<QByteArray> sent;
};

AgentTool tool(const QString& name, std::function<void(const ToolArgs&, const ToolContext&, ToolDone)> run) {
    return {name, name + " title", "about " + name, true, false, ToolSchema::object({}), std::move(run)};
}

class DispatchTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        access = std::make_unique<AgentAccess>(home.path() + "/data/agent-activity.json");
        std::vector<AgentTool> list{
            tool("quiet",
                 [this](const ToolArgs& args, const ToolContext& context, ToolDone done) {
                     ++runs;
                     seenAccess = &context.access();
                     lastArgs = args.raw();
                     done(ToolOutput());
                 }),
            tool("summarised",
                 [](const ToolArgs&, const ToolContext&, ToolDone done) {
                     ToolOutput out;
                     out.summary = "Took a screenshot";
                     done(out);
                 }),
            tool("refusing",
                 [](const ToolArgs&, const ToolContext&, ToolDone) {
                     throw ToolError{"The user declined: take a screenshot", true};
                 }),
            tool("failing",
                 [](const ToolArgs&, const ToolContext&, ToolDone done) {
                     done(Error{"Window not found", "com.corvanta.pictavia", 2});
                 }),
            tool("later", [this](const ToolArgs&, const ToolContext&, ToolDone done) { held = done; }),
        };
        tools = std::make_shared<AgentTools>(*access, list);
        session = std::make_unique<MCPSession>(&channel, PeerIdentity{}, tools);
    }

    QJsonObject call(const QString& name, const QJsonObject& arguments = {},
                     std::shared_ptr<ToolCancellation> cancellation = nullptr) {
        QJsonObject result;
        tools->call({name, arguments, std::nullopt, session.get(), std::move(cancellation)},
                    [&result](const QJsonObject& r) { result = r; });
        return result;
    }
    static QString text(const QJsonObject& result) { return result["content"][0]["text"].toString(); }
    void approve() { access->approve(session->approvalKey(), session->displayName(), std::nullopt); }

    Recorder channel;
    std::unique_ptr<AgentAccess> access;
    std::shared_ptr<AgentTools> tools;
    std::unique_ptr<MCPSession> session;
    int runs = 0;
    QJsonObject lastArgs;
    AgentAccess* seenAccess = nullptr;
    ToolDone held;
};

TEST_F(DispatchTest, ListsToolsWithTheirAnnotations) {
    const QJsonArray list = tools->list();
    ASSERT_EQ(list.size(), 5);
    EXPECT_EQ(list[0].toObject(),
              parsed(R"({"name": "quiet", "title": "quiet title", "description": "about quiet",
        "inputSchema": {"type": "object", "properties": {}, "additionalProperties": false},
        "annotations": {"title": "quiet title", "readOnlyHint": true, "destructiveHint": false,
                        "idempotentHint": false, "openWorldHint": false}})"));
}

TEST_F(DispatchTest, UnknownToolsAreErrorResultsWithoutAnEntry) {
    const QJsonObject result = call("nope");
    EXPECT_TRUE(result["isError"].toBool());
    EXPECT_EQ(text(result),
              QString::fromUtf8("Unknown tool “nope”. Call tools/list for the available tools."));
    EXPECT_TRUE(access->activity().isEmpty());
}

TEST_F(DispatchTest, ApprovedClientsRunToolsAndEveryCallIsLogged) {
    approve();
    EXPECT_EQ(call("quiet", QJsonObject{{"a", 1}}), ToolOutput().result());
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lastArgs, (QJsonObject{{"a", 1}}));
    EXPECT_EQ(seenAccess, access.get()); // tools ask the catalogue's own policy
    EXPECT_FALSE(call("summarised")["isError"].toBool());
    const QJsonObject refused = call("refusing");
    EXPECT_TRUE(refused["isError"].toBool());
    EXPECT_EQ(text(refused), "The user declined: take a screenshot");
    EXPECT_EQ(text(call("failing")), "Window not found [com.corvanta.pictavia 2]");

    const auto& log = access->activity();
    ASSERT_EQ(log.size(), 4);
    EXPECT_EQ(log[0].tool, "failing");
    EXPECT_EQ(log[0].outcome, "error");
    EXPECT_EQ(log[1].tool, "refusing");
    EXPECT_EQ(log[1].outcome, "denied");
    EXPECT_EQ(log[2].summary, "Took a screenshot");
    EXPECT_EQ(log[2].outcome, "ok");
    EXPECT_EQ(log[3].outcome, "ok");
    EXPECT_EQ(log[3].client, "AI agent");
}

TEST_F(DispatchTest, ClientsTheUserDeclinesAreRefusedOnceAskedAndLogged) {
    int asked = 0;
    access->setAsker([&asked](const AgentAccess::Prompt&, std::function<void(AgentAccess::Answer)> answer) {
        ++asked;
        answer(AgentAccess::Answer::declined);
    });
    EXPECT_EQ(text(call("quiet")), "The user did not allow AI agent to use Pictavia.");
    EXPECT_EQ(text(call("quiet")),
              "The user did not allow AI agent to use Pictavia. They can allow it in Pictavia ▸ AI Agents.");
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(runs, 0);
    ASSERT_EQ(access->activity().size(), 2);
    EXPECT_EQ(access->activity()[0].summary, "Refused");
    EXPECT_EQ(access->activity()[0].outcome, "denied");
}

TEST_F(DispatchTest, AllowedClientsAreRememberedAndAgentsCanBeSwitchedOff) {
    access->setAsker([](const AgentAccess::Prompt&, std::function<void(AgentAccess::Answer)> answer) {
        answer(AgentAccess::Answer::allowedOnce);
    });
    EXPECT_FALSE(call("quiet")["isError"].toBool());
    EXPECT_TRUE(access->isApproved(session->approvalKey()));
    access->setEnabled(false);
    EXPECT_TRUE(text(call("quiet")).startsWith("AI agents are turned off in Pictavia."));
    EXPECT_EQ(runs, 1);
}

TEST_F(DispatchTest, LaterAnswersAndCancellation) {
    approve();
    QJsonObject result;
    tools->call({"later", {}, std::nullopt, session.get(), nullptr},
                [&](const QJsonObject& r) { result = r; });
    EXPECT_TRUE(result.isEmpty());
    ASSERT_TRUE(held);
    held(ToolOutput());
    held(ToolError{"twice"}); // only the first answer counts
    EXPECT_EQ(text(result), "Done.");
    EXPECT_EQ(access->activity().size(), 1);

    auto cancellation = std::make_shared<ToolCancellation>();
    cancellation->cancel();
    EXPECT_EQ(text(call("quiet", {}, cancellation)), "Cancelled.");
    EXPECT_EQ(runs, 0);
}

TEST(AgentToolCatalogueTest, BuiltInToolsAreUniqueAndStrict) {
    const std::vector<AgentTool> tools = AgentTools::builtIn();
    ASSERT_EQ(tools.size(), 29u);
    EXPECT_EQ(tools[0].name, "get_status");
    EXPECT_EQ(tools[4].name, "scrolling_capture");
    // The recording group follows the capture group.
    QStringList order;
    for (const AgentTool& tool : tools)
        order << tool.name;
    EXPECT_EQ(order.mid(order.indexOf("set_desktop_icons"), 9),
              (QStringList{"set_desktop_icons", "record_screen", "start_recording", "stop_recording",
                           "control_recording", "edit_video", "video_info", "transcribe_recording",
                           "annotate_image"}));
    QSet<QString> names;
    for (const AgentTool& tool : tools) {
        EXPECT_FALSE(names.contains(tool.name)) << tool.name.toStdString();
        names.insert(tool.name);
        EXPECT_EQ(tool.schema["type"], "object") << tool.name.toStdString();
        EXPECT_EQ(tool.schema["additionalProperties"], false) << tool.name.toStdString();
        EXPECT_TRUE(tool.run) << tool.name.toStdString();
    }
}

class ToolMediaTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        platform::RecognizedLine line;
        line.text = "write to alice@example.com";
        line.confidence = 1;
        line.box = QRectF(0, 0.4, 1, 0.2);
        for (int i = 0; i < line.text.size(); ++i)
            line.characterBoxes.append(line.text[i] == u' ' ? QRectF()
                                                            : QRectF(i / double(line.text.size()), 0.4,
                                                                     1.0 / line.text.size(), 0.2));
        textRecognition->lines = {line};
    }
    static QImage stripes(QSize size) {
        QImage image(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                image.setPixel(x, y, (x / 4) % 2 ? 0xff000000 : 0xffffffff);
        return image;
    }
    static QImage decoded(const ToolImage& image) {
        return QImage::fromData(QByteArray::fromBase64(image.data.toLatin1()));
    }
};

TEST_F(ToolMediaTest, PreviewsObeyImageSharing) {
    const QImage image = stripes({3000, 200});
    ToolOutput none;
    ToolMedia::addPreview(none, image, AgentAccess::ImageSharing::none, true);
    EXPECT_TRUE(none.images.isEmpty());
    EXPECT_TRUE(none.notes.isEmpty());

    ToolOutput textOnly;
    ToolMedia::addPreview(textOnly, image, AgentAccess::ImageSharing::textOnly, true);
    EXPECT_TRUE(textOnly.images.isEmpty());
    ASSERT_EQ(textOnly.notes.size(), 1);
    EXPECT_TRUE(textOnly.notes[0].contains("write to ")) << textOnly.notes[0].toStdString();
    EXPECT_FALSE(textOnly.notes[0].contains("alice@example.com"));
    ToolOutput plainText;
    ToolMedia::addPreview(plainText, image, AgentAccess::ImageSharing::textOnly, false);
    EXPECT_TRUE(plainText.notes[0].contains("alice@example.com"));

    ToolOutput full;
    ToolMedia::addPreview(full, image, AgentAccess::ImageSharing::full, false);
    ASSERT_EQ(full.images.size(), 1);
    EXPECT_EQ(full.images[0].mime, "image/png");
    const QImage preview = decoded(full.images[0]);
    EXPECT_EQ(preview.width(), ToolMedia::previewMaxSide);
    EXPECT_NEAR(preview.height(), 200 * ToolMedia::previewMaxSide / 3000.0, 1);
}

TEST_F(ToolMediaTest, SensitiveDataIsBlurredInPreviews) {
    const QImage image = stripes({400, 100});
    ToolOutput plain, redacted;
    ToolMedia::addPreview(plain, image, AgentAccess::ImageSharing::full, false);
    ToolMedia::addPreview(redacted, image, AgentAccess::ImageSharing::full, true);
    const QImage a = decoded(plain.images[0]).convertToFormat(QImage::Format_RGB32);
    const QImage b = decoded(redacted.images[0]).convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(a, image);
    // The address sits on the right part of the middle band: blurred to grey there only.
    EXPECT_EQ(b.pixel(10, 50), a.pixel(10, 50));
    EXPECT_NE(b.pixel(352, 50), a.pixel(352, 50));
    EXPECT_EQ(b.pixel(352, 5), a.pixel(352, 5));
}

TEST_F(ToolMediaTest, SourcesResolveWithClearErrors) {
    QDir().mkpath(HistoryManager::directory());
    const QString file = QDir(HistoryManager::directory()).filePath("shot.png");
    ASSERT_TRUE(stripes({40, 20}).save(file));
    const auto resolved = ToolMedia::resolve(ToolArgs(QJsonObject{{"capture_id", "shot.png"}}));
    EXPECT_EQ(resolved.file, file);
    EXPECT_EQ(resolved.captureId, "shot.png");
    EXPECT_EQ(resolved.image.size(), QSize(40, 20));
    EXPECT_EQ(ToolMedia::resolve(ToolArgs(QJsonObject{{"path", file}})).captureId, "shot.png");
    EXPECT_EQ(ToolMedia::describe(file, resolved.image)["id"], "shot.png");

    const auto message = [](const QJsonObject& args) {
        try {
            ToolMedia::resolve(ToolArgs(args));
        } catch (const ToolError& error) {
            return error.message;
        }
        return QString();
    };
    EXPECT_TRUE(message({{"capture_id", "gone.png"}}).startsWith(QString::fromUtf8("No capture “gone.png”")));
    EXPECT_TRUE(message({{"capture_id", "../shot.png"}}).contains("is not a capture id"));
    EXPECT_TRUE(message({{"path", "relative.png"}}).startsWith("`path` must be absolute"));
    EXPECT_EQ(message({}), "Say which image to use: capture_id, path or from_clipboard.");
    EXPECT_EQ(message({{"from_clipboard", true}}), "The clipboard holds no image.");
    clipboard->held.image = stripes({8, 8});
    EXPECT_EQ(ToolMedia::resolve(ToolArgs(QJsonObject{{"from_clipboard", true}})).image.size(), QSize(8, 8));

    ToolOutput out;
    ToolMedia::deliver(ToolArgs(QJsonObject{{"copy_to_clipboard", true}, {"save_to", home.path() + "/out/"}}),
                       file, resolved.image, out);
    EXPECT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ(out.json["saved_to"], home.path() + "/out/shot.png");
    EXPECT_TRUE(QFile::exists(home.path() + "/out/shot.png"));
    ToolMedia::deliver(ToolArgs(QJsonObject{{"save_to", home.path() + "/out/copy.jpg"}}), file,
                       resolved.image, out);
    EXPECT_EQ(QImageReader(home.path() + "/out/copy.jpg").format(), "jpeg");
}

TEST_F(ToolMediaTest, ToolImagesAreStoredQuietlyWithinTheHistoryLimitAndAnswered) {
    Prefs::setValue("captureSound", true);
    Prefs::setValue("historyLimit", 2);
    for (const QString name : {"old 1.png", "old 2.png"}) {
        ASSERT_TRUE(HistoryManager::store(ImageUtils::data(stripes({4, 4}), "png"), name).ok());
        QFile old(QDir(HistoryManager::directory()).filePath(name));
        ASSERT_TRUE(old.open(QIODevice::ReadWrite));
        old.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime);
    }
    const auto saved = CaptureOperations::storeNew(stripes({30, 10}), 1.0, "made", QString("jpg"), {});
    ASSERT_TRUE(saved.ok()) << saved.error().message.toStdString();
    const QString historyFile = saved->path;
    EXPECT_TRUE(historyFile.endsWith("made.jpg"));
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files).size(), 2) << "the oldest was pruned";
    EXPECT_TRUE(QFile::exists(historyFile));
    EXPECT_TRUE(clipboard->images.isEmpty());
    EXPECT_EQ(sound->shutters, 0);
    EXPECT_TRUE(toasts->shown.isEmpty());

    Recorder channel;
    MCPSession session(&channel, PeerIdentity{}, std::make_shared<NoAgentTools>());
    AgentAccess access(home.path() + "/activity.json");
    const ToolContext context{&session, std::nullopt, nullptr, &access};
    std::optional<ToolOutcome> outcome;
    ToolMedia::finishImage(ToolArgs(QJsonObject{{"copy_to_clipboard", true}}), context, historyFile,
                           QJsonObject{{"kind", "test"}}, "Made an image",
                           [&](ToolOutcome o) { outcome = o; });
    ASSERT_TRUE(waitUntil([&] { return outcome.has_value(); }));
    const auto& output = std::get<ToolOutput>(*outcome);
    EXPECT_EQ(output.json["kind"], "test");
    EXPECT_EQ(output.json["copied"], true);
    EXPECT_EQ(output.json["width"].toInt(), 30);
    EXPECT_EQ(output.summary, QString("Made an image"));
    EXPECT_EQ(output.images.size(), 1);
    EXPECT_TRUE(session.ownedCaptures.contains(QFileInfo(historyFile).fileName()));
}

TEST_F(ToolMediaTest, PreviewsCanFinishOnAWorker) {
    AgentAccess access(home.path() + "/activity.json");
    std::optional<ToolOutcome> outcome;
    ToolMedia::finishWithPreview(
        ToolOutput(), stripes({20, 20}), true, [&](ToolOutcome o) { outcome = o; }, access);
    ASSERT_TRUE(waitUntil([&] { return outcome.has_value(); }));
    EXPECT_EQ(std::get<ToolOutput>(*outcome).images.size(), 1);
}

} // namespace
