#include "platform/ocr/TesseractEngine.h"

#include "platform/ocr/VisualRows.h"

#include <QByteArray>
#include <QThread>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace platform::ocr {
namespace {

using Api = std::unique_ptr<tesseract::TessBaseAPI>;

// OpenMP reads OMP_THREAD_LIMIT when the library loads, long before the first call, so
// setting it now would change nothing. A maximum of zero active parallel levels, set for
// the calling thread, makes every parallel region in Tesseract run on that thread alone.
// The OpenMP runtime is reached through the dynamic linker: Tesseract brings it, and a
// Tesseract built without OpenMP needs nothing.
void keepOpenMpOnThisThread() {
    thread_local bool done = false;
    if (done) return;
    done = true;
    if (qEnvironmentVariableIsSet("OMP_THREAD_LIMIT")) return; // the user's choice
    using SetLevels = void (*)(int);
    if (auto set = reinterpret_cast<SetLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"))) set(0);
}

QString unavailable(const QString& language) {
    if (language == QLatin1String("eng"))
        return QStringLiteral(
            "Text recognition is not available: the English model for Tesseract is not installed.");
    return QStringLiteral(
               "Text recognition is not available: the Tesseract model for \"%1\" is not installed.")
        .arg(language);
}

QRectF normalised(const QRectF& r, const QSize& size) {
    const double w = size.width(), h = size.height();
    return QRectF(r.x() / w, 1.0 - r.bottom() / h, r.width() / w, r.height() / h);
}

// The LSTM places neighbouring symbols a few pixels into each other; such neighbours meet
// halfway instead, so that a range of characters covers only its own glyphs.
void separateNeighbours(QList<QRectF>& boxes) {
    for (qsizetype i = 1; i < boxes.size(); ++i) {
        QRectF& left = boxes[i - 1];
        QRectF& right = boxes[i];
        if (left.isEmpty() || right.isEmpty() || left.right() <= right.left()) continue;
        if (left.center().x() >= right.center().x()) continue;
        const double middle = (left.right() + right.left()) / 2;
        left.setRight(std::max(left.left(), middle));
        right.setLeft(std::min(right.right(), middle));
    }
}

// Which of Tesseract's results to keep, and where its image lies in the prepared one.
struct Collecting {
    QPoint offset;                      // of the image Tesseract read, in prepared pixels
    float minimumWordConfidence = 0;    // 0-100
    float minimumLineConfidence = 0;    // 0-1
    double minimumLineHeight = 0;       // prepared pixels
    std::vector<QRect>* read = nullptr; // receives the prepared boxes of the symbols kept
};

// Tesseract's lines read symbol by symbol: each symbol's UTF-16 units get a share of its box,
// a space with no box goes between words, and words below the confidence floor are left out.
// Lines flatter than a glyph (the bars of an equals sign taken for lines of their own) are
// dropped.
QList<RecognizedLine> collectLines(tesseract::TessBaseAPI& api, const PreparedImage& prepared,
                                   const QSize& original, const Collecting& how) {
    QList<RecognizedLine> lines;
    const std::unique_ptr<tesseract::ResultIterator> it(api.GetIterator());
    if (!it) return lines;
    RecognizedLine line;
    std::vector<QRect> lineSymbols;
    bool keepWord = true, keepLine = true;
    const auto finishLine = [&] {
        while (line.text.endsWith(QLatin1Char(' '))) {
            line.text.chop(1);
            line.characterBoxes.removeLast();
        }
        separateNeighbours(line.characterBoxes);
        if (keepLine && !line.text.trimmed().isEmpty() && line.confidence >= how.minimumLineConfidence) {
            lines.append(line);
            if (how.read) how.read->insert(how.read->end(), lineSymbols.begin(), lineSymbols.end());
        }
        line = RecognizedLine{};
        lineSymbols.clear();
    };
    it->Begin();
    do {
        if (it->Empty(tesseract::RIL_SYMBOL)) continue;
        if (it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) {
            finishLine();
            line.confidence = std::clamp(it->Confidence(tesseract::RIL_TEXTLINE) / 100.0f, 0.0f, 1.0f);
            int left = 0, top = 0, right = 0, bottom = 0;
            it->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom);
            keepLine = bottom - top >= how.minimumLineHeight;
        }
        if (it->IsAtBeginningOf(tesseract::RIL_WORD)) {
            keepWord = it->Confidence(tesseract::RIL_WORD) >= how.minimumWordConfidence;
            if (keepWord && !line.text.isEmpty()) {
                line.text += QLatin1Char(' ');
                line.characterBoxes.append(QRectF());
            }
        }
        if (!keepWord) continue;
        const std::unique_ptr<char[]> utf8(it->GetUTF8Text(tesseract::RIL_SYMBOL));
        const QString symbol = utf8 ? QString::fromUtf8(utf8.get()) : QString();
        int left = 0, top = 0, right = 0, bottom = 0;
        if (symbol.isEmpty() || !it->BoundingBox(tesseract::RIL_SYMBOL, &left, &top, &right, &bottom))
            continue;
        const QRect inPrepared =
            QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)).translated(how.offset);
        lineSymbols.push_back(inPrepared);
        const QRectF box = prepared.toOriginal(inPrepared, original);
        // A symbol of several characters (a ligature) shares its box out from left to right;
        // both halves of a surrogate pair get the same share.
        const auto codePoints =
            std::count_if(symbol.begin(), symbol.end(), [](QChar c) { return !c.isLowSurrogate(); });
        qsizetype index = 0;
        for (qsizetype i = 0; i < symbol.size(); ++i) {
            const double share = box.width() / double(codePoints);
            const QRectF part(box.x() + share * double(index), box.y(), share, box.height());
            line.text += symbol[i];
            line.characterBoxes.append(normalised(part, original));
            line.box =
                line.box.isEmpty() ? line.characterBoxes.last() : line.box.united(line.characterBoxes.last());
            if (!symbol[i].isHighSurrogate()) ++index;
        }
    } while (it->Next(tesseract::RIL_SYMBOL));
    finishLine();
    return lines;
}

