#include "app/AppPaths.h"

#include <QStandardPaths>

namespace AppPaths {

QString dataDirectory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/Pictavia");
}

} // namespace AppPaths
