#include "editor/ClipboardOpener.h"

#include "app/Toast.h"
#include "capture/ImageUtils.h"
#include "editor/ProjectStore.h"
#include "history/HistoryRecord.h"
#include "platform/Platform.h"

#include <QFile>
#include <QFileInfo>

#include <cmath>

namespace ClipboardOpener {

namespace {

std::function<void(std::unique_ptr<EditorModel>)>& presenter() {
    static std::function<void(std::unique_ptr<EditorModel>)> present;
    return present;
}

std::function<void(const QString&)>& movieOpener() {
    static std::function<void(const QString&)> open;
    return open;
}

const QString cannotOpen = QStringLiteral("Pictavia cannot open that file");

void present(std::unique_ptr<EditorModel> model) {
    if (presenter())
        presenter()(std::move(model));
    else
        Toast::show(QStringLiteral("The image editor is not available in this version of Pictavia"));
}

std::unique_ptr<EditorModel> fromDocument(const ProjectDocument& document, const QString& projectFile) {
    auto model = EditorModel::make(document);
    if (model) model->projectFileURL = projectFile;
    return model;
}

} // namespace

void setPresenter(std::function<void(std::unique_ptr<EditorModel>)> present) {
    presenter() = std::move(present);
}

void setMovieOpener(std::function<void(const QString& file)> open) {
    movieOpener() = std::move(open);
}

bool isMovie(const QString& path) {
    return HistoryRecord::kindOf(QFileInfo(path).fileName()) == HistoryRecord::Kind::Video;
}

double scaleOf(const QImage& image) {
    // Our files record 96 dpi per unit of scale, the desktop's convention here.
    const double scale = std::round(image.dotsPerMeterX() / 3780.0 * 4) / 4;
    return scale >= 1 && scale <= 4 ? scale : 1.0;
}

Result<std::unique_ptr<EditorModel>> modelForFile(const QString& path) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) return Error{cannotOpen};
    const QByteArray bytes = file.readAll();

    // An exported project.
    if (bytes.startsWith("bplist00")) {
        auto document = ProjectDocument::fromBinary(bytes);
        if (!document) return document.error();
        auto model = fromDocument(*document, path);
        if (!model) return Error{QStringLiteral("The project's image cannot be read")};
        return model;
    }
    // A capture with its edits kept beside it; a broken project falls back to the pixels.
    bool projectLost = false;
    if (ProjectStore::has(path)) {
        if (auto document = ProjectStore::load(path)) {
            if (auto model = fromDocument(*document, ProjectStore::pathFor(path))) {
                model->sourceURL = path;
                return model;
            }
        }
        projectLost = true;
    }
    const QImage image = ImageUtils::decoded(bytes);
    if (image.isNull()) return Error{cannotOpen};
    if (projectLost)
        Toast::show(QStringLiteral("The edits of %1 could not be read: its project is damaged, so the "
                                   "image opens without them")
                        .arg(QFileInfo(path).fileName()),
                    6.0);
    auto model = std::make_unique<EditorModel>(image, scaleOf(image));
    model->sourceURL = path;
    return model;
}

Result<bool> check(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("Cannot read %1").arg(path)};
    // A movie is looked at no further than the type of its first box.
    if (isMovie(path)) {
        static const QList<QByteArray> firstBoxes{"ftyp", "moov", "mdat", "wide", "free", "skip"};
        if (!firstBoxes.contains(file.read(8).mid(4)))
            return Error{QStringLiteral("“%1” is not a video Pictavia can read.").arg(name)};
        return true;
    }
    const QByteArray bytes = file.readAll();
    const bool looksLikeProject = bytes.startsWith("bplist00") ||
                                  QFileInfo(path).suffix().compare(u"pictavia", Qt::CaseInsensitive) == 0;
    if (looksLikeProject) {
        const auto document = ProjectDocument::fromBinary(bytes);
        if (!document || ImageUtils::decoded(document->imagePNG).isNull())
            return Error{QStringLiteral("%1 is a damaged Pictavia project and cannot be opened").arg(name)};
        return true;
    }
    if (ImageUtils::decoded(bytes).isNull())
        return Error{QStringLiteral("%1 is neither an image nor a Pictavia project").arg(name)};
    return true;
}

void open(const QString& path) {
    if (isMovie(path)) {
        if (movieOpener()) return movieOpener()(path);
        return Toast::show(QStringLiteral("The video editor is not available in this version of Pictavia"));
    }
    auto model = modelForFile(path);
    if (!model) return Toast::show(model.error().message);
    present(std::move(model).value());
}

void openClipboard() {
    const auto& clipboard = platform::services().clipboard;
    const auto contents = clipboard ? clipboard->contents() : platform::Clipboard::Contents{};
    if (!contents.files.isEmpty()) return open(contents.files.first());
    if (contents.image.isNull()) return Toast::show(QStringLiteral("Clipboard has no image or file to open"));
    present(std::make_unique<EditorModel>(contents.image, contents.image.devicePixelRatio()));
}

} // namespace ClipboardOpener
