#include "platform/media/FfmpegHandles.h"
#include "platform/media/VoiceDenoiser.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>

namespace platform::media {

namespace {

constexpr int sampleRate = 48'000;
constexpr int pieceSize = 4096; // samples handed to the filter at a time

struct FreeGraph {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

Error failed(int code) {
    return Error{QStringLiteral("Cannot clean the voice: %1").arg(ffmpegError(code))};
}

class SpectralDenoiser final : public VoiceDenoiser {
public:
    Result<bool> open(const char* filter) {
        m_graph.reset(avfilter_graph_alloc());
        m_frame.reset(av_frame_alloc());
        if (!m_graph || !m_frame) return failed(AVERROR(ENOMEM));
        m_graph->nb_threads = 1;
        const QByteArray source = QStringLiteral("sample_rate=%1:sample_fmt=flt:channel_layout=mono:time_base=1/%1")
                                      .arg(sampleRate)
                                      .toLatin1();
        int code = avfilter_graph_create_filter(&m_source, avfilter_get_by_name("abuffer"), "in",
                                                source.constData(), nullptr, m_graph.get());
        if (code < 0) return failed(code);
        code = avfilter_graph_create_filter(&m_sink, avfilter_get_by_name("abuffersink"), "out", nullptr, nullptr,
                                            m_graph.get());
        if (code < 0) return failed(code);
        const AVSampleFormat formats[] = {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_NONE};
        code = av_opt_set_int_list(m_sink, "sample_fmts", formats, AV_SAMPLE_FMT_NONE, AV_OPT_SEARCH_CHILDREN);
        if (code < 0) return failed(code);
        AVFilterInOut* outputs = avfilter_inout_alloc();
        AVFilterInOut* inputs = avfilter_inout_alloc();
        outputs->name = av_strdup("in");
        outputs->filter_ctx = m_source;
        inputs->name = av_strdup("out");
        inputs->filter_ctx = m_sink;
        code = avfilter_graph_parse_ptr(m_graph.get(), filter, &inputs, &outputs, nullptr);
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
        if (code < 0) return failed(code);
        if ((code = avfilter_graph_config(m_graph.get(), nullptr)) < 0) return failed(code);
        return true;
    }

    Result<bool> add(const float* samples, qsizetype count, std::vector<float>& out) override {
        for (qsizetype done = 0; done < count;) {
            const int piece = int(std::min<qsizetype>(pieceSize, count - done));
            av_frame_unref(m_frame.get());
            m_frame->format = AV_SAMPLE_FMT_FLT;
            m_frame->sample_rate = sampleRate;
            m_frame->nb_samples = piece;
            av_channel_layout_default(&m_frame->ch_layout, 1);
            if (const int code = av_frame_get_buffer(m_frame.get(), 0); code < 0) return failed(code);
            std::copy_n(samples + done, piece, reinterpret_cast<float*>(m_frame->data[0]));
            m_frame->pts = m_fed;
            m_fed += piece;
            done += piece;
            if (const int code = av_buffersrc_add_frame(m_source, m_frame.get()); code < 0) return failed(code);
            if (auto taken = take(out); !taken) return taken;
        }
        return true;
    }

    Result<bool> finish(std::vector<float>& out) override {
        if (const int code = av_buffersrc_add_frame(m_source, nullptr); code < 0) return failed(code);
        if (auto taken = take(out); !taken) return taken;
        // The filter keeps the length; should it not, the end is padded or cut to match.
        out.resize(size_t(qsizetype(out.size()) + (m_fed - m_given)), 0.0f);
        return true;
    }

private:
    Result<bool> take(std::vector<float>& out) {
        for (;;) {
            av_frame_unref(m_frame.get());
            const int code = av_buffersink_get_frame(m_sink, m_frame.get());
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return true;
            if (code < 0) return failed(code);
            const auto* data = reinterpret_cast<const float*>(m_frame->data[0]);
            out.insert(out.end(), data, data + m_frame->nb_samples);
            m_given += m_frame->nb_samples;
        }
    }

    std::unique_ptr<AVFilterGraph, FreeGraph> m_graph;
    AVFilterContext* m_source = nullptr;
    AVFilterContext* m_sink = nullptr;
    FrameHandle m_frame;
    qint64 m_fed = 0;
    qint64 m_given = 0;
};

} // namespace

Result<std::unique_ptr<VoiceDenoiser>> spectralDenoiser(const char* filter) {
    auto denoiser = std::make_unique<SpectralDenoiser>();
    if (auto opened = denoiser->open(filter); !opened) return opened.error();
    return std::unique_ptr<VoiceDenoiser>(std::move(denoiser));
}

} // namespace platform::media
