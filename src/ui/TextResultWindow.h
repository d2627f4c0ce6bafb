#pragma once

#include <QStringList>
#include <QWidget>

namespace ui {

// The text and codes read from a capture: the text to copy again, and a button per code
// (those that are web addresses open in the browser). A new result replaces the last.
class TextResultWindow : public QWidget {
    Q_OBJECT
public:
    static void show(const QString& text, const QStringList& codes);

private:
    TextResultWindow(const QString& text, const QStringList& codes);
};

} // namespace ui
