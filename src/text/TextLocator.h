#pragma once

#include "text/TextBox.h"

#include <QImage>
#include <QList>
#include <QString>

// Where text is on an image: every line and word, or every place a phrase occurs.
// Blocking and stateless like TextRecognizer; never fails (a failing recogniser finds
// nothing).
namespace TextLocator {

struct Reading {
    QList<TextBox> lines;
    QList<TextBox> words; // each with its line's box in `line`
};

// Lines and words, each list top edge first (left edge first where tops are equal).
Reading read(const QImage& image);

// Every occurrence of the phrase: the literal text first (ignoring case); only when it
// occurs nowhere, the folded text, which forgives the usual recognition confusions.
QList<TextBox> find(const QString& phrase, const QImage& image);

// The comparison form of a text: one character for one character, so positions in the
// folded text address the same characters in the original.
QString folded(const QString& text);

} // namespace TextLocator
