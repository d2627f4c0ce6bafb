// The caption operations of the video editor model: transcribing, editing the lines, and
// keeping them in the recording's timeline.
#include "video/VideoEditorModel.h"

#include "app/Toast.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSaveFile>
#include <QtConcurrent>

#include <algorithm>
#include <cmath>

namespace {

// A line added at the playhead lasts this long, less when the next line starts sooner, but
// never less than `shortestCaption`.
constexpr double addedCaptionSeconds = 2.0;
// No edge moves closer than this to the other edge of its line.
constexpr double shortestCaption = 0.1;

const QString couldNotSave = QStringLiteral("Could not save captions: ");

bool byStart(const CaptionLine& a, const CaptionLine& b) {
    return a.start < b.start;
}

// Where a line's text divides in two: the space nearest its middle; -1 when there is none.
qsizetype middleSpace(const QString& text) {
    const qsizetype middle = text.size() / 2;
    qsizetype best = -1;
    for (qsizetype i = 0; i < text.size(); ++i)
        if (text[i].isSpace() && (best < 0 || std::abs(i - middle) < std::abs(best - middle))) best = i;
    return best;
}

} // namespace

void VideoEditorModel::setCaptionLanguage(const QString& language) {
    if (language.isEmpty() || language == m_captionLanguage) return;
    m_captionLanguage = language;
    emit changed();
}

void VideoEditorModel::setTranscribing(bool transcribing) {
    if (transcribing == m_transcribing) return;
    m_transcribing = transcribing;
    emit changed();
}

void VideoEditorModel::loadCaptionLanguages() {
    QStringList languages = Captions::onDeviceLanguages();
    const QString chosen =
        m_timeline && m_timeline->captionsLanguage && !m_timeline->captionsLanguage->isEmpty()
            ? *m_timeline->captionsLanguage
            : Captions::defaultLanguage;
    if (languages == m_captionLanguages && chosen == m_captionLanguage) return;
    m_captionLanguages = std::move(languages);
    m_captionLanguage = chosen;
    emit changed();
}

void VideoEditorModel::transcribe() {
    if (m_transcribing || !m_loadError.isEmpty()) return;
    setTranscribing(true);
    const auto cancel = m_cancelTranscription;
    *cancel = false;
    const QPointer<VideoEditorModel> self(this);
    const QString language = m_captionLanguage;
    m_transcription = QtConcurrent::run([movie = m_url, language, cancel, self] {
        return Captions::transcribe(movie, language, [cancel, self](double done) {
            QMetaObject::invokeMethod(
                qApp,
                [self, done] {
                    if (self) emit self->transcribeProgress(done);
                },
                Qt::QueuedConnection);
            return !*cancel;
        });
    });
    m_transcription.then(this, [this, language](const Result<Captions::Transcription>& heard) {
        setTranscribing(false);
        if (!heard) {
            const bool cancelled = heard.error().code == platform::SpeechRecognizer::Cancelled;
            if (!cancelled) Toast::show(heard.error().message);
            emit transcribeFinished(cancelled ? QStringLiteral("Transcription cancelled")
                                              : heard.error().message);
            return;
        }
        m_captionSaveTask.stop();
        setCaptions(heard->lines);
        if (m_captionLanguage != language) setCaptionLanguage(language);
        // Captions asked for are meant to be seen.
        if (!heard->lines.isEmpty() && !m_style.captions) {
            StudioStyle style = m_style;
            style.captions = true;
            setStyle(style);
        }
        const auto saved = saveCaptions();
        emit transcribeFinished(saved ? QString() : couldNotSave + saved.error().message);
    });
}

Result<bool> VideoEditorModel::exportSRT(const QString& file) {
    QSaveFile out(file);
    const QByteArray text = Captions::srt(m_captions, m_trimStart, m_trimEnd).toUtf8();
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.commit()) {
        const QString why = out.errorString();
        Toast::show(couldNotSave + why);
        return Error{couldNotSave + why};
    }
    Toast::show(QStringLiteral("Captions saved"));
    return true;
}

void VideoEditorModel::copyTranscript() {
    if (auto& clipboard = platform::services().clipboard) {
        clipboard->setText(Captions::transcript(m_captions));
        Toast::show(QStringLiteral("Transcript copied"));
    }
}

int VideoEditorModel::replaceInCaptions(const QString& find, const QString& with) {
    if (find.isEmpty()) return 0;
    QList<CaptionLine> lines = m_captions;
    int count = 0;
    for (CaptionLine& line : lines) {
        const int here = int(line.text.count(find, Qt::CaseInsensitive));
        if (here == 0) continue;
        count += here;
        line.text.replace(find, with, Qt::CaseInsensitive);
    }
    if (count > 0) editCaptions(std::move(lines));
    return count;
}

