#pragma once

#include <QLoggingCategory>

// Pictavia's own diagnostics on stderr: "pictavia" and its sub-categories are shown, while
// the warnings of Qt and the libraries under it are kept off the terminal (see
// main/MessageFilter.h).
Q_DECLARE_LOGGING_CATEGORY(lcPictavia)
