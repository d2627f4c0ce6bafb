// The factory of pictavia-document.so: document pages rendered with Poppler.

#include "platform/document/PopplerDocumentReader.h"
#include "platform/modules/ModuleExport.h"

PICTAVIA_MODULE_EXPORT platform::DocumentReader* pictavia_create_document_reader() {
    return new platform::document::PopplerDocumentReader;
}
