#include "platform/modules/ModuleLoader.h"

#include <QDir>
#include <QFileInfo>

#include <dlfcn.h>

namespace platform::modules {

namespace {

// The installed layout: bin/pictavia, lib/pictavia/pictavia-ocr.so.
constexpr const char* installedModuleFolder = "../lib/pictavia";

QStringList candidatePaths(const QString& file) {
    const QString programFolder =
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).path();
    return {QDir(programFolder).filePath(file),
            QDir::cleanPath(programFolder + u'/' + QLatin1String(installedModuleFolder) + u'/' + file)};
}

Result<void*> open(const QString& file) {
    const QStringList candidates = candidatePaths(file);
    for (const QString& path : candidates) {
        if (!QFileInfo::exists(path)) continue;
        // Never closed: objects from the module live until the process ends.
        if (void* handle = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL)) return handle;
        return Error{QString::fromLocal8Bit(dlerror())};
    }
    return Error{QStringLiteral("%1 is neither in %2 nor in %3")
                     .arg(file, QFileInfo(candidates[0]).path(), QFileInfo(candidates[1]).path())};
}

} // namespace

Result<void*> findFactory(const char* file, const char* factory) {
    const Result<void*> handle = open(QString::fromLatin1(file));
    if (!handle) return handle.error();
    if (void* function = dlsym(*handle, factory)) return function;
    return Error{QStringLiteral("%1 has no %2").arg(QLatin1String(file), QLatin1String(factory))};
}

} // namespace platform::modules
