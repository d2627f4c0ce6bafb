// A screen as a desktop's screen-cast shares it, for the PipeWire frame stream's tests: a
// PipeWire video source of BGRx pictures in shared memory, four coloured quadrants, with the
// pointer as metadata. It sends --frames pictures, 30 a second (-1: without end), then
// nothing, as a compositor does while the screen is still, and writes its node id to
// --node-file once it can be connected to.
//
//   pipewire_source --size WxH --frames N --pointer X,Y --node-file PATH
//
// Quadrants: top left #cc3333, top right #33cc33, bottom left #3333cc, bottom right #eeee22.
// The pointer is a 16×16 white square with its hotspot at its top-left corner.

#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int pointerSide = 16;

struct Source {
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    spa_source* timer = nullptr;
    int width = 320;
    int height = 240;
    int framesLeft = 1;
    int pointerX = -1;
    int pointerY = -1;
    std::string nodeFile;
    bool announced = false;
};

uint32_t pixelAt(const Source& s, int x, int y) {
    const bool right = x >= s.width / 2;
    const bool bottom = y >= s.height / 2;
    if (!bottom) return right ? 0xff33cc33u : 0xffcc3333u;
    return right ? 0xffeeee22u : 0xff3333ccu;
}

void fillPointer(const Source& s, spa_buffer* buffer) {
    auto* cursor = static_cast<spa_meta_cursor*>(
        spa_buffer_find_meta_data(buffer, SPA_META_Cursor, sizeof(spa_meta_cursor)));
    if (!cursor) return;
    if (s.pointerX < 0) {
        cursor->id = 0;
        return;
    }
    cursor->id = 1;
    cursor->position = {s.pointerX, s.pointerY};
    cursor->hotspot = {0, 0};
    cursor->bitmap_offset = sizeof(spa_meta_cursor);
    auto* bitmap = SPA_PTROFF(cursor, cursor->bitmap_offset, spa_meta_bitmap);
    bitmap->format = SPA_VIDEO_FORMAT_RGBA;
    bitmap->size = {pointerSide, pointerSide};
    bitmap->stride = pointerSide * 4;
    bitmap->offset = sizeof(spa_meta_bitmap);
    std::memset(SPA_PTROFF(bitmap, bitmap->offset, void), 0xff, size_t(pointerSide) * pointerSide * 4);
}

void produce(Source& s) {
    pw_buffer* b = pw_stream_dequeue_buffer(s.stream);
    if (!b) return;
    spa_buffer* buffer = b->buffer;
    spa_data& data = buffer->datas[0];
    if (!data.data) {
        pw_stream_queue_buffer(s.stream, b);
        return;
    }
    const int stride = s.width * 4;
    for (int y = 0; y < s.height; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(data.data) + size_t(y) * stride);
        for (int x = 0; x < s.width; ++x)
            row[x] = pixelAt(s, x, y) & 0x00ffffffu; // the unused byte left at zero, as compositors do
    }
    data.chunk->offset = 0;
    data.chunk->stride = stride;
    data.chunk->size = uint32_t(stride * s.height);
    fillPointer(s, buffer);
    pw_stream_queue_buffer(s.stream, b);
}

void onParamChanged(void* self, uint32_t id, const spa_pod* param) {
    auto& s = *static_cast<Source*>(self);
    if (!param || id != SPA_PARAM_Format) return;
    uint8_t bytes[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(bytes, sizeof(bytes));
    const int stride = s.width * 4;
    const uint32_t cursorSize =
        uint32_t(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + pointerSide * pointerSide * 4);
    const spa_pod* params[3];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
        SPA_POD_Int(stride * s.height), SPA_PARAM_BUFFERS_stride, SPA_POD_Int(stride),
        SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd)));
    params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
        SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
    params[2] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Cursor),
        SPA_PARAM_META_size, SPA_POD_Int(cursorSize)));
    pw_stream_update_params(s.stream, params, 3);
}

void onStateChanged(void* self, pw_stream_state, pw_stream_state state, const char*) {
    auto& s = *static_cast<Source*>(self);
    if (state == PW_STREAM_STATE_PAUSED && !s.announced) {
        // Written whole and then renamed, so that a reader never sees half a number.
        const std::string partial = s.nodeFile + ".part";
        if (FILE* f = std::fopen(partial.c_str(), "w")) {
            std::fprintf(f, "%u\n", pw_stream_get_node_id(s.stream));
            std::fclose(f);
            std::rename(partial.c_str(), s.nodeFile.c_str());
        }
        s.announced = true;
    }
    if (state == PW_STREAM_STATE_STREAMING) {
        // The first picture a moment after the link is made, so that the reader is there for it.
        timespec first{0, 200'000'000}, every{0, 1'000'000'000 / 30};
        pw_loop_update_timer(pw_main_loop_get_loop(s.loop), s.timer, &first, &every, false);
    }
}

void onTimer(void* self, uint64_t) {
    auto& s = *static_cast<Source*>(self);
    if (s.framesLeft == 0) return;
    if (s.framesLeft > 0) --s.framesLeft;
    pw_stream_trigger_process(s.stream);
}

} // namespace

int main(int argc, char** argv) {
    Source s;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        const char* value = argv[i + 1];
        if (option == "--size")
            std::sscanf(value, "%dx%d", &s.width, &s.height);
        else if (option == "--frames")
            s.framesLeft = std::atoi(value);
        else if (option == "--pointer")
            std::sscanf(value, "%d,%d", &s.pointerX, &s.pointerY);
        else if (option == "--node-file")
            s.nodeFile = value;
    }
    if (s.nodeFile.empty()) {
        std::fprintf(stderr, "pipewire_source: --node-file is needed\n");
        return 2;
    }
    pw_init(&argc, &argv);
    s.loop = pw_main_loop_new(nullptr);
    s.timer = pw_loop_add_timer(pw_main_loop_get_loop(s.loop), onTimer, &s);
    s.stream = pw_stream_new_simple(
        pw_main_loop_get_loop(s.loop), "pictavia-test-screen",
        pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_TYPE, "Video",
                          PW_KEY_MEDIA_CATEGORY, "Source", PW_KEY_MEDIA_ROLE, "Screen", nullptr),
        [] {
            static pw_stream_events events{};
            events.version = PW_VERSION_STREAM_EVENTS;
            events.param_changed = onParamChanged;
            events.state_changed = onStateChanged;
            events.process = [](void* self) { produce(*static_cast<Source*>(self)); };
            return &events;
        }(),
        &s);
    uint8_t bytes[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(bytes, sizeof(bytes));
    const spa_rectangle size{uint32_t(s.width), uint32_t(s.height)};
    const spa_fraction rate{0, 1};
    const spa_fraction maxRate{30, 1};
    const spa_pod* params[1];
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_size,
        SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate),
        SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_Fraction(&maxRate)));
    if (pw_stream_connect(s.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                          pw_stream_flags(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS), params,
                          1) < 0) {
        std::fprintf(stderr, "pipewire_source: cannot connect to PipeWire\n");
        return 1;
    }
    pw_main_loop_run(s.loop);
    pw_stream_destroy(s.stream);
    pw_main_loop_destroy(s.loop);
    pw_deinit();
    return 0;
}