using Band = TesseractEngine::Band;

// Cuts an image into up to `count` bands of rows, near even fractions of its height, in the
// middle of runs of uniform rows, so that threads can read them at once without cutting
// through a line of text.
std::vector<Band> bands(const QImage& gray, int count) {
    const int h = gray.height();
    std::vector<int> cuts; // the middles of runs of at least four uniform rows
    int run = 0;
    for (int y = 0; y <= h; ++y) {
        bool uniform = false;
        if (y < h) {
            const uchar* row = gray.constScanLine(y);
            const auto [low, high] = std::minmax_element(row, row + gray.width());
            uniform = *high - *low <= 16;
        }
        if (uniform) {
            ++run;
            continue;
        }
        if (run >= 4 && y - run > 0 && y < h) cuts.push_back(y - run / 2);
        run = 0;
    }
    std::vector<Band> out;
    int top = 0;
    for (int k = 1; k < count; ++k) {
        const int target = h * k / count;
        int best = -1;
        for (const int cut : cuts)
            if (cut > top && std::abs(cut - target) <= h / (2 * count) &&
                (best < 0 || std::abs(cut - target) < std::abs(best - target)))
                best = cut;
        if (best < 0) continue;
        out.push_back(Band{top, best});
        top = best;
    }
    out.push_back(Band{top, h});
    return out;
}

} // namespace

// Initialised instances of Tesseract kept between calls.
class TesseractEngine::Pool {
public:
    explicit Pool(const Options& options)
        : dataPath_(options.dataPath.toLocal8Bit()), language_(options.language.toUtf8()),
          idleLimit_(size_t(std::max(0, options.idleInstances))) {}

    ~Pool() {
        for (Api& api : idle_)
            api->End();
    }

    Result<Api> take() {
        {
            const std::lock_guard lock(mutex_);
            if (!idle_.empty()) {
                Api api = std::move(idle_.back());
                idle_.pop_back();
                return api;
            }
        }
        Api api = std::make_unique<tesseract::TessBaseAPI>();
        // Tesseract's messages (diacritics, empty pages) would go to stderr.
        std::vector<std::string> names{"debug_file"}, values{"/dev/null"};
        if (api->Init(dataPath_.isEmpty() ? nullptr : dataPath_.constData(), language_.constData(),
                      tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values, false) != 0)
            return Error{unavailable(QString::fromUtf8(language_))};
        return api;
    }

    void give(Api api) {
        api->Clear();
        const std::lock_guard lock(mutex_);
        if (idle_.size() < idleLimit_)
            idle_.push_back(std::move(api));
        else
            api->End();
    }

private:
    const QByteArray dataPath_, language_;
    const size_t idleLimit_;
    std::mutex mutex_;
    std::vector<Api> idle_;
};

TesseractEngine::TesseractEngine() : TesseractEngine(Options{}) {}

TesseractEngine::TesseractEngine(Options options)
    : options_(std::move(options)), pool_(std::make_unique<Pool>(options_)) {}

TesseractEngine::~TesseractEngine() = default;

