#pragma once

#include "platform/TextRecognition.h"
#include "platform/ocr/ImagePreparation.h"

#include <QString>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tesseract {
class TessBaseAPI;
}

namespace platform::ocr {

// Text recognition by Tesseract's LSTM engine with the English model, tuned for screenshots:
// small, antialiased, often light on dark. Instances of Tesseract are created on demand
// (about 150 ms each) and kept for the next call; calls from several threads each take one
// of their own.
//
// Tesseract's OpenMP threads make it three times slower on two cores, and the runtime reads
// OMP_THREAD_LIMIT only when the program loads, so each calling thread makes OpenMP's parallel
// regions run serially for itself instead, unless the user set OMP_THREAD_LIMIT. Large images
// are read in bands by threads of the engine's own.
class TesseractEngine : public TextRecognitionEngine {
public:
    struct Options {
        // Measured by bench/ocr_bench.cpp --sweep like the preparation's defaults. The fast
        // level does not scale up: 2.23% instead of 1.13%, in about 15% less time on the
        // corpus and a third less on a whole 1x screen.
        Preparation accurate;
        Preparation fast = fastPreparation();
        // Tesseract's page segmentation mode (tesseract::PageSegMode): 11 sparse text (1.13%)
        // keeps apart what stands apart on screen; 3 automatic layout reads at 1.95%, 6 single
        // block at 1.21% but joins side-by-side columns into one line.
        int pageSegmentation = 11;
        // Tesseract's thresholding_method: 0 Otsu (1.13%), 1 Leptonica's adaptive Otsu
        // (1.54%), 2 Sauvola (1.33%).
        int thresholding = 0;
        // Tesseract reads a line again inverted when unsure of it. After the preparation that
        // hardly ever finds anything, but it costs nothing measurable either.
        bool invertedRetry = true;
        // Glyph-sized marks that no line covers are read again on their own, Tesseract's sparse
        // layout dropping text of a single character (2.40% without); kept when at least this
        // sure (0-1; 0.4 to 0.8 read the same).
        bool readLeftovers = true;
        float leftoverConfidence = 0.6f;
        // Rows read with less confidence than this (0-1) are read again one by one from the
        // image at the `reread` preparation (its own size), as a single line, and take that
        // reading where Tesseract is clearly surer of it and it has as many words: upscaling
        // costs a few shapes that Tesseract knows at screen size (Ctril+N for Ctrl+N). At most
        // rereadRows rows, least sure first. Error rates on the tuning windows and strips:
        // 1.09% and 0.43% without, 1.08% and 0.37% with; with any surer reading taken (no
        // margin) 1.12% and 0.37%, at 1.5x 1.18% and 0.41%.
        float rereadBelow = 0.95f;
        float rereadMargin = 0.05f;
        bool rereadSameWords = true;
        Preparation reread = rereadPreparation();
        int rereadRows = 64;
        // Words Tesseract is less sure of (0-100) are dropped. Dropping below 20 loses more
        // real words than junk (1.50%).
        float minimumWordConfidence = 0;
        // More of Tesseract's variables, set before each page (not the init-only ones).
        std::vector<std::pair<std::string, std::string>> variables;
        QString dataPath; // empty: TESSDATA_PREFIX or Tesseract's own default
        QString language = QStringLiteral("eng");
        int idleInstances = 4; // instances kept for later calls
        // Large images are cut into bands of rows at blank rows and read by several threads
        // at once, one for each pixelsPerThread prepared pixels up to `threads` (0: one per
        // core, at most four; each holds an instance of Tesseract, some 30 MB).
        int threads = 0;
        qint64 pixelsPerThread = 500'000;

        static Preparation rereadPreparation() {
            Preparation p;
            p.scale = 1;
            return p;
        }
        static Preparation fastPreparation() {
            Preparation p;
            p.maxScale = 1;
            return p;
        }
    };

    TesseractEngine();
    explicit TesseractEngine(Options options);
    ~TesseractEngine() override;

    // languageCorrection is ignored: Tesseract's LSTM engine read the benchmark's corpus, and
    // made-up words, exactly the same with and without its word lists loaded, and instances
    // of both kinds would double the memory and the start-up time.
    Result<QList<RecognizedLine>> recognize(const QImage& image, RecognitionLevel level,
                                            bool languageCorrection) override;

    const Options& options() const { return options_; }

    // Rows [top, bottom) of a prepared image.
    struct Band {
        int top = 0, bottom = 0;
    };

private:
    class Pool;
    Result<QList<RecognizedLine>> readBand(tesseract::TessBaseAPI& api, const PreparedImage& prepared,
                                           const Band& band, const QSize& original) const;
    QList<RecognizedLine> rereadUncertainRows(tesseract::TessBaseAPI& api, const QImage& image,
                                              QList<RecognizedLine> rows) const;
    QList<RecognizedLine> readLeftovers(tesseract::TessBaseAPI& api, const PreparedImage& prepared,
                                        const QImage& image, const Band& band, const std::vector<QRect>& read,
                                        const QSize& original) const;
    Options options_;
    std::unique_ptr<Pool> pool_;
};

} // namespace platform::ocr
