#pragma once

#include <libheif/heif.h>

namespace platform::codecs {

// libheif, opened on first use rather than at start-up: it pulls in several video codec
// libraries whose loading and static set-up would otherwise delay every capture.
struct HeifLibrary {
    decltype(&heif_init) init;
    decltype(&heif_have_encoder_for_format) haveEncoderForFormat;
    decltype(&heif_context_alloc) contextAlloc;
    decltype(&heif_context_free) contextFree;
    decltype(&heif_context_set_maximum_image_size_limit) contextSetMaximumImageSizeLimit;
    decltype(&heif_context_read_from_memory_without_copy) contextReadFromMemoryWithoutCopy;
    decltype(&heif_context_get_primary_image_handle) contextGetPrimaryImageHandle;
    decltype(&heif_context_get_encoder_for_format) contextGetEncoderForFormat;
    decltype(&heif_context_encode_image) contextEncodeImage;
    decltype(&heif_context_write) contextWrite;
    decltype(&heif_encoder_set_lossy_quality) encoderSetLossyQuality;
    decltype(&heif_encoder_release) encoderRelease;
    decltype(&heif_image_handle_get_width) imageHandleGetWidth;
    decltype(&heif_image_handle_get_height) imageHandleGetHeight;
    decltype(&heif_image_handle_has_alpha_channel) imageHandleHasAlphaChannel;
    decltype(&heif_image_handle_release) imageHandleRelease;
    decltype(&heif_decode_image) decodeImage;
    decltype(&heif_image_create) imageCreate;
    decltype(&heif_image_add_plane) imageAddPlane;
    decltype(&heif_image_get_plane) imageGetPlane;
    decltype(&heif_image_get_plane_readonly) imageGetPlaneReadonly;
    decltype(&heif_image_get_width) imageGetWidth;
    decltype(&heif_image_get_height) imageGetHeight;
    decltype(&heif_image_get_bits_per_pixel_range) imageGetBitsPerPixelRange;
    decltype(&heif_image_release) imageRelease;

    // The loaded and initialised library, or null when it is not installed or lacks a function.
    static const HeifLibrary* get();
};

} // namespace platform::codecs
