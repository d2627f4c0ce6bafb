#pragma once

#include <QStringList>

// `pictavia record fullscreen|area|window ... [--gif] [--duration S] [--no-audio]`: records
// until the duration is over or Ctrl+C / SIGTERM, keeps what was recorded, prints the path.
int runRecordCommand(const QStringList& arguments);
