// Text recognition on screenshots of user-interface text: Pictavia's engine against the plain
// `tesseract IMAGE stdout` command on the same PNG files, in the same run. Prints the character
// error rate (edit distance between whitespace-collapsed texts over the length of the truth)
// and the time per megapixel, overall and split by scale and theme. Then whole screens of
// those windows, at 1x and 2x, where reading order is a matter of layout: the time, and the
// shares of the words read.
//
//   ocr_bench                 the comparison
//   ocr_bench --sweep         the preparation and Tesseract settings the engine's defaults
//                             were chosen from, each on the whole corpus (20 minutes; with
//                             --variants TEXT only those whose name contains TEXT)
//   ocr_bench --verbose       each image's errors as well
//   ocr_bench --keep DIR      keeps the PNG files in DIR
//   ocr_bench --prepared DIR  writes the images as the engine prepares them for Tesseract
//   ocr_bench --image FILE    the engine's lines for one image
#include "TextCorpus.h"

#include "platform/ocr/TesseractEngine.h"

#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QMap>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

using platform::RecognitionLevel;
using platform::RecognizedLine;
using platform::ocr::Preparation;
using platform::ocr::TesseractEngine;

namespace {

// Whitespace collapsed; typographic quotes, which Tesseract prefers, read as plain ones.
QString normalise(QString text) {
    for (QChar& c : text) {
        if (c == QChar(0x2018) || c == QChar(0x2019))
            c = QLatin1Char('\'');
        else if (c == QChar(0x201c) || c == QChar(0x201d))
            c = QLatin1Char('"');
    }
    return text.simplified();
}

qsizetype editDistance(const QString& a, const QString& b) {
    std::vector<qsizetype> previous(size_t(b.size() + 1)), current(size_t(b.size() + 1));
    for (qsizetype j = 0; j <= b.size(); ++j)
        previous[size_t(j)] = j;
    for (qsizetype i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const qsizetype substitution = previous[size_t(j - 1)] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[size_t(j)] =
                std::min({previous[size_t(j)] + 1, current[size_t(j - 1)] + 1, substitution});
        }
        std::swap(previous, current);
    }
    return previous[size_t(b.size())];
}

// The engine's lines in reading order: top to bottom by the centres of their boxes; a line
// that overlaps the first of a row by half its height or more joins that row, left to right.
QString joinLines(QList<RecognizedLine> lines) {
    std::sort(lines.begin(), lines.end(), [](const RecognizedLine& a, const RecognizedLine& b) {
        return a.box.center().y() > b.box.center().y();
    });
    const auto sameRow = [](const QRectF& a, const QRectF& b) {
        const double overlap = std::min(a.bottom(), b.bottom()) - std::max(a.top(), b.top());
        return overlap >= std::min(a.height(), b.height()) / 2;
    };
    QStringList rows;
    while (!lines.isEmpty()) {
        const QRectF first = lines.first().box;
        QList<RecognizedLine> row;
        for (qsizetype k = 0; k < lines.size();)
            if (sameRow(first, lines[k].box))
                row.append(lines.takeAt(k));
            else
                ++k;
        std::sort(row.begin(), row.end(),
                  [](const RecognizedLine& a, const RecognizedLine& b) { return a.box.x() < b.box.x(); });
        QStringList texts;
        for (const RecognizedLine& line : row)
            texts.append(line.text);
        rows.append(texts.join(QLatin1Char(' ')));
    }
    return rows.join(QLatin1Char('\n'));
}

struct Sample {
    qsizetype errors = 0;
    qsizetype length = 0;
    double milliseconds = 0;
    double megapixels = 0;

    Sample& operator+=(const Sample& other) {
        errors += other.errors, length += other.length;
        milliseconds += other.milliseconds, megapixels += other.megapixels;
        return *this;
    }
    double cer() const { return length ? double(errors) / double(length) : 0; }
    double msPerMegapixel() const { return megapixels > 0 ? milliseconds / megapixels : 0; }
};

struct Group {
    const char* name;
    std::function<bool(const corpus::TextImage&)> contains;
};

