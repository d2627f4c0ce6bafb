#pragma once

#include "ChildProcess.h"

#include <QColor>
#include <QDir>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QStringList>

#include <string>

namespace testsupport {

// A light window-like PNG with a line of 16 px DejaVu Sans text per entry, saved in
// `folder` as `name`; returns its path.
inline std::string saveTextImage(const QString& folder, const QStringList& lines,
                                 const QString& name = QStringLiteral("shot.png")) {
    QImage image(640, 40 + 40 * static_cast<int>(lines.size()), QImage::Format_RGB32);
    image.fill(QColor(246, 246, 246));
    QPainter p(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(16);
    p.setFont(font);
    p.setPen(QColor(30, 30, 30));
    for (int i = 0; i < lines.size(); ++i)
        p.drawText(24, 40 + 40 * i, lines[i]);
    p.end();
    const QString path = QDir(folder).filePath(name);
    image.save(path);
    return path.toStdString();
}

// Runs a program without a display to its end, stdout and stderr captured.
inline ProcessOutput runToEnd(const std::string& program, const std::vector<std::string>& args,
                              const Environment& environment) {
    auto child =
        ChildProcess::start(program, args, {.environment = environment, .err = ChildProcess::Stream::Pipe});
    return child->finish(std::chrono::seconds(60));
}

} // namespace testsupport
