#include "main/TextCommand.h"

#include "main/CommandLine.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"
#include "text/SensitiveScanner.h"
#include "text/TextLocator.h"
#include "text/TextRecognizer.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>

namespace {

// The image named on the command line, through our own decoders; null with the reason
// printed when it cannot be read.
QImage load(const QString& path) {
    PlatformSetup::installImageServices();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "pictavia: cannot open %s: %s\n", qPrintable(path),
                     qPrintable(file.errorString()));
        return {};
    }
    QImage image = platform::services().codecs->decode(file.readAll());
    if (image.isNull())
        std::fprintf(stderr, "pictavia: %s is not an image Pictavia can read\n", qPrintable(path));
    return image;
}

QString rectText(const QRectF& r) {
    const QRect p = r.toAlignedRect();
    return QStringLiteral("%1,%2,%3,%4").arg(p.x()).arg(p.y()).arg(p.width()).arg(p.height());
}

void printBoxes(const QList<TextBox>& boxes) {
    for (const TextBox& box : boxes)
        std::printf("%s\t%s\n", qPrintable(rectText(box.rect)), qPrintable(box.text));
}

// Parses the command line of a command on one image file and reads that image; returns
// an exit code when the command should stop here.
std::optional<int> parseWithImage(QCommandLineParser& parser, const QStringList& arguments,
                                  const QString& command, QImage* image) {
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A PNG, JPEG, WebP or HEIC image."));
    if (const auto code = CommandLine::parse(parser, arguments, command, 1)) return code;
    const QStringList files = parser.positionalArguments();
    if (files.size() != 1) return CommandLine::usageError(QStringLiteral("name one image file"));
    *image = load(files.first());
    if (image->isNull()) return CommandLine::failed;
    return std::nullopt;
}

} // namespace

int runTextCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Reads the text of an image: all of it top to bottom, or its lines or words with their boxes\n"
        "(x,y,width,height in pixels, a tab, the text), or where a phrase is on it."));
    parser.addOption({QStringLiteral("lines"), QStringLiteral("Print each line with its box.")});
    parser.addOption({QStringLiteral("words"), QStringLiteral("Print each word with its box.")});
    parser.addOption(
        {QStringLiteral("codes"), QStringLiteral("Print the payloads of barcodes and QR codes.")});
    parser.addOption({QStringLiteral("find"), QStringLiteral("Print where PHRASE is on the image."),
                      QStringLiteral("PHRASE")});
    QImage image;
    if (const auto code = parseWithImage(parser, arguments, QStringLiteral("text"), &image)) return *code;

    if (parser.isSet(QStringLiteral("find"))) {
        const QString phrase = parser.value(QStringLiteral("find"));
        const QList<TextBox> found = TextLocator::find(phrase, image);
        if (found.isEmpty()) {
            std::fprintf(stderr, "pictavia: \"%s\" is not on the image\n", qPrintable(phrase));
            return CommandLine::failed;
        }
        printBoxes(found);
    } else if (parser.isSet(QStringLiteral("lines")) || parser.isSet(QStringLiteral("words"))) {
        const TextLocator::Reading reading = TextLocator::read(image);
        printBoxes(parser.isSet(QStringLiteral("lines")) ? reading.lines : reading.words);
    } else if (parser.isSet(QStringLiteral("codes"))) {
        for (const QString& payload : TextRecognizer::barcodePayloads(image))
            std::printf("%s\n", qPrintable(payload));
    } else {
        const auto text = TextRecognizer::recognize(image);
        if (!text) {
            std::fprintf(stderr, "pictavia: Text recognition failed: %s\n", qPrintable(text.error().message));
            return CommandLine::failed;
        }
        if (!text->isEmpty()) std::printf("%s\n", qPrintable(*text));
    }
    return CommandLine::ok;
}

int runScanCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Finds sensitive data visible in an image (e-mail addresses, keys, tokens, card and account\n"
        "numbers, IP addresses, telephone numbers): kind, box (x,y,width,height in pixels) and text."));
    parser.addOption({QStringLiteral("json"), QStringLiteral("Print JSON instead of a table.")});
    QImage image;
    if (const auto code = parseWithImage(parser, arguments, QStringLiteral("scan"), &image)) return *code;

    const QList<SensitiveHit> hits = SensitiveScanner::scan(image);
    if (parser.isSet(QStringLiteral("json"))) {
        QJsonArray array;
        for (const SensitiveHit& hit : hits)
            array.append(
                QJsonObject{{QStringLiteral("kind"), hit.kind},
                            {QStringLiteral("sample"), hit.sample},
                            {QStringLiteral("rect"), CommandLine::rectJson(hit.rect.toAlignedRect())}});
        CommandLine::printJson(array);
    } else {
        for (const SensitiveHit& hit : hits)
            std::printf("%s\t%s\t%s\n", qPrintable(hit.kind), qPrintable(rectText(hit.rect)),
                        qPrintable(hit.sample));
    }
    return CommandLine::ok;
}