const std::vector<Group>& groups() {
    static const std::vector<Group> all{
        {"all", [](const corpus::TextImage&) { return true; }},
        {"1x", [](const corpus::TextImage& i) { return i.scale == 1; }},
        {"2x", [](const corpus::TextImage& i) { return i.scale == 2; }},
        {"light theme", [](const corpus::TextImage& i) { return !i.dark; }},
        {"dark theme", [](const corpus::TextImage& i) { return i.dark; }},
        {"1x light", [](const corpus::TextImage& i) { return i.scale == 1 && !i.dark; }},
        {"1x dark", [](const corpus::TextImage& i) { return i.scale == 1 && i.dark; }},
        {"2x light", [](const corpus::TextImage& i) { return i.scale == 2 && !i.dark; }},
        {"2x dark", [](const corpus::TextImage& i) { return i.scale == 2 && i.dark; }},
        {"monospace", [](const corpus::TextImage& i) { return i.monospace; }},
        {"11-12 px", [](const corpus::TextImage& i) { return i.pixelSize <= 12; }},
    };
    return all;
}

Sample score(const corpus::TextImage& image, const QString& text, double milliseconds, bool verbose,
             const char* who) {
    const QString truth = normalise(image.groundTruth), read = normalise(text);
    Sample s{editDistance(truth, read), truth.size(), milliseconds,
             double(image.image.width()) * image.image.height() / 1e6};
    if (verbose && s.errors > 0)
        std::printf("  %-8s %-32s %3lld errors: %s\n", who, qPrintable(image.name), qlonglong(s.errors),
                    qPrintable(read));
    return s;
}

using Results = std::vector<Sample>; // one per image

Results runEngine(TesseractEngine& engine, const QList<corpus::TextImage>& images, RecognitionLevel level,
                  bool verbose) {
    // The first call pays for Tesseract's start; a resident program pays it once.
    (void)engine.recognize(images.first().image, level, true);
    Results results;
    for (const corpus::TextImage& image : images) {
        QElapsedTimer timer;
        timer.start();
        const auto lines = engine.recognize(image.image, level, true);
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        if (!lines) {
            std::fprintf(stderr, "ocr_bench: %s\n", qPrintable(lines.error().message));
            std::exit(1);
        }
        results.push_back(score(image, joinLines(*lines), ms, verbose, "pictavia"));
    }
    return results;
}

Results runCommand(const QList<corpus::TextImage>& images, const QString& dir, bool verbose) {
    Results results;
    for (const corpus::TextImage& image : images) {
        QProcess tesseract;
        QElapsedTimer timer;
        timer.start();
        tesseract.start(QStringLiteral("tesseract"), {QDir(dir).filePath(image.name + ".png"), "stdout"});
        if (!tesseract.waitForFinished(120000) || tesseract.exitCode() != 0) {
            std::fprintf(stderr, "ocr_bench: tesseract failed on %s: %s\n", qPrintable(image.name),
                         tesseract.readAllStandardError().constData());
            std::exit(1);
        }
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        results.push_back(
            score(image, QString::fromUtf8(tesseract.readAllStandardOutput()), ms, verbose, "command"));
    }
    return results;
}

Sample total(const QList<corpus::TextImage>& images, const Results& results, const Group& group) {
    Sample sum;
    for (qsizetype i = 0; i < images.size(); ++i)
        if (group.contains(images[i])) sum += results[size_t(i)];
    return sum;
}

void printComparison(const QList<corpus::TextImage>& images, const Results& ours, const Results& fast,
                     const Results& command) {
    std::printf("%-12s %6s | %-28s | %-34s | %s\n", "", "images", "character error rate",
                "milliseconds per megapixel", "fast level");
    std::printf("%-12s %6s | %8s %8s %9s | %9s %9s %12s | %8s %9s\n", "", "", "Pictavia", "command", "ratio",
                "Pictavia", "command", "ratio", "CER", "ms/MP");
    for (const Group& group : groups()) {
        const auto count = std::count_if(images.begin(), images.end(), group.contains);
        const Sample a = total(images, ours, group), b = total(images, command, group),
                     f = total(images, fast, group);
        std::printf("%-12s %6lld | %7.2f%% %7.2f%% %8.2fx | %9.0f %9.0f %11.2fx | %7.2f%% %9.0f\n",
                    group.name, qlonglong(count), 100 * a.cer(), 100 * b.cer(),
                    b.cer() > 0 ? a.cer() / b.cer() : 0, a.msPerMegapixel(), b.msPerMegapixel(),
                    b.msPerMegapixel() > 0 ? a.msPerMegapixel() / b.msPerMegapixel() : 0, 100 * f.cer(),
                    f.msPerMegapixel());
    }
    const Sample a = total(images, ours, groups()[1]), b = total(images, command, groups()[1]);
    const double cerRatio = b.cer() > 0 ? a.cer() / b.cer() : 0;
    const double timeRatio = a.msPerMegapixel() / std::max(1e-9, b.msPerMegapixel());
    std::printf(
        "1x text: error rate %.2f of the command's (target at most 0.5: %s), time %.2f of it (target at "
        "most 2: %s)\n",
        cerRatio, cerRatio <= 0.5 ? "met" : "missed", timeRatio, timeRatio <= 2 ? "met" : "missed");
}

