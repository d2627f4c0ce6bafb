#include "platform/x11/X11Log.h"

Q_LOGGING_CATEGORY(lcX11, "pictavia.x11", QtInfoMsg)
