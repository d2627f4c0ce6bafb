#pragma once

#include <QLoggingCategory>

// Debug output of the X11 backend: which way pixels travel and why.
// Enable with QT_LOGGING_RULES="pictavia.x11.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcX11)
