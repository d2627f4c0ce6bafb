#pragma once

// Screenshot-like images of user-interface text with the text they show, rendered on the fly
// with the DejaVu fonts: settings forms, buttons, menus, mail lists, payment forms, code and
// terminals, each at several pixel sizes, at 1x and 2x, in a light and a dark theme.
#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

namespace corpus {

struct TextImage {
    QString name;        // unique, usable as a file name: "menu-sans-13px-2x-dark"
    QImage image;        // devicePixelRatio is the scale
    QString groundTruth; // the lines top to bottom, one per '\n'; cells of a row joined by a space
    int scale = 1;       // 1 or 2 device pixels per point
    bool dark = false;   // light text on a dark theme
    int pixelSize = 13;  // font size in points (pixels at 1x)
    bool monospace = false;
    QStringList planted; // the planted strings this image shows, each on a row of its own
};

struct CorpusOptions {
    // Strings to show in the images, each planted once as an extra row ("Reference: <string>")
    // of one image, round-robin over the images whose index is a multiple of plantEvery.
    QStringList plant;
    int plantEvery = 2;
};

// The whole corpus, always the same images in the same order (64 of them; planting
// adds rows, never images). Needs a QGuiApplication for the fonts.
QList<TextImage> textCorpus(const CorpusOptions& options = {});

} // namespace corpus
