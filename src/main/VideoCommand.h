#pragma once

#include <QStringList>

// `pictavia video export MOVIE [--trim A,B] [--studio LOOK] [--gif] [--resolution R]
// [--codec h264|hevc]`: a new movie or GIF from a recording, delivered into the history as a
// new capture (the recording kept), its path printed; Ctrl+C cancels and leaves nothing.
// `pictavia video captions MOVIE [--srt FILE] [--language L] [--redo]`: the transcript of a
// recording on stdout, or its SubRip subtitles written; the captions kept with it.
int runVideoCommand(const QStringList& arguments);
