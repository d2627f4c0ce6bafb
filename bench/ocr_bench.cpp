// Text recognition on screenshots of user-interface text: what `pictavia text` prints (the
// engine's lines through TextRecognizer) against the plain `tesseract IMAGE stdout` command on
// the same PNG files, in the same run. Three sets: the window corpus and the tuning strips, on
// which the engine's settings were chosen, and the judging strips (other seeds, fonts and
// strings), which only measure them. Prints the character error rate (edit distance between
// whitespace-collapsed texts over the length of the truth, so reading order counts), the words
// read in any order (1 - F1), and the time per image: ours with Tesseract started beforehand
// as in a resident program, the command's as a script pays it and without its start.
//
//   ocr_bench                 the comparison (--set TEXT: only the sets whose name has TEXT)
//   ocr_bench --full-screen   also whole screens of the windows at 1x and 2x: the time, and
//                             the shares of the words read
//   ocr_bench --sweep         the preparation and Tesseract settings the engine's defaults
//                             were chosen from, each on the tuning sets (with --variants TEXT
//                             only those whose name contains TEXT)
//   ocr_bench --verbose       each image's errors as well
//   ocr_bench --keep DIR      keeps the PNG files and their truths in DIR
//   ocr_bench --prepared DIR  writes the images as the engine prepares them for Tesseract
//   ocr_bench --image FILE    the engine's lines for one image
#include "TextCorpus.h"
#include "UiStrips.h"

#include "platform/Platform.h"
#include "platform/ocr/TesseractEngine.h"
#include "text/TextRecognizer.h"

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
#include <memory>
#include <numeric>
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

// TextRecognizer reads through the installed engine, as `pictavia text` does; this one
// lends it the engine under test.
class Lent : public platform::TextRecognitionEngine {
public:
    explicit Lent(TesseractEngine& engine) : engine_(engine) {}
    Result<QList<RecognizedLine>> recognize(const QImage& image, RecognitionLevel level,
                                            bool languageCorrection) override {
        return engine_.recognize(image, level, languageCorrection);
    }

private:
    TesseractEngine& engine_;
};

void lend(TesseractEngine& engine) {
    platform::Services services;
    services.textRecognition = std::make_unique<Lent>(engine);
    platform::install(std::move(services));
}

// Words of the truth and of the reading, as multisets, and how many they share: blind to the
// order, so that it tells misread words from words read in another order.
struct WordCounts {
    qsizetype truth = 0, read = 0, shared = 0;
};

WordCounts countWords(const QString& truth, const QString& read) {
    const auto words = [](const QString& text) {
        QMap<QString, int> counts;
        for (const QString& w : text.split(QLatin1Char(' '), Qt::SkipEmptyParts))
            ++counts[w];
        return counts;
    };
    const QMap<QString, int> expected = words(truth), found = words(read);
    WordCounts out;
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        out.truth += it.value();
        out.shared += std::min(it.value(), found.value(it.key()));
    }
    for (const int n : found)
        out.read += n;
    return out;
}

struct Sample {
    qsizetype errors = 0;
    qsizetype length = 0;
    double milliseconds = 0;
    double megapixels = 0;
    WordCounts words;

    Sample& operator+=(const Sample& other) {
        errors += other.errors, length += other.length;
        milliseconds += other.milliseconds, megapixels += other.megapixels;
        words.truth += other.words.truth, words.read += other.words.read, words.shared += other.words.shared;
        return *this;
    }
    double cer() const { return length ? double(errors) / double(length) : 0; }
    // 1 - F1 of the words, whatever their order.
    double wordErrors() const {
        return words.truth + words.read ? 1 - 2.0 * double(words.shared) / double(words.truth + words.read)
                                        : 0;
    }
    double msPerMegapixel() const { return megapixels > 0 ? milliseconds / megapixels : 0; }
};

struct Group {
    QString name;
    std::function<bool(const corpus::TextImage&)> contains;
};

// The images of one set and the groups its table splits them into.
struct Set {
    QString name;
    QList<corpus::TextImage> images;
    std::vector<Group> groups;
};

