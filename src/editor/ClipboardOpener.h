#pragma once

#include "common/Result.h"
#include "editor/EditorModel.h"

#include <QString>

#include <functional>
#include <memory>

// Opens images in the editor from the clipboard and from files: a capture with a project
// comes back with its annotations; an exported ".pictavia" project opens as a project.
namespace ClipboardOpener {

// Shows an editor window for a model; the interface sets it.
void setPresenter(std::function<void(std::unique_ptr<EditorModel>)> present);
// Opens a movie in the video editor; the interface sets it. Without one, movies do not open.
void setMovieOpener(std::function<void(const QString& file)> open);

// Whether the file is a movie (by its name), which opens in the video editor.
bool isMovie(const QString& path);

// The model for a file, or the sentence that says why it cannot be opened. A capture
// whose project cannot be read opens as its image alone, with a toast that says so.
Result<std::unique_ptr<EditorModel>> modelForFile(const QString& path);

// Whether the editor can open the file, without opening it: the sentence that says why
// not, naming the file, for a file that is neither an image, a readable project nor a movie.
Result<bool> check(const QString& path);

// The copied file or picture; "Clipboard has no image or file to open" when there is none.
void openClipboard();
// "Pictavia cannot open that file" when the file is not a picture or project; a movie
// opens in the video editor.
void open(const QString& path);

// The backing scale a file records (its resolution over 96 dpi), else 1.
double scaleOf(const QImage& image);

} // namespace ClipboardOpener
