#include "video/Captions.h"

#include "platform/Platform.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Captions {

namespace {

// Grouping rules: a pause longer than this starts a new line...
constexpr double maxPause = 0.7;
// ...as do a line this many characters long, one holding more than `maxWordsBefore` words, and
// one that would last longer than `maxLineSeconds`.
constexpr int maxCharacters = 42;
constexpr int maxWordsBefore = 7;
constexpr double maxLineSeconds = 4.0;
// A word reported shorter than this lasts this long.
constexpr double minWordSeconds = 0.12;
// A tail of fewer words than this, starting this soon after the line before, joins it when
// both fit in `maxJoinedCharacters`.
constexpr int shortTailWords = 3;
constexpr double tailGap = 0.4;
constexpr int maxJoinedCharacters = 49;
// Lines stay up this much longer, for reading, when the next line leaves room.
constexpr double readingTime = 0.6;

struct PendingLine {
    QStringList words;
    double start = 0;
    double end = 0;
    int characters = 0;
};

// A closed line and how many words it holds: joining short tails looks at the count.
struct Group {
    CaptionLine line;
    int words = 0;
};

QString stamp(double seconds) {
    const qint64 ms = std::llround(std::max(seconds, 0.0) * 1000.0);
    return QString::asprintf("%02lld:%02lld:%02lld,%03lld", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                             ms % 1000);
}

Error failure(const QString& message, int code = 1) {
    return Error{message, QStringLiteral("com.corvanta.pictavia.captions"), code};
}

// The sound of `movie`, all tracks mixed to one channel at `rate`.
Result<std::vector<float>> readVoice(const QString& movie, int rate, const Progress& progress) {
    auto& sound = platform::services().movieSound;
    if (!sound) return failure(QStringLiteral("Could not read the recording's audio."));
    std::vector<float> samples;
    const auto read = sound->readSound(movie, -1, rate, 1, [&](const float* chunk, qsizetype frames) {
        samples.insert(samples.end(), chunk, chunk + frames);
        return !progress || progress(0);
    });
    if (!read) {
        if (read.error().code == platform::MovieSound::Cancelled)
            return failure(read.error().message, platform::SpeechRecognizer::Cancelled);
        return failure(QStringLiteral("Could not read the recording's audio."));
    }
    return samples;
}

} // namespace

QStringList onDeviceLanguages() {
    auto& engine = platform::services().speech;
    return engine ? engine->onDeviceLanguages() : QStringList{};
}

Result<Transcription> transcribe(const QString& movie, const QString& language, const Progress& progress) {
    const QString lang = language.isEmpty() ? defaultLanguage : language;
    auto& engine = platform::services().speech;
    if (!engine || !engine->knownLanguages().contains(lang))
        return failure(QStringLiteral("Speech recognition does not support ") + lang);
    if (!engine->onDeviceLanguages().contains(lang)) {
        QString message = QStringLiteral("There is no on device speech model for ") + lang +
                          QStringLiteral(" on this computer. Pictavia never sends audio to a server, so pick "
                                         "another language or add this one.");
        if (const QString add = engine->howToAdd(lang); !add.isEmpty()) message += QLatin1Char(' ') + add;
        return failure(message);
    }
    auto samples = readVoice(movie, engine->sampleRate(), progress);
    if (!samples) return samples.error();
    auto words = engine->recognize(*samples, lang, progress);
    if (!words) return failure(words.error().message, words.error().code);
    Transcription result;
    result.lines = group(*words);
    result.text = transcript(result.lines);
    return result;
}

QList<CaptionLine> group(const QList<platform::HeardWord>& words) {
    QList<Group> groups;
    PendingLine pending;
    const auto flush = [&] {
        if (pending.words.isEmpty()) return;
        CaptionLine line;
        line.start = pending.start;
        line.end = pending.end;
        line.text = pending.words.join(QLatin1Char(' '));
        groups.append({line, int(pending.words.size())});
        pending = {};
    };
    for (const platform::HeardWord& word : words) {
        if (word.text.isEmpty()) continue;
        const double start = word.start;
        const double end = word.start + std::max(word.duration, minWordSeconds);
        if (!pending.words.isEmpty()) {
            const bool pause = start - pending.end > maxPause;
            const bool full = pending.characters + 1 + word.text.size() > maxCharacters;
            const bool many = pending.words.size() > maxWordsBefore;
            const bool long_ = end - pending.start > maxLineSeconds;
            if (pause || full || many || long_) flush();
        }
        if (pending.words.isEmpty()) {
            pending.start = start;
            pending.characters = int(word.text.size());
        } else {
            pending.characters += 1 + int(word.text.size());
        }
        pending.words.append(word.text);
        pending.end = end;
    }
    flush();

    QList<CaptionLine> lines;
    for (const Group& g : groups) {
        if (!lines.isEmpty()) {
            CaptionLine& previous = lines.last();
            const bool joins = g.words < shortTailWords && g.line.start - previous.end < tailGap &&
                               previous.text.size() + 1 + g.line.text.size() <= maxJoinedCharacters;
            if (joins) {
                previous.text += QLatin1Char(' ') + g.line.text;
                previous.end = g.line.end;
                continue;
            }
        }
        lines.append(g.line);
    }
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const double end = lines[i].end;
        lines[i].end = i + 1 < lines.size() ? std::max(end, std::min(end + readingTime, lines[i + 1].start))
                                            : end + readingTime;
    }
    return lines;
}

QString transcript(const QList<CaptionLine>& lines) {
    QStringList out;
    for (const CaptionLine& line : lines) {
        const int seconds = int(std::floor(std::max(line.start, 0.0)));
        out << QString::asprintf("[%d:%02d", seconds / 60, seconds % 60) + QStringLiteral("] ") + line.text;
    }
    return out.join(QLatin1Char('\n'));
}

QString srt(const QList<CaptionLine>& lines, double offset, double until) {
    QString out;
    int n = 0;
    for (const CaptionLine& line : lines) {
        if (!(line.end > offset && line.start < until)) continue;
        out += QString::number(++n) + QLatin1Char('\n') + stamp(line.start - offset) +
               QStringLiteral(" --> ") + stamp(std::min(line.end, until) - offset) + QLatin1Char('\n') +
               line.text + QStringLiteral("\n\n");
    }
    return out;
}

} // namespace Captions
