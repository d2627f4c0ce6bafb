#pragma once

#include <QStringList>

// `pictavia history export --pdf FILE | --zip FILE | --styled FOLDER NAMES...`: several
// history captures combined into a PDF, packed into a ZIP archive, or styled into a folder.
int runHistoryExportCommand(const QStringList& arguments);
