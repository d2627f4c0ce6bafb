// The factory of pictavia-archive.so: ZIP archives written with libarchive.

#include "platform/archive/LibarchiveArchiver.h"
#include "platform/modules/ModuleExport.h"

PICTAVIA_MODULE_EXPORT platform::Archiver* pictavia_create_archiver() {
    return new platform::archive::LibarchiveArchiver;
}
