#include "platform/modules/LazyServices.h"

#include "platform/LayeredExport.h"
#include "platform/MovieRewriter.h"
#include "platform/TestPatternCamera.h"
#include "platform/document/DocumentFiles.h"
#include "platform/modules/LazyInstance.h"

#include <cstdio>

namespace platform::modules {

namespace {

class LazyTextRecognition final : public TextRecognitionEngine {
public:
    Result<QList<RecognizedLine>> recognize(const QImage& image, RecognitionLevel level,
                                            bool languageCorrection) override {
        const auto engine = m_engine.get();
        if (!engine) return engine.error();
        return (*engine)->recognize(image, level, languageCorrection);
    }

private:
    LazyInstance<TextRecognitionEngine> m_engine{"pictavia-ocr.so", "pictavia_create_text_recognition",
                                                 QStringLiteral("Text recognition is not available")};
};

class LazyBarcodeReader final : public BarcodeReader {
public:
    QStringList read(const QImage& image) override {
        const auto reader = m_reader.get();
        if (reader) return (*reader)->read(image);
        // This interface has no way to fail, so say it once here rather than never.
        std::call_once(m_told,
                       [&] { std::fprintf(stderr, "pictavia: %s\n", qPrintable(reader.error().message)); });
        return {};
    }

private:
    LazyInstance<BarcodeReader> m_reader{"pictavia-ocr.so", "pictavia_create_barcode_reader",
                                         QStringLiteral("Barcode reading is not available")};
    std::once_flag m_told;
};

class LazySubjectLifter final : public SubjectLifter {
public:
    Result<QImage> lift(const QImage& image) override {
        const auto lifter = m_lifter.get();
        if (!lifter) return Error{lifter.error().message, lifter.error().domain, Failed};
        return (*lifter)->lift(image);
    }

private:
    LazyInstance<SubjectLifter> m_lifter{"pictavia-vision.so", "pictavia_create_subject_lifter",
                                         QStringLiteral("Background removal is not available")};
};

class LazyMediaReader final : public MediaReader {
public:
    Result<MediaInfo> info(const QString& file) override {
        const auto reader = m_reader.get();
        if (!reader) return reader.error();
        return (*reader)->info(file);
    }
    Result<QImage> frameAt(const QString& file, double seconds) override {
        const auto reader = m_reader.get();
        if (!reader) return reader.error();
        return (*reader)->frameAt(file, seconds);
    }

private:
    LazyInstance<MediaReader> m_reader{"pictavia-media.so", "pictavia_create_media_reader",
                                       QStringLiteral("Reading movies is not available")};
};

class LazyGifWriter final : public GifWriter {
public:
    Result<std::unique_ptr<GifFile>> create(const QString& path, QSize size) override {
        const auto writer = m_writer.get();
        if (!writer) return writer.error();
        return (*writer)->create(path, size);
    }

private:
    LazyInstance<GifWriter> m_writer{"pictavia-media.so", "pictavia_create_gif_writer",
                                     QStringLiteral("Writing GIFs is not available")};
};

class LazyMovieWriter final : public MovieWriter {
public:
    Result<std::unique_ptr<MovieFile>> create(const QString& path, const MovieSettings& settings) override {
        const auto writer = m_writer.get();
        if (!writer) return writer.error();
        return (*writer)->create(path, settings);
    }

private:
    LazyInstance<MovieWriter> m_writer{"pictavia-media.so", "pictavia_create_movie_writer",
                                       QStringLiteral("Writing movies is not available")};
};

class LazyDocumentReader final : public DocumentReader {
public:
    // By name, as the reader itself judges, so asking does not load it.
    bool handles(const QString& file) const override { return document::isDocumentFile(file); }
    Result<int> pageCount(const QString& file) override {
        const auto reader = m_reader.get();
        if (!reader) return reader.error();
        return (*reader)->pageCount(file);
    }
    Result<QImage> renderPage(const QString& file, int page, double scale) override {
        const auto reader = m_reader.get();
        if (!reader) return reader.error();
        return (*reader)->renderPage(file, page, scale);
    }

private:
    LazyInstance<DocumentReader> m_reader{"pictavia-document.so", "pictavia_create_document_reader",
                                          QStringLiteral("Reading documents is not available")};
};

class LazyArchiver final : public Archiver {
public:
    Result<bool> zipFolder(const QString& folder, const QString& destination) override {
        const auto archiver = m_archiver.get();
        if (!archiver) return archiver.error();
        return (*archiver)->zipFolder(folder, destination);
    }

private:
    LazyInstance<Archiver> m_archiver{"pictavia-archive.so", "pictavia_create_archiver",
                                      QStringLiteral("Writing ZIP archives is not available")};
};

class LazyAudioSources final : public AudioSources {
public:
    Result<std::unique_ptr<AudioSource>> create() override {
        const auto sources = m_sources.get();
        if (!sources) return sources.error();
        return (*sources)->create();
    }

private:
    LazyInstance<AudioSources> m_sources{"pictavia-pulse.so", "pictavia_create_audio_sources",
                                         QStringLiteral("Recording sound is not available")};
};

class LazyCameras final : public Cameras {
public:
    QList<CameraInfo> list() override {
        const auto cameras = m_cameras.get();
        if (!cameras) return {};
        return (*cameras)->list();
    }
    Result<std::unique_ptr<Camera>> open(const QString& id) override {
        const auto cameras = m_cameras.get();
        if (!cameras) return cameras.error();
        return (*cameras)->open(id);
    }

private:
    LazyInstance<Cameras> m_cameras{"pictavia-media.so", "pictavia_create_cameras",
                                    QStringLiteral("Cameras are not available")};
};

class LazyMovieRewriter final : public MovieRewriter {
public:
    Result<bool> rewrite(const QString& source, const QString& destination, const Paint& paint,
                         const Progress& progress) override {
        const auto rewriter = m_rewriter.get();
        if (!rewriter) return rewriter.error();
        return (*rewriter)->rewrite(source, destination, paint, progress);
    }
    Result<std::unique_ptr<MovieFrameSequence>> frames(const QString& file) override {
        const auto rewriter = m_rewriter.get();
        if (!rewriter) return rewriter.error();
        return (*rewriter)->frames(file);
    }

private:
    LazyInstance<MovieRewriter> m_rewriter{"pictavia-media.so", "pictavia_create_movie_rewriter",
                                           QStringLiteral("Editing movies is not available")};
};

class LazyMovieExporter final : public MovieExporter, public LayeredMovieExporter {
public:
    Result<bool> exportLayered(const ExportRequest& request, const FrameLayers& layers,
                               const Progress& progress) override {
        if (const auto exporter = m_layered.get(); exporter)
            return (*exporter)->exportLayered(request, layers, progress);
        // A module that cannot compose layers draws whole frames.
        return exportMovie(
            request,
            [&layers](QImage& target, const QImage& picture, double time, const QImage& camera) {
                layers.draw(target, picture, time, camera);
            },
            progress);
    }
    Result<bool> exportMovie(const ExportRequest& request, const Draw& draw,
                             const Progress& progress) override {
        const auto exporter = m_exporter.get();
        if (!exporter) return exporter.error();
        return (*exporter)->exportMovie(request, draw, progress);
    }
    Result<bool> downmixToMono(const QString& source, const QString& destination) override {
        const auto exporter = m_exporter.get();
        if (!exporter) return exporter.error();
        return (*exporter)->downmixToMono(source, destination);
    }
    Result<bool> sampleFrames(const QString& source, double start, double end, double fps,
                              const std::function<bool(const QImage&, double)>& frame) override {
        const auto exporter = m_exporter.get();
        if (!exporter) return exporter.error();
        return (*exporter)->sampleFrames(source, start, end, fps, frame);
    }

private:
    LazyInstance<MovieExporter> m_exporter{"pictavia-media.so", "pictavia_create_movie_exporter",
                                           QStringLiteral("Exporting movies is not available")};
    LazyInstance<LayeredMovieExporter> m_layered{"pictavia-media.so",
                                                 "pictavia_create_layered_movie_exporter",
                                                 QStringLiteral("Exporting movies is not available")};
};

class LazyMoviePlayers final : public MoviePlayers {
public:
    Result<std::unique_ptr<MoviePlayer>> open(const QString& file) override {
        const auto players = m_players.get();
        if (!players) return players.error();
        return (*players)->open(file);
    }

private:
    LazyInstance<MoviePlayers> m_players{"pictavia-media.so", "pictavia_create_movie_players",
                                         QStringLiteral("Playing movies is not available")};
};

class LazyMovieSound final : public MovieSound {
public:
    Result<int> soundTracks(const QString& file) override {
        const auto sound = m_sound.get();
        if (!sound) return sound.error();
        return (*sound)->soundTracks(file);
    }
    Result<bool> readSound(const QString& file, int track, int rate, int channels,
                           const Chunk& chunk) override {
        const auto sound = m_sound.get();
        if (!sound) return sound.error();
        return (*sound)->readSound(file, track, rate, channels, chunk);
    }
    Result<bool> replaceSound(const QString& source, const QString& soundSource, const QString& destination,
                              int channels, const Transform& transform, const Progress& progress) override {
        const auto sound = m_sound.get();
        if (!sound) return sound.error();
        return (*sound)->replaceSound(source, soundSource, destination, channels, transform, progress);
    }

private:
    LazyInstance<MovieSound> m_sound{"pictavia-media.so", "pictavia_create_movie_sound",
                                     QStringLiteral("Reading the sound of movies is not available")};
};

class LazyVoiceIsolator final : public VoiceIsolator {
public:
    bool available() override { return m_isolator.get().ok(); }
    Result<bool> isolate(const QString& source, const QString& destination,
                         const Progress& progress) override {
        const auto isolator = m_isolator.get();
        if (!isolator) return isolator.error();
        return (*isolator)->isolate(source, destination, progress);
    }

private:
    LazyInstance<VoiceIsolator> m_isolator{"pictavia-media.so", "pictavia_create_voice_isolator",
                                           QStringLiteral("Voice cleaning is not available")};
};

class LazySpeechRecognizer final : public SpeechRecognizer {
public:
    QStringList knownLanguages() override {
        const auto engine = m_engine.get();
        return engine ? (*engine)->knownLanguages() : QStringList{};
    }
    QStringList onDeviceLanguages() override {
        const auto engine = m_engine.get();
        return engine ? (*engine)->onDeviceLanguages() : QStringList{};
    }
    QString howToAdd(const QString& language) override {
        const auto engine = m_engine.get();
        return engine ? (*engine)->howToAdd(language) : engine.error().message;
    }
    int sampleRate() override {
        const auto engine = m_engine.get();
        return engine ? (*engine)->sampleRate() : 16000;
    }
    Result<QList<HeardWord>> recognize(const std::vector<float>& samples, const QString& language,
                                       const Progress& progress) override {
        const auto engine = m_engine.get();
        if (!engine) return engine.error();
        return (*engine)->recognize(samples, language, progress);
    }

private:
    LazyInstance<SpeechRecognizer> m_engine{"pictavia-speech.so", "pictavia_create_speech_recognizer",
                                            QStringLiteral("Speech recognition is not available")};
};

} // namespace

Services lazyServices() {
    Services services;
    services.textRecognition = std::make_unique<LazyTextRecognition>();
    services.barcodes = std::make_unique<LazyBarcodeReader>();
    services.subjectLifter = std::make_unique<LazySubjectLifter>();
    services.media = std::make_unique<LazyMediaReader>();
    services.gifs = std::make_unique<LazyGifWriter>();
    services.movies = std::make_unique<LazyMovieWriter>();
    services.documents = std::make_unique<LazyDocumentReader>();
    services.archiver = std::make_unique<LazyArchiver>();
    services.audioSources = std::make_unique<LazyAudioSources>();
    services.cameras = std::make_unique<CamerasWithTestPattern>(std::make_unique<LazyCameras>());
    services.movieRewriter = std::make_unique<LazyMovieRewriter>();
    services.movieExporter = std::make_unique<LazyMovieExporter>();
    services.moviePlayers = std::make_unique<LazyMoviePlayers>();
    services.movieSound = std::make_unique<LazyMovieSound>();
    services.voiceIsolator = std::make_unique<LazyVoiceIsolator>();
    services.speech = std::make_unique<LazySpeechRecognizer>();
    return services;
}

} // namespace platform::modules