std::vector<Group> windowGroups() {
    return {
        {"all", [](const corpus::TextImage&) { return true; }},
        {"1x", [](const corpus::TextImage& i) { return i.scale == 1; }},
        {"2x", [](const corpus::TextImage& i) { return i.scale == 2; }},
        {"light theme", [](const corpus::TextImage& i) { return !i.dark; }},
        {"dark theme", [](const corpus::TextImage& i) { return i.dark; }},
        {"1x light", [](const corpus::TextImage& i) { return i.scale == 1 && !i.dark; }},
        {"1x dark", [](const corpus::TextImage& i) { return i.scale == 1 && i.dark; }},
        {"monospace", [](const corpus::TextImage& i) { return i.monospace; }},
        {"11-12 px", [](const corpus::TextImage& i) { return i.pixelSize <= 12; }},
    };
}

std::vector<Group> stripGroups() {
    std::vector<Group> groups{
        {"all", [](const corpus::TextImage&) { return true; }},
        {"1x", [](const corpus::TextImage& i) { return i.scale == 1; }},
        {"light theme", [](const corpus::TextImage& i) { return !i.dark; }},
        {"dark theme", [](const corpus::TextImage& i) { return i.dark; }},
        {"10-12 px", [](const corpus::TextImage& i) { return i.pixelSize <= 12; }},
    };
    for (const char* kind : {"menubar", "tabs", "status", "twocolumns", "terminal", "prices"})
        groups.push_back({kind, [kind](const corpus::TextImage& i) {
                              return corpus::stripKind(i) == QLatin1String(kind);
                          }});
    return groups;
}

// The window corpus and the tuning strips are what settings are chosen on; the judging strips
// only ever measure them.
std::vector<Set> allSets() {
    return {{"windows (tuning)", corpus::textCorpus(), windowGroups()},
            {"strips (tuning)", corpus::uiStrips(corpus::StripSet::tuning), stripGroups()},
            {"strips (judging)", corpus::uiStrips(corpus::StripSet::judging), stripGroups()}};
}

Sample score(const corpus::TextImage& image, const QString& text, double milliseconds, bool verbose,
             const char* who) {
    const QString truth = normalise(image.groundTruth), read = normalise(text);
    Sample s{editDistance(truth, read), truth.size(), milliseconds,
             double(image.image.width()) * image.image.height() / 1e6, countWords(truth, read)};
    if (verbose && s.errors > 0)
        std::printf("  %-8s %-36s %3lld errors: %s\n", who, qPrintable(image.name), qlonglong(s.errors),
                    qPrintable(read));
    return s;
}

using Results = std::vector<Sample>; // one per image