// The command's time for a blank 64x64 image: starting, loading the model, writing nothing.
// Its times above include that, as a script calling it pays it.
void printCommandStart(const QString& dir) {
    QImage blank(64, 64, QImage::Format_RGB32);
    blank.fill(Qt::white);
    const QString path = QDir(dir).filePath("blank.png");
    blank.save(path);
    double best = 1e9;
    for (int run = 0; run < 3; ++run) {
        QProcess tesseract;
        QElapsedTimer timer;
        timer.start();
        tesseract.start(QStringLiteral("tesseract"), {path, "stdout"});
        tesseract.waitForFinished(60000);
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf(
        "The command's times include its start (%.0f ms a run on a blank image), as a script pays it.\n",
        best);
}

// Words found, as a multiset: the share of the truth's words read, and of the words read that
// are in the truth. Blind to reading order, for pages of several windows side by side.
std::pair<double, double> wordRecallAndPrecision(const QString& truth, const QString& read) {
    const auto words = [](const QString& text) {
        QMap<QString, int> counts;
        for (const QString& w : normalise(text).split(QLatin1Char(' '), Qt::SkipEmptyParts))
            ++counts[w];
        return counts;
    };
    const QMap<QString, int> expected = words(truth), found = words(read);
    int total = 0, hits = 0, readCount = 0;
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        total += it.value();
        hits += std::min(it.value(), found.value(it.key()));
    }
    for (const int n : found)
        readCount += n;
    return {total ? double(hits) / total : 0, readCount ? double(hits) / readCount : 0};
}

// A full-HD desktop, at 1x (1920x1080) or 2x (3840x2160): the corpus's windows of that scale
// side by side on a gradient wallpaper, read whole, as a screenshot of the entire screen
// would be.
void fullScreen(const QList<corpus::TextImage>& images, const QString& dir, int scale) {
    QImage screen(1920 * scale, 1080 * scale, QImage::Format_RGB32);
    QPainter painter(&screen);
    QLinearGradient wallpaper(0, 0, 0, screen.height());
    wallpaper.setColorAt(0, QColor("#2c3e50"));
    wallpaper.setColorAt(1, QColor("#4b6584"));
    painter.fillRect(screen.rect(), wallpaper);
    QStringList truth;
    const int gap = 24 * scale;
    int x = gap, y = gap, shelf = 0;
    for (const corpus::TextImage& image : images) {
        if (image.scale != scale) continue;
        if (x + image.image.width() > screen.width() - gap) x = gap, y += shelf + gap, shelf = 0;
        if (y + image.image.height() > screen.height() - gap) continue;
        QImage window = image.image;
        window.setDevicePixelRatio(1); // drawn pixel for pixel
        painter.drawImage(x, y, window);
        truth.append(image.groundTruth);
        x += image.image.width() + gap;
        shelf = std::max(shelf, image.image.height());
    }
    painter.end();
    screen.setDevicePixelRatio(scale);
    const QString path = QDir(dir).filePath(QStringLiteral("full-screen-%1x.png").arg(scale));
    screen.save(path);

    std::printf(
        "\nFull screen, %dx%d at %dx with %lld windows: seconds, share of its words read, share of the "
        "words read that are right\n",
        screen.width(), screen.height(), scale, qlonglong(truth.size()));
    const auto report = [&](const char* who, double seconds, const QString& read) {
        const auto [recall, precision] = wordRecallAndPrecision(truth.join(QLatin1Char('\n')), read);
        std::printf("  %-34s %6.2f s %7.1f%% %7.1f%%\n", who, seconds, 100 * recall, 100 * precision);
    };
    const auto timeEngine = [&](const char* who, TesseractEngine& engine, RecognitionLevel level) {
        // Started beforehand, as in a resident program.
        (void)engine.recognize(images.first().image, level, true);
        QElapsedTimer timer;
        timer.start();
        const auto lines = engine.recognize(screen, level, true);
        report(who, double(timer.nsecsElapsed()) / 1e9, lines ? joinLines(*lines) : QString());
    };
    TesseractEngine engine;
    timeEngine("Pictavia, accurate", engine, RecognitionLevel::accurate);
    timeEngine("Pictavia, fast", engine, RecognitionLevel::fast);
    TesseractEngine::Options oneThread;
    oneThread.threads = 1;
    TesseractEngine single(oneThread);
    timeEngine("Pictavia, accurate, one thread", single, RecognitionLevel::accurate);
    QProcess tesseract;
    QElapsedTimer timer;
    timer.start();
    tesseract.start(QStringLiteral("tesseract"), {path, "stdout"});
    tesseract.waitForFinished(300000);
    report("tesseract command", double(timer.nsecsElapsed()) / 1e9,
           QString::fromUtf8(tesseract.readAllStandardOutput()));
}

