#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/audio_fifo.h>
}

#include <algorithm>
#include <cstdint>

namespace platform::media {

// Fills `frame` with the next frame's worth of `fifo` (planar float) for `encoder`, timed `pts`:
// the encoder's frame size, or at the end (`all`) whatever is left. Gives the number of samples
// taken, 0 when the fifo holds too few, or a negative FFmpeg error.
inline int takeSoundFrame(AVAudioFifo* fifo, AVCodecContext* encoder, AVFrame* frame, bool all, int64_t pts) {
    const int frameSize = encoder->frame_size > 0 ? encoder->frame_size : 1024;
    const int held = av_audio_fifo_size(fifo);
    if (held == 0 || (held < frameSize && !all)) return 0;
    const int count = std::min(frameSize, held);
    av_frame_unref(frame);
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->nb_samples = count;
    frame->sample_rate = encoder->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
    if (const int code = av_frame_get_buffer(frame, 0); code < 0) return code;
    av_audio_fifo_read(fifo, reinterpret_cast<void**>(frame->data), count);
    frame->pts = pts;
    return count;
}

} // namespace platform::media
