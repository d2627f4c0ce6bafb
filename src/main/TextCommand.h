#pragma once

#include <QStringList>

// `pictavia text FILE ...`: the text, lines, words, codes of an image, or where a phrase is.
int runTextCommand(const QStringList& arguments);

// `pictavia scan FILE [--json]`: the sensitive data visible in an image and where it is.
int runScanCommand(const QStringList& arguments);
