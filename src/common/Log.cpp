#include "common/Log.h"

Q_LOGGING_CATEGORY(lcPictavia, "pictavia", QtInfoMsg)
