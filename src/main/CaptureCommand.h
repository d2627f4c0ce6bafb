#pragma once

#include <QStringList>

// `pictavia capture fullscreen|area|window ...`: one capture through the output pipeline;
// prints the file's path. Returns the process exit code.
int runCaptureCommand(const QStringList& arguments);
