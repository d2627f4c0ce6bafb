#pragma once

#include <QString>

namespace AppPaths {

// The product folder for application data: $XDG_DATA_HOME/Pictavia.
QString dataDirectory();

} // namespace AppPaths