// The new line starts at the playhead (pulled back when the movie ends sooner) and runs
// until the next line or for two seconds, so it can be typed into at once and shows where
// it was put.
QUuid VideoEditorModel::addCaptionAtPlayhead() {
    const double end = m_duration > 0 ? m_duration : std::numeric_limits<double>::infinity();
    CaptionLine line;
    line.start = std::clamp(m_playhead, 0.0, std::max(end - shortestCaption, 0.0));
    double until = std::min(line.start + addedCaptionSeconds, end);
    for (const CaptionLine& other : m_captions)
        if (other.start > line.start) until = std::min(until, other.start);
    line.end = std::max(until, std::min(line.start + shortestCaption, end));
    QList<CaptionLine> lines = m_captions;
    lines.append(line);
    editCaptions(std::move(lines));
    return line.id;
}

void VideoEditorModel::setCaptionText(const QUuid& id, const QString& text) {
    const qsizetype i = captionIndex(id);
    if (i < 0 || m_captions[i].text == text) return;
    QList<CaptionLine> lines = m_captions;
    lines[i].text = text;
    editCaptions(std::move(lines));
}

void VideoEditorModel::removeCaption(const QUuid& id) {
    const qsizetype i = captionIndex(id);
    if (i < 0) return;
    QList<CaptionLine> lines = m_captions;
    lines.removeAt(i);
    editCaptions(std::move(lines));
}

// The text divides at the space nearest its middle; the time in proportion to the characters
// on each side, as speech takes about as long per character throughout a line. The first half
// keeps the line's id.
bool VideoEditorModel::splitCaption(const QUuid& id) {
    const qsizetype i = captionIndex(id);
    if (i < 0) return false;
    const CaptionLine& line = m_captions[i];
    const QString text = line.text.trimmed();
    const qsizetype at = middleSpace(text);
    if (at < 0) return false;
    CaptionLine first = line;
    CaptionLine second;
    first.text = text.left(at).trimmed();
    second.text = text.mid(at + 1).trimmed();
    const double share = double(first.text.size()) / double(first.text.size() + second.text.size());
    first.end = line.start + (line.end - line.start) * share;
    second.start = first.end;
    second.end = line.end;
    QList<CaptionLine> lines = m_captions;
    lines[i] = first;
    lines.insert(i + 1, second);
    editCaptions(std::move(lines));
    return true;
}

bool VideoEditorModel::mergeWithNext(const QUuid& id) {
    const qsizetype i = captionIndex(id);
    if (i < 0 || i + 1 >= m_captions.size()) return false;
    QList<CaptionLine> lines = m_captions;
    CaptionLine& line = lines[i];
    const CaptionLine next = lines.takeAt(i + 1);
    line.text = QStringList{line.text.trimmed(), next.text.trimmed()}.join(QLatin1Char(' ')).trimmed();
    line.end = std::max(line.end, next.end);
    editCaptions(std::move(lines));
    return true;
}

// An edge stops at the neighbouring line's edge (lines never come to overlap by nudging; lines
// that already overlap are not pulled apart), at the movie's ends, and 0.1 s from the line's
// other edge.
bool VideoEditorModel::nudge(const QUuid& id, CaptionEdge edge, double by) {
    const qsizetype i = captionIndex(id);
    if (i < 0 || by == 0) return false;
    QList<CaptionLine> lines = m_captions;
    CaptionLine& line = lines[i];
    if (edge == CaptionEdge::start) {
        const double floor = std::min(line.start, i > 0 ? std::max(lines[i - 1].end, 0.0) : 0.0);
        line.start = by < 0 ? std::max(line.start + by, floor)
                            : std::max(line.start, std::min(line.start + by, line.end - shortestCaption));
    } else {
        double ceiling = m_duration > 0 ? m_duration : std::numeric_limits<double>::infinity();
        if (i + 1 < lines.size()) ceiling = std::min(ceiling, lines[i + 1].start);
        ceiling = std::max(ceiling, line.end);
        line.end = by > 0 ? std::min(line.end + by, ceiling)
                          : std::min(line.end, std::max(line.end + by, line.start + shortestCaption));
    }
    if (line == m_captions[i]) return false;
    editCaptions(std::move(lines));
    return true;
}

Result<bool> VideoEditorModel::saveCaptions() {
    m_captionSaveTask.stop();
    auto saved = TimelineStore::saveCaptions(m_url, m_captions, m_captionLanguage);
    if (!saved) {
        Toast::show(couldNotSave + saved.error().message);
        return saved.error();
    }
    m_timeline = std::move(saved).value();
    return true;
}

void VideoEditorModel::captionsEdited() {
    m_captionSaveTask.start();
}

std::optional<QUuid> VideoEditorModel::currentCaptionID() const {
    for (const CaptionLine& line : m_captions)
        if (line.start <= m_playhead && m_playhead < line.end) return line.id;
    return std::nullopt;
}

void VideoEditorModel::editCaptions(QList<CaptionLine> captions) {
    std::stable_sort(captions.begin(), captions.end(), byStart);
    if (captions == m_captions) return;
    m_captions = std::move(captions);
    publish();
    captionsEdited();
}

qsizetype VideoEditorModel::captionIndex(const QUuid& id) const {
    for (qsizetype i = 0; i < m_captions.size(); ++i)
        if (m_captions[i].id == id) return i;
    return -1;
}