// What `pictavia text` prints for each image, timed without Tesseract's start, which a
// resident program pays once.
Results runEngine(TesseractEngine& engine, const QList<corpus::TextImage>& images, bool verbose) {
    lend(engine);
    (void)TextRecognizer::recognize(images.first().image);
    Results results;
    for (const corpus::TextImage& image : images) {
        QElapsedTimer timer;
        timer.start();
        const auto text = TextRecognizer::recognize(image.image);
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        if (!text) {
            std::fprintf(stderr, "ocr_bench: %s\n", qPrintable(text.error().message));
            std::exit(1);
        }
        results.push_back(score(image, *text, ms, verbose, "pictavia"));
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

// The command's time for a blank 64x64 image: starting, loading the model, writing nothing.
double commandStart(const QString& dir) {
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
    return best;
}

// One set's figures against the targets: error rate at most half the command's, time at most
// twice its time; the time both as a script pays it (with the command's start) and for the
// reading alone (the start taken off each run).
struct Outcome {
    double cer = 0, commandCer = 0, wordErrors = 0, commandWordErrors = 0;
    double ms = 0, commandMs = 0, commandReadingMs = 0;
    double cerRatio() const { return commandCer > 0 ? cer / commandCer : 0; }
};

Outcome printComparison(const Set& set, const Results& ours, const Results& command, double start) {
    std::printf("\n%s: %lld images\n", qPrintable(set.name), qlonglong(set.images.size()));
    std::printf("%-12s %6s | %-26s | %-17s | %s\n", "", "images", "character error rate", "words, any order",
                "milliseconds per image");
    std::printf("%-12s %6s | %7s %8s %8s | %8s %8s | %8s %8s %10s\n", "", "", "Pictavia", "command", "ratio",
                "Pictavia", "command", "Pictavia", "command", "(reading)");
    for (const Group& group : set.groups) {
        const auto count = std::count_if(set.images.begin(), set.images.end(), group.contains);
        if (count == 0) continue;
        const Sample a = total(set.images, ours, group), b = total(set.images, command, group);
        std::printf("%-12s %6lld | %6.2f%% %7.2f%% %7.2fx | %7.2f%% %7.2f%% | %8.1f %8.1f %10.1f\n",
                    qPrintable(group.name), qlonglong(count), 100 * a.cer(), 100 * b.cer(),
                    b.cer() > 0 ? a.cer() / b.cer() : 0, 100 * a.wordErrors(), 100 * b.wordErrors(),
                    a.milliseconds / double(count), b.milliseconds / double(count),
                    b.milliseconds / double(count) - start);
    }
    const Sample a = total(set.images, ours, set.groups[0]), b = total(set.images, command, set.groups[0]);
    const double n = double(set.images.size());
    return {a.cer(),
            b.cer(),
            a.wordErrors(),
            b.wordErrors(),
            a.milliseconds / n,
            b.milliseconds / n,
            b.milliseconds / n - start};
}

void printSummary(const std::vector<Set>& sets, const std::vector<Outcome>& outcomes, double start) {
    std::printf("\nSummary (targets: error rate at most 0.5 of the command's, time at most 2x; the "
                "command starts in %.0f ms)\n",
                start);
    std::printf("%-18s | %8s %8s %6s | %-15s | %9s %9s %7s | %10s %7s\n", "set", "CER", "command", "ratio",
                "words any order", "ms/image", "command", "ratio", "(reading)", "ratio");
    for (size_t i = 0; i < sets.size(); ++i) {
        const Outcome& o = outcomes[i];
        std::printf(
            "%-18s | %7.2f%% %7.2f%% %5.2fx | %6.2f%% %6.2f%% | %9.1f %9.1f %6.2fx | %10.1f %6.2fx  %s\n",
            qPrintable(sets[i].name), 100 * o.cer, 100 * o.commandCer, o.cerRatio(), 100 * o.wordErrors,
            100 * o.commandWordErrors, o.ms, o.commandMs, o.ms / std::max(1e-9, o.commandMs),
            o.commandReadingMs, o.ms / std::max(1e-9, o.commandReadingMs),
            o.cerRatio() <= 0.5 && o.ms <= 2 * o.commandMs ? "met" : "missed");
    }
}

// Words found, as a multiset: the share of the truth's words read, and of the words read that
// are in the truth. Blind to reading order, for pages of several windows side by side.
std::pair<double, double> wordRecallAndPrecision(const QString& truth, const QString& read) {
    const WordCounts n = countWords(normalise(truth), normalise(read));
    return {n.truth ? double(n.shared) / double(n.truth) : 0, n.read ? double(n.shared) / double(n.read) : 0};
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
        QStringList read;
        for (const RecognizedLine& line : lines ? *lines : QList<RecognizedLine>())
            read.append(line.text);
        report(who, double(timer.nsecsElapsed()) / 1e9, read.join(QLatin1Char('\n')));
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

void sweep(const std::vector<Set>& sets, const QString& only, bool verbose) {
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
        {"no rereading", [](TesseractEngine::Options& o) { o.rereadRows = 0; }},
        {"reread below 0.8", [](TesseractEngine::Options& o) { o.rereadBelow = 0.8f; }},
        {"reread below 0.9", [](TesseractEngine::Options& o) { o.rereadBelow = 0.9f; }},
        {"reread every row", [](TesseractEngine::Options& o) { o.rereadBelow = 1.01f; }},
        {"reread, other word counts", [](TesseractEngine::Options& o) { o.rereadSameWords = false; }},
        {"reread margin 0.02", [](TesseractEngine::Options& o) { o.rereadMargin = 0.02f; }},
        {"reread margin 0.05", [](TesseractEngine::Options& o) { o.rereadMargin = 0.05f; }},
        {"reread margin 0.1", [](TesseractEngine::Options& o) { o.rereadMargin = 0.1f; }},
        {"reread at 1.5x", [](TesseractEngine::Options& o) { o.reread.scale = 1.5; }},
        {"reread at 2x", [](TesseractEngine::Options& o) { o.reread.scale = 2; }},
        {"reread not inverted",
         [](TesseractEngine::Options& o) { o.reread.inversion = Preparation::Inversion::wholeImage; }},
        {"reread with frames", [](TesseractEngine::Options& o) { o.reread.eraseFrames = false; }},
    };
    std::printf("%-28s |", "variant");
    for (const Set& set : sets)
        std::printf(" %18s", qPrintable(set.name));
    std::printf(" | ms/image, all\n");
    for (const Variant& variant : variants) {
        if (!QString::fromLatin1(variant.name).contains(only)) continue;
        TesseractEngine::Options options;
        variant.change(options);
        TesseractEngine engine(options);
        std::printf("%-28s |", variant.name);
        Sample all;
        for (const Set& set : sets) {
            const Results r = runEngine(engine, set.images, verbose);
            const Sample s = total(set.images, r, set.groups[0]);
            all += s;
            std::printf(" %8.2f%% (%5.2f%%)", 100 * s.cer(), 100 * s.wordErrors());
        }
        std::printf(" | %8.1f\n",
                    all.milliseconds / double(std::accumulate(
                                           sets.begin(), sets.end(), qsizetype(0),
                                           [](qsizetype n, const Set& s) { return n + s.images.size(); })));
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
    parser.addOption({"set", "Only the sets whose name contains <text> (windows, tuning, judging).", "text"});
    parser.addOption({"full-screen", "Also reads whole screens of the window corpus at 1x and 2x."});
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

    std::vector<Set> sets = allSets();
    for (Set& set : sets) {
        if (parser.isSet("set") && !set.name.contains(parser.value("set"))) set.images.clear();
        if (parser.isSet("only"))
            set.images.removeIf(
                [&](const corpus::TextImage& i) { return !i.name.contains(parser.value("only")); });
    }
    std::erase_if(sets, [](const Set& set) { return set.images.isEmpty(); });
    if (sets.empty()) return 1;

    if (parser.isSet("prepared")) {
        const QDir dir(parser.value("prepared"));
        dir.mkpath(".");
        const TesseractEngine::Options defaults;
        for (const Set& set : sets)
            for (const auto& i : set.images) {
                const auto prepared = platform::ocr::prepareImage(i.image, defaults.accurate);
                std::printf("%-36s scale %.2f\n", qPrintable(i.name), prepared.scale);
                prepared.gray.save(dir.filePath(i.name + ".png"));
            }
        return 0;
    }

    const bool verbose = parser.isSet("verbose");
    if (parser.isSet("sweep")) {
        // Settings are chosen on the tuning sets only.
        std::erase_if(sets, [](const Set& set) { return set.name.contains("judging"); });
        sweep(sets, parser.value("variants"), verbose);
        return 0;
    }

    QTemporaryDir temporary;
    const QString dir = parser.isSet("keep") ? parser.value("keep") : temporary.path();
    QDir().mkpath(dir);
    for (const Set& set : sets)
        for (const auto& i : set.images) {
            if (!i.image.save(QDir(dir).filePath(i.name + ".png"))) return 1;
            if (!parser.isSet("keep")) continue;
            QFile truth(QDir(dir).filePath(i.name + ".txt"));
            if (truth.open(QIODevice::WriteOnly)) truth.write(i.groundTruth.toUtf8() + '\n');
        }

    TesseractEngine engine;
    const double start = commandStart(dir);
    std::vector<Outcome> outcomes;
    for (const Set& set : sets) {
        const Results ours = runEngine(engine, set.images, verbose);
        const Results command = runCommand(set.images, dir, verbose);
        outcomes.push_back(printComparison(set, ours, command, start));
    }
    printSummary(sets, outcomes, start);
    if (parser.isSet("full-screen")) {
        const QList<corpus::TextImage> windows = corpus::textCorpus();
        fullScreen(windows, dir, 1);
        fullScreen(windows, dir, 2);
    }
    return 0;
}
