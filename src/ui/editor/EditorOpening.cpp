#include "editor/ClipboardOpener.h"
#include "editor/EditorModel.h"
#include "ui/editor/EditorWindow.h"

namespace ui::Editor {

EditorWindow* present(std::unique_ptr<EditorModel> model) {
    if (!model) return nullptr;
    auto* window = new EditorWindow(std::move(model));
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

EditorWindow* openFile(const QString& path, QString* error) {
    auto model = ClipboardOpener::modelForFile(path);
    if (!model) {
        if (error) *error = model.error().message;
        return nullptr;
    }
    return present(std::move(model).value());
}

EditorWindow* openImage(const QImage& image, double scale, const QString& sourcePath, bool windowCapture,
                        const QImage& backdrop) {
    if (image.isNull()) return nullptr;
    auto model = std::make_unique<EditorModel>(image, scale);
    model->sourceURL = sourcePath;
    model->setIsWindowCapture(windowCapture);
    if (!backdrop.isNull()) model->setBackdropImage(backdrop);
    return present(std::move(model));
}

} // namespace ui::Editor
