#pragma once

#include <QStringList>

// `pictavia displays` and `pictavia windows`: what the capture commands can name.
int runDisplaysCommand(const QStringList& arguments);
int runWindowsCommand(const QStringList& arguments);