Result<QList<RecognizedLine>> TesseractEngine::recognize(const QImage& image, RecognitionLevel level,
                                                         bool /*languageCorrection*/) {
    if (image.isNull()) return QList<RecognizedLine>{};
    keepOpenMpOnThisThread();
    const PreparedImage prepared =
        prepareImage(image, level == RecognitionLevel::accurate ? options_.accurate : options_.fast);
    // Bands for the threads to take in turn: twice as many as threads, since text is rarely
    // spread evenly.
    const qint64 pixels = qint64(prepared.gray.width()) * prepared.gray.height();
    const int threads =
        std::clamp(int(pixels / std::max<qint64>(1, options_.pixelsPerThread)), 1,
                   options_.threads > 0 ? options_.threads : std::min(4, QThread::idealThreadCount()));
    const std::vector<Band> parts = bands(prepared.gray, threads > 1 ? 2 * threads : 1);

    std::vector<Result<QList<RecognizedLine>>> results(parts.size(), QList<RecognizedLine>{});
    std::atomic<size_t> next = 0;
    const auto work = [&] {
        keepOpenMpOnThisThread();
        Result<Api> taken = pool_->take();
        if (!taken) {
            for (size_t i = next++; i < parts.size(); i = next++)
                results[i] = taken.error();
            return;
        }
        Api api = std::move(taken).value();
        for (size_t i = next++; i < parts.size(); i = next++)
            results[i] = readBand(*api, prepared, parts[i], image.size());
        pool_->give(std::move(api));
    };
    std::vector<std::thread> helpers;
    for (int i = 1; i < std::min<int>(threads, int(parts.size())); ++i)
        helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers)
        helper.join();

    QList<RecognizedLine> lines;
    for (const auto& result : results) {
        if (!result) return result.error();
        lines.append(*result);
    }
    lines = joinVisualRows(lines);
    if (level != RecognitionLevel::accurate || options_.rereadRows <= 0) return lines;
    Result<Api> api = pool_->take();
    if (!api) return api.error();
    lines = rereadUncertainRows(**api, image, std::move(lines));
    pool_->give(std::move(api).value());
    return lines;
}

QList<RecognizedLine> TesseractEngine::rereadUncertainRows(tesseract::TessBaseAPI& api, const QImage& image,
                                                           QList<RecognizedLine> rows) const {
    std::vector<qsizetype> uncertain;
    for (qsizetype i = 0; i < rows.size(); ++i)
        if (rows[i].confidence < options_.rereadBelow) uncertain.push_back(i);
    if (uncertain.empty()) return rows;
    std::stable_sort(uncertain.begin(), uncertain.end(),
                     [&](qsizetype a, qsizetype b) { return rows[a].confidence < rows[b].confidence; });
    if (uncertain.size() > size_t(options_.rereadRows)) uncertain.resize(size_t(options_.rereadRows));
    const PreparedImage plain = prepareImage(image, options_.reread);
    const QSizeF size = image.size();
    api.SetPageSegMode(tesseract::PSM_SINGLE_LINE);
    for (const qsizetype index : uncertain) {
        RecognizedLine& row = rows[index];
        // The row in the plain image's pixels, with half its height around it.
        const QRectF inImage(row.box.x() * size.width(), (1 - row.box.bottom()) * size.height(),
                             row.box.width() * size.width(), row.box.height() * size.height());
        const double margin = std::max(2.0, inImage.height() / 2) * plain.scale;
        const QRect crop =
            QRectF(inImage.x() * plain.scale + plain.padding - margin,
                   inImage.y() * plain.scale + plain.padding - margin,
                   inImage.width() * plain.scale + 2 * margin, inImage.height() * plain.scale + 2 * margin)
                .toAlignedRect()
                .intersected(plain.gray.rect());
        if (crop.isEmpty()) continue;
        const QImage piece = plain.gray.copy(crop);
        api.SetImage(piece.constBits(), piece.width(), piece.height(), 1, int(piece.bytesPerLine()));
        api.SetSourceResolution(int(96 * plain.scale));
        if (api.Recognize(nullptr) != 0) continue;
        const Collecting how{crop.topLeft(), options_.minimumWordConfidence, 0, 0, nullptr};
        const QList<RecognizedLine> again = joinVisualRows(collectLines(api, plain, image.size(), how));
        if (again.size() != 1 || again.first().confidence <= row.confidence + options_.rereadMargin) continue;
        const auto words = [](const QString& text) {
            return text.split(QLatin1Char(' '), Qt::SkipEmptyParts).size();
        };
        if (!options_.rereadSameWords || words(again.first().text) == words(row.text)) row = again.first();
    }
    return rows;
}

