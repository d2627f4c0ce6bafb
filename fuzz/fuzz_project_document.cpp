// Project files come from disk and from users who share them: any bytes must either give a
// document or a sentence saying why not, and a document that was read must survive being
// written and read again.
#include "editor/ProjectDocument.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto document = ProjectDocument::fromBinary(bytes);
    if (!document) {
        if (document.error().message.isEmpty()) std::abort();
        return 0;
    }
    const auto reread = ProjectDocument::fromBinary(document->toBinary());
    if (!reread || reread->imagePNG != document->imagePNG ||
        reread->annotations.size() != document->annotations.size() ||
        reread->background != document->background || reread->sourceFileName != document->sourceFileName)
        std::abort();
    return 0;
}
