// The operations of annotate_image are whatever an agent sends: reading them must give a
// list or a message, never a crash, and running a list that reads must keep the image sane.
#include "agents/tools/AnnotateOperations.h"
#include "editor/EditorModel.h"

#include <QGuiApplication>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

// Text measuring needs a GUI application; settings and usage counts go to a scratch home.
void setUp() {
    static QTemporaryDir home;
    static bool done = false;
    if (done) return;
    done = true;
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "fuzz_annotate_operations";
    static char* argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    setUp();
    const QJsonDocument document = QJsonDocument::fromJson(
        QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    const auto parsed = AnnotateOperations::parse(document.array());
    if (!parsed) {
        check(parsed.error().message.startsWith(QStringLiteral("Operation")) ||
              parsed.error().message.startsWith(QStringLiteral("`operations`")) ||
              parsed.error().message.startsWith(QStringLiteral("At most")));
        return 0;
    }
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::white);
    EditorModel model(image, 1.0);
    AnnotateOperations::Options options;
    options.coordinates =
        size % 2 ? AnnotateOperations::Coordinates::Pixels : AnnotateOperations::Coordinates::Normalized;
    // Every phrase is found once, in the middle.
    options.findText = [](const QString& phrase, const QImage&) {
        return QList<TextBox>{{phrase, QRectF(20, 20, 24, 8), 1.0f, QRectF(20, 20, 24, 8)}};
    };
    (void)AnnotateOperations::apply(model, *parsed, options);
    check(!model.baseImage().isNull());
    check(double(model.baseImage().width()) * model.baseImage().height() <= 50e6);
    return 0;
}