Result<QList<RecognizedLine>> TesseractEngine::readBand(tesseract::TessBaseAPI& api,
                                                        const PreparedImage& prepared, const Band& band,
                                                        const QSize& original) const {
    api.SetPageSegMode(tesseract::PageSegMode(options_.pageSegmentation));
    api.SetVariable("thresholding_method", QByteArray::number(options_.thresholding).constData());
    api.SetVariable("tessedit_do_invert", options_.invertedRetry ? "1" : "0");
    for (const auto& [name, value] : options_.variables)
        api.SetVariable(name.c_str(), value.c_str());
    const QImage image = prepared.gray.copy(0, band.top, prepared.gray.width(), band.bottom - band.top);
    api.SetImage(image.constBits(), image.width(), image.height(), 1, int(image.bytesPerLine()));
    // Screens are about 96 dpi; scaled up, the text reads like print at a higher resolution.
    api.SetSourceResolution(int(96 * prepared.scale));
    if (api.Recognize(nullptr) != 0)
        return Error{QStringLiteral("Tesseract could not read the text of this image.")};
    std::vector<QRect> read;
    Collecting how{QPoint(0, band.top), options_.minimumWordConfidence, 0, 0.4 * prepared.glyphHeight, &read};
    QList<RecognizedLine> lines = collectLines(api, prepared, original, how);
    if (options_.readLeftovers && prepared.glyphHeight > 0)
        lines.append(readLeftovers(api, prepared, image, band, read, original));
    return lines;
}

// Tesseract's sparse layout drops text of a single character (a digit in a table cell, a line
// number, a lone letter). Glyph-sized marks no line covers are grouped with their neighbours
// and each group is read as a line of its own, with everything already read blanked out.
QList<RecognizedLine> TesseractEngine::readLeftovers(tesseract::TessBaseAPI& api,
                                                     const PreparedImage& prepared, const QImage& image,
                                                     const Band& band, const std::vector<QRect>& read,
                                                     const QSize& original) const {
    QList<RecognizedLine> lines;
    const double g = prepared.glyphHeight;
    // What was read, with a little margin, in the band's pixels.
    const int w = image.width(), h = image.height();
    std::vector<uint8_t> readMask(size_t(w) * size_t(h), 0);
    for (const QRect& r : read) {
        const QRect here = r.translated(0, -band.top).adjusted(-2, -2, 2, 2).intersected(image.rect());
        for (int y = here.top(); y <= here.bottom(); ++y)
            std::fill_n(readMask.begin() + qsizetype(y) * w + here.left(), here.width(), uint8_t(1));
    }
    const auto isRead = [&](int x, int y) { return readMask[size_t(y) * size_t(w) + size_t(x)] != 0; };
    const auto anyRead = [&](const QRect& r) {
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x)
                if (isRead(x, y)) return true;
        return false;
    };
    std::vector<QRect> marks;
    for (const QRect& m : inkMarks(image))
        if (m.height() <= 2 * g && m.width() <= 4 * g && m.width() * m.height() >= 4 && !anyRead(m))
            marks.push_back(m);
    // More than that is a picture, not a few stray characters.
    if (marks.empty() || marks.size() > 400) return lines;
    // Neighbours: boxes within half a glyph of each other sideways, a quarter up or down.
    const int dx = int(std::ceil(g / 2)), dy = int(std::ceil(g / 4));
    std::vector<QRect> groups;
    for (const QRect& m : marks) {
        QRect group = m;
        for (bool merged = true; merged;) {
            merged = false;
            for (auto it = groups.begin(); it != groups.end(); ++it)
                if (it->adjusted(-dx, -dy, dx, dy).intersects(group)) {
                    group = group.united(*it);
                    groups.erase(it);
                    merged = true;
                    break;
                }
        }
        groups.push_back(group);
    }
    api.SetPageSegMode(tesseract::PSM_SINGLE_LINE);
    const int pad = int(std::ceil(g / 2));
    int budget = 64;
    for (const QRect& group : groups) {
        if (group.height() > 2.5 * g || group.height() < 0.3 * g || budget-- == 0) continue;
        // The group on white, with nothing of what was read before.
        QImage crop(group.width() + 2 * pad, group.height() + 2 * pad, QImage::Format_Grayscale8);
        crop.fill(255);
        const QRect source = group.adjusted(-pad, -pad, pad, pad).intersected(image.rect());
        for (int y = source.top(); y <= source.bottom(); ++y)
            for (int x = source.left(); x <= source.right(); ++x)
                if (!isRead(x, y))
                    crop.scanLine(y - group.top() + pad)[x - group.left() + pad] = image.constScanLine(y)[x];
        api.SetImage(crop.constBits(), crop.width(), crop.height(), 1, int(crop.bytesPerLine()));
        api.SetSourceResolution(int(96 * prepared.scale));
        if (api.Recognize(nullptr) != 0) continue;
        const Collecting how{QPoint(group.left() - pad, band.top + group.top() - pad),
                             options_.minimumWordConfidence, options_.leftoverConfidence, 0, nullptr};
        lines.append(collectLines(api, prepared, original, how));
    }
    return lines;
}

} // namespace platform::ocr
