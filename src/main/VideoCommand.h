#pragma once

#include <QStringList>

// `pictavia video export MOVIE [--trim A,B] [--studio LOOK] [--gif] [--resolution R]
// [--codec h264|hevc]`: a new movie or GIF from a recording, delivered into the history as a
// new capture (the recording kept), its path printed; Ctrl+C cancels and leaves nothing.
int runVideoCommand(const QStringList& arguments);
