#pragma once

#include <QStringList>

// pictavia edit FILE: opens an image, a capture with its edits or an exported project in
// the editor of the running Pictavia, a movie in its video editor, starting one when none
// runs.
int runEditCommand(int argc, char** argv, const QStringList& arguments);