struct Variant {
    const char* name;
    std::function<void(TesseractEngine::Options&)> change;
};

void sweep(const QList<corpus::TextImage>& images, const QString& only, bool verbose) {
    const auto scale = [](double s) { return [s](TesseractEngine::Options& o) { o.accurate.scale = s; }; };
    const auto target = [](double t) {
        return [t](TesseractEngine::Options& o) { o.accurate.targetGlyphHeight = t; };
    };
    const std::vector<Variant> variants{
        {"defaults", [](TesseractEngine::Options&) {}},
        {"scale 1", scale(1)},
        {"scale 1.5", scale(1.5)},
        {"scale 2", scale(2)},
        {"scale 3", scale(3)},
        {"glyph target 12", target(12)},
        {"glyph target 14", target(14)},
        {"glyph target 16", target(16)},
        {"glyph target 18", target(18)},
        {"glyph target 20", target(20)},
        {"glyph target 24", target(24)},
        {"glyph target 28", target(28)},
        {"fast level", [](TesseractEngine::Options& o) { o.accurate = o.fast; }},
        {"fast level, no leftovers",
         [](TesseractEngine::Options& o) {
             o.accurate = o.fast;
             o.readLeftovers = false;
         }},
        {"fast level up to 1.5x",
         [](TesseractEngine::Options& o) {
             o.accurate = o.fast;
             o.accurate.maxScale = 1.5;
         }},
        {"no inversion",
         [](TesseractEngine::Options& o) { o.accurate.inversion = Preparation::Inversion::none; }},
        {"whole-image inversion",
         [](TesseractEngine::Options& o) { o.accurate.inversion = Preparation::Inversion::wholeImage; }},
        {"frames kept", [](TesseractEngine::Options& o) { o.accurate.eraseFrames = false; }},
        {"no padding", [](TesseractEngine::Options& o) { o.accurate.padding = 0; }},
        {"page mode 3 (auto)", [](TesseractEngine::Options& o) { o.pageSegmentation = 3; }},
        {"page mode 6 (block)", [](TesseractEngine::Options& o) { o.pageSegmentation = 6; }},
        {"page mode 11 (sparse)", [](TesseractEngine::Options& o) { o.pageSegmentation = 11; }},
        {"adaptive Otsu", [](TesseractEngine::Options& o) { o.thresholding = 1; }},
        {"Sauvola", [](TesseractEngine::Options& o) { o.thresholding = 2; }},
        {"no inverted retry", [](TesseractEngine::Options& o) { o.invertedRetry = false; }},
        {"noise rows kept",
         [](TesseractEngine::Options& o) {
             o.variables = {{"textord_noise_rejrows", "0"}};
         }},
        {"noise words kept",
         [](TesseractEngine::Options& o) {
             o.variables = {{"textord_noise_rejwords", "0"}};
         }},
        {"leftovers not read", [](TesseractEngine::Options& o) { o.readLeftovers = false; }},
        {"leftovers kept at 0.4", [](TesseractEngine::Options& o) { o.leftoverConfidence = 0.4f; }},
        {"leftovers kept at 0.8", [](TesseractEngine::Options& o) { o.leftoverConfidence = 0.8f; }},
        {"no noise rejection",
         [](TesseractEngine::Options& o) {
             o.variables = {{"textord_no_rejects", "1"}};
         }},
        {"word confidence >= 20", [](TesseractEngine::Options& o) { o.minimumWordConfidence = 20; }},
        {"word confidence >= 40", [](TesseractEngine::Options& o) { o.minimumWordConfidence = 40; }},
    };
    std::printf("%-24s | %8s %8s %8s %8s | %9s %9s\n", "variant", "CER all", "1x", "2x", "dark", "ms/MP all",
                "ms/MP 1x");
    for (const Variant& variant : variants) {
        if (!QString::fromLatin1(variant.name).contains(only)) continue;
        TesseractEngine::Options options;
        variant.change(options);
        TesseractEngine engine(options);
        const Results r = runEngine(engine, images, RecognitionLevel::accurate, verbose);
        const auto& g = groups();
        const Sample all = total(images, r, g[0]), one = total(images, r, g[1]), two = total(images, r, g[2]),
                     dark = total(images, r, g[4]);
        std::printf("%-24s | %7.2f%% %7.2f%% %7.2f%% %7.2f%% | %9.0f %9.0f\n", variant.name, 100 * all.cer(),
                    100 * one.cer(), 100 * two.cer(), 100 * dark.cer(), all.msPerMegapixel(),
                    one.msPerMegapixel());
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"sweep", "Measures each preparation and Tesseract setting on its own."});
    parser.addOption({"variants", "With --sweep, only the variants whose name contains <text>.", "text"});
    parser.addOption({"verbose", "Prints each image's misreadings."});
    parser.addOption({"keep", "Keeps the rendered PNG files in <dir>.", "dir"});
    parser.addOption({"prepared", "Writes the images as prepared for Tesseract to <dir> and stops.", "dir"});
    parser.addOption({"image", "Prints the lines the engine reads in the image <file> and stops.", "file"});
    parser.addOption({"only", "Only the images whose name contains <text>.", "text"});
    parser.process(app);

    if (parser.isSet("image")) {
        TesseractEngine engine;
        const QImage image(parser.value("image"));
        QElapsedTimer timer;
        timer.start();
        (void)platform::ocr::prepareImage(image, engine.options().accurate);
        const qint64 preparing = timer.elapsed();
        timer.restart();
        const auto lines = engine.recognize(image, RecognitionLevel::accurate, true);
        if (!lines) return 1;
        std::printf("prepared in %lld ms, read in %lld ms (Tesseract starting included)\n", preparing,
                    timer.elapsed());
        for (const RecognizedLine& line : *lines)
            std::printf("%.2f  %.3f,%.3f %.3fx%.3f  %s\n", line.confidence, line.box.x(), line.box.y(),
                        line.box.width(), line.box.height(), qPrintable(line.text));
        return 0;
    }

    QList<corpus::TextImage> images = corpus::textCorpus();
    if (parser.isSet("only"))
        images.removeIf([&](const corpus::TextImage& i) { return !i.name.contains(parser.value("only")); });
    if (images.isEmpty()) return 1;
    double megapixels = 0;
    for (const auto& i : images)
        megapixels += double(i.image.width()) * i.image.height() / 1e6;
    std::printf("%lld images, %.2f megapixels, DejaVu Sans and Sans Mono 11-16 px at 1x and 2x\n",
                qlonglong(images.size()), megapixels);

    if (parser.isSet("prepared")) {
        const QDir dir(parser.value("prepared"));
        dir.mkpath(".");
        const TesseractEngine::Options defaults;
        for (const auto& i : images) {
            QElapsedTimer timer;
            timer.start();
            const auto prepared = platform::ocr::prepareImage(i.image, defaults.accurate);
            const double ms = double(timer.nsecsElapsed()) / 1e6;
            std::printf("%-32s scale %.2f, %.1f ms per megapixel\n", qPrintable(i.name), prepared.scale,
                        ms * 1e6 / (double(i.image.width()) * i.image.height()));
            prepared.gray.save(dir.filePath(i.name + ".png"));
        }
        return 0;
    }

    const bool verbose = parser.isSet("verbose");
    if (parser.isSet("sweep")) {
        sweep(images, parser.value("variants"), verbose);
        return 0;
    }

    QTemporaryDir temporary;
    const QString dir = parser.isSet("keep") ? parser.value("keep") : temporary.path();
    QDir().mkpath(dir);
    for (const auto& i : images)
        if (!i.image.save(QDir(dir).filePath(i.name + ".png"))) return 1;
    if (parser.isSet("keep"))
        for (const auto& i : images) {
            QFile truth(QDir(dir).filePath(i.name + ".txt"));
            if (truth.open(QIODevice::WriteOnly)) truth.write(i.groundTruth.toUtf8() + '\n');
        }

    TesseractEngine engine;
    const Results ours = runEngine(engine, images, RecognitionLevel::accurate, verbose);
    const Results fast = runEngine(engine, images, RecognitionLevel::fast, false);
    const Results command = runCommand(images, dir, verbose);
    printComparison(images, ours, fast, command);
    printCommandStart(dir);
    fullScreen(images, dir, 1);
    fullScreen(images, dir, 2);
    return 0;
}
