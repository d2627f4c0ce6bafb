#include "platform/codecs/HeifLibrary.h"

#include <dlfcn.h>

namespace platform::codecs {

namespace {

template <typename Function> bool resolve(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
}

const HeifLibrary* load() {
    // The soname of the ABI the headers describe; never unloaded, as libheif's plug-ins
    // register process-wide state.
    void* handle = dlopen("libheif.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!handle) return nullptr;
    static HeifLibrary library;
    HeifLibrary& l = library;
    const bool complete =
        resolve(handle, "heif_init", l.init) &&
        resolve(handle, "heif_have_encoder_for_format", l.haveEncoderForFormat) &&
        resolve(handle, "heif_context_alloc", l.contextAlloc) &&
        resolve(handle, "heif_context_free", l.contextFree) &&
        resolve(handle, "heif_context_set_maximum_image_size_limit", l.contextSetMaximumImageSizeLimit) &&
        resolve(handle, "heif_context_read_from_memory_without_copy", l.contextReadFromMemoryWithoutCopy) &&
        resolve(handle, "heif_context_get_primary_image_handle", l.contextGetPrimaryImageHandle) &&
        resolve(handle, "heif_context_get_encoder_for_format", l.contextGetEncoderForFormat) &&
        resolve(handle, "heif_context_encode_image", l.contextEncodeImage) &&
        resolve(handle, "heif_context_write", l.contextWrite) &&
        resolve(handle, "heif_encoder_set_lossy_quality", l.encoderSetLossyQuality) &&
        resolve(handle, "heif_encoder_release", l.encoderRelease) &&
        resolve(handle, "heif_image_handle_get_width", l.imageHandleGetWidth) &&
        resolve(handle, "heif_image_handle_get_height", l.imageHandleGetHeight) &&
        resolve(handle, "heif_image_handle_has_alpha_channel", l.imageHandleHasAlphaChannel) &&
        resolve(handle, "heif_image_handle_release", l.imageHandleRelease) &&
        resolve(handle, "heif_decode_image", l.decodeImage) &&
        resolve(handle, "heif_image_create", l.imageCreate) &&
        resolve(handle, "heif_image_add_plane", l.imageAddPlane) &&
        resolve(handle, "heif_image_get_plane", l.imageGetPlane) &&
        resolve(handle, "heif_image_get_plane_readonly", l.imageGetPlaneReadonly) &&
        resolve(handle, "heif_image_get_width", l.imageGetWidth) &&
        resolve(handle, "heif_image_get_height", l.imageGetHeight) &&
        resolve(handle, "heif_image_get_bits_per_pixel_range", l.imageGetBitsPerPixelRange) &&
        resolve(handle, "heif_image_release", l.imageRelease);
    if (!complete || l.init(nullptr).code != heif_error_Ok) return nullptr;
    return &library;
}

} // namespace

const HeifLibrary* HeifLibrary::get() {
    static const HeifLibrary* const library = load();
    return library;
}

} // namespace platform::codecs
