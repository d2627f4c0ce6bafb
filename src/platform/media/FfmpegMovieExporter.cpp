#include "platform/media/FfmpegMovieExporter.h"

#include "platform/media/FfmpegEncoding.h"
#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSource.h"
#include "platform/media/FfmpegPictureQueue.h"
#include "platform/media/FfmpegSoundTrack.h"
#include "platform/media/LayeredComposer.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace platform::media {

namespace {

// Timestamps rounded to their time bases land this close to where they were meant.
constexpr double tolerance = 0.001;
// Pictures read ahead of the encoder: enough to ride out a slow frame, few enough to keep
// 1080p memory small.
constexpr size_t queueLength = 4;

Error cancelled() {
    return Error{QStringLiteral("The export was cancelled."), Error{}.domain, MovieExporter::Cancelled};
}

Error writeFailed(const QString& file, int code) {
    return Error{QStringLiteral("Cannot write the movie %1: %2").arg(shownName(file), ffmpegError(code))};
}

// Where the movie's clock starts, in seconds of its video stream: at the first picture. (The
// file's own start can lie earlier, where an AAC encoder's priming samples begin.)
double clockStart(const MovieSource& source) {
    const int64_t start = source.video->start_time;
    return start == AV_NOPTS_VALUE ? 0 : double(start) * av_q2d(source.video->time_base);
}

double lengthOf(const AVFormatContext* format) {
    return format->duration > 0 ? double(format->duration) / AV_TIME_BASE : 0;
}

// Seconds on the movie's clock at which a decoded picture is shown; none without a time.
std::optional<double> shownAt(const MovieSource& source, const AVFrame* frame) {
    const int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) return std::nullopt;
    return double(pts) * av_q2d(source.video->time_base) - clockStart(source);
}

// Moves the reading position to the key frame at or before `seconds`.
void seekTo(const MovieSource& source, double seconds) {
    if (seconds <= 0) return;
    const auto target = int64_t((seconds + clockStart(source)) / av_q2d(source.video->time_base));
    if (av_seek_frame(source.format.get(), source.video->index, target, AVSEEK_FLAG_BACKWARD) >= 0)
        avcodec_flush_buffers(source.decoder.get());
}

bool isMov(const QString& file) {
    return QFileInfo(file).suffix().compare(QStringLiteral("mov"), Qt::CaseInsensitive) == 0;
}

// A new QuickTime or MPEG-4 file, by the destination's extension.
Result<OutputHandle> createOutput(const QString& destination) {
    AVFormatContext* raw = nullptr;
    const QByteArray path = QFile::encodeName(destination);
    const int code =
        avformat_alloc_output_context2(&raw, nullptr, isMov(destination) ? "mov" : "mp4", path.constData());
    if (code < 0) return writeFailed(destination, code);
    return OutputHandle(raw);
}

// Opens the file and writes the header; an MPEG-4 gets its index in front, for players that
// start before the whole file has arrived.
Result<bool> startOutput(AVFormatContext* output, const QString& destination) {
    const QByteArray path = QFile::encodeName(destination);
    int code = avio_open(&output->pb, path.constData(), AVIO_FLAG_WRITE);
    if (code < 0) return writeFailed(destination, code);
    AVDictionary* options = nullptr;
    if (!isMov(destination)) av_dict_set(&options, "movflags", "+faststart", 0);
    code = avformat_write_header(output, &options);
    av_dict_free(&options);
    return code < 0 ? Result<bool>(writeFailed(destination, code)) : Result<bool>(true);
}

Result<bool> finishOutput(AVFormatContext* output, const QString& destination) {
    if (const int code = av_write_trailer(output); code < 0) return writeFailed(destination, code);
    if (const int code = avio_closep(&output->pb); code < 0) return writeFailed(destination, code);
    return true;
}

// The camera movie played alongside: the picture it shows at each time asked, in order.
class CameraFollower {
public:
    explicit CameraFollower(MovieSource source)
        : m_source(std::move(source)), m_packet(av_packet_alloc()), m_next(av_frame_alloc()),
          m_latest(av_frame_alloc()) {}

    void seek(double seconds) { seekTo(m_source, seconds); }

    QImage at(double time) {
        while (!m_ended) {
            if (!m_hasNext && !decodeNext()) break;
            const auto shown = shownAt(m_source, m_next.get());
            if (shown && *shown > time + tolerance) break;
            av_frame_unref(m_latest.get());
            av_frame_move_ref(m_latest.get(), m_next.get());
            m_hasNext = false;
            m_changed = true;
        }
        if (m_changed) {
            // A new image each time: the last one may still be drawn on the other thread.
            QImage image;
            if (m_convert.convert(m_latest.get(), image)) m_current = image;
            m_changed = false;
        }
        return m_current;
    }

private:
    bool decodeNext() {
        for (;;) {
            const int code = avcodec_receive_frame(m_source.decoder.get(), m_next.get());
            if (code >= 0) return m_hasNext = true;
            if (code == AVERROR_EOF || m_flushed) {
                m_ended = true;
                return false;
            }
            if (av_read_frame(m_source.format.get(), m_packet.get()) < 0) {
                avcodec_send_packet(m_source.decoder.get(), nullptr);
                m_flushed = true;
                continue;
            }
            if (m_packet->stream_index == m_source.video->index)
                avcodec_send_packet(m_source.decoder.get(), m_packet.get());
            av_packet_unref(m_packet.get());
        }
    }

    MovieSource m_source;
    PacketHandle m_packet;
    FrameHandle m_next;
    FrameHandle m_latest;
    FrameToImage m_convert;
    QImage m_current;
    bool m_hasNext = false;
    bool m_changed = false;
    bool m_flushed = false;
    bool m_ended = false;
};

// One export: the reading thread fills the queue, the caller's thread empties it.
class Export {
public:
    Export(const ExportRequest& request, const MovieExporter::Draw& draw, const FrameLayers* layers = nullptr)
        : m_request(request), m_draw(draw), m_layers(layers), m_queue(queueLength) {}

    ~Export() { stopReader(); }
    Export(const Export&) = delete;
    Export& operator=(const Export&) = delete;

    Result<bool> run(const MovieExporter::Progress& progress) {
        if (auto prepared = prepare(); !prepared) return prepared;
        m_reader = std::thread([this] { read(); });
        const double from = std::max(m_request.start, 0.0);
        double to = lengthOf(m_source.format.get());
        if (m_request.end >= 0 && (to <= 0 || m_request.end < to)) to = m_request.end;
        bool any = false;
        while (auto picture = m_queue.pop()) {
            any = true;
            if (auto written = write(*picture); !written) return written;
            const double time = picture->time;
            m_queue.recycle(std::move(*picture));
            if (progress && to > from && !progress(std::clamp((time - from) / (to - from), 0.0, 1.0)))
                return cancelled();
        }
        stopReader();
        if (!m_failure.ok()) return m_failure;
        if (!any)
            return Error{
                QStringLiteral("“%1” has no pictures between %2 s and %3 s.")
                    .arg(shownName(m_request.source))
                    .arg(from)
                    .arg(m_request.end >= 0 ? QString::number(m_request.end) : QStringLiteral("its end"))};
        if (auto flushed = encode(nullptr); !flushed) return flushed;
        if (auto finished = finishOutput(m_output.get(), m_request.destination); !finished) return finished;
        if (progress) progress(1.0);
        return true;
    }

private:
    Result<bool> prepare() {
        auto source = openMovieSource(m_request.source);
        if (!source) return source.error();
        m_source = std::move(source).value();
        if (!m_request.camera.isEmpty()) {
            auto camera = openMovieSource(m_request.camera);
            if (!camera) return camera.error();
            m_camera.emplace(std::move(camera).value());
        }
        const AVCodecParameters* in = m_source.video->codecpar;
        m_size = m_request.size.isValid() && !m_request.size.isEmpty() ? m_request.size
                                                                       : QSize(in->width, in->height);
        m_size = QSize(std::max(2, m_size.width() & ~1), std::max(2, m_size.height() & ~1));

        auto output = createOutput(m_request.destination);
        if (!output) return output.error();
        m_output = std::move(output).value();
        if (auto opened = openEncoder(); !opened) return opened;
        if (!m_request.mute) {
            const int index =
                av_find_best_stream(m_source.format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
            if (index >= 0) {
                m_soundIndex = index;
                SoundTrack::Settings settings;
                settings.end = m_request.end;
                settings.volume = std::clamp(m_request.volume, 0.0, 2.0);
                settings.mono = m_request.mono;
                auto sound = SoundTrack::open(m_source.format->streams[index], clockStart(m_source),
                                              m_output.get(), settings);
                if (!sound) return sound.error();
                m_sound = std::move(sound).value();
            }
        }
        if (auto started = startOutput(m_output.get(), m_request.destination); !started) return started;
        if (m_layers) {
            m_composer.emplace(*m_layers, m_size);
        } else if (m_draw) {
            m_target = QImage(m_size, QImage::Format_RGB32);
            m_target.fill(Qt::black);
        }
        m_converted.reset(av_frame_alloc());
        m_converted->format = AV_PIX_FMT_YUV420P;
        m_converted->width = m_size.width();
        m_converted->height = m_size.height();
        if (const int code = av_frame_get_buffer(m_converted.get(), 0); code < 0)
            return writeFailed(m_request.destination, code);
        m_packet.reset(av_packet_alloc());
        seekTo(m_source, m_request.start);
        if (m_camera) m_camera->seek(m_request.start);
        return true;
    }

    Result<bool> openEncoder() {
        const bool hevc = m_request.hevc;
        const AVCodec* codec = avcodec_find_encoder_by_name(hevc ? "libx265" : "libx264");
        if (codec == nullptr)
            return Error{QStringLiteral("This FFmpeg has no %1 encoder.").arg(hevc ? "HEVC" : "H.264")};
        m_encoder.reset(avcodec_alloc_context3(codec));
        AVCodecContext* context = m_encoder.get();
        context->width = m_size.width();
        context->height = m_size.height();
        context->pix_fmt = AV_PIX_FMT_YUV420P;
        context->time_base = m_source.video->time_base;
        AVRational rate = av_guess_frame_rate(m_source.format.get(), m_source.video, nullptr);
        if (rate.num <= 0 || rate.den <= 0) rate = AVRational{30, 1};
        context->framerate = rate;
        context->gop_size = int(std::lround(5 * av_q2d(rate))); // a key frame every 5 s for seeking
        context->thread_count = 0;
        if ((m_output->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        AVDictionary* options = exportEncoderOptions(hevc);
        int code = avcodec_open2(context, codec, &options);
        av_dict_free(&options);
        if (code < 0) return writeFailed(m_request.destination, code);
        m_videoOut = avformat_new_stream(m_output.get(), nullptr);
        if (m_videoOut == nullptr) return writeFailed(m_request.destination, AVERROR(ENOMEM));
        m_videoOut->time_base = context->time_base;
        if ((code = avcodec_parameters_from_context(m_videoOut->codecpar, context)) < 0)
            return writeFailed(m_request.destination, code);
        if (hevc)
            m_videoOut->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1'); // what QuickTime players look for
        return true;
    }

    // The reading thread: pictures of the range into the queue, the sound straight to the file.
    void read() {
        const Result<bool> done = readAll();
        if (!done) {
            const std::lock_guard lock(m_muxing);
            m_failure = done;
        }
        m_queue.close();
    }

    Result<bool> readAll() {
        const PacketHandle packet(av_packet_alloc());
        const FrameHandle decoded(av_frame_alloc());
        const SoundTrack::Write toFile = [this](AVPacket* sound) { return mux(sound); };
        std::vector<PacketHandle> early; // sound read before the first picture's time is known
        bool videoDone = false;
        bool stopped = false;
        auto takePictures = [&]() -> Result<bool> {
            while (avcodec_receive_frame(m_source.decoder.get(), decoded.get()) >= 0) {
                const auto shown = shownAt(m_source, decoded.get());
                const double time = shown.value_or(m_lastTime + 1.0 / 30);
                const bool before = time < m_request.start - tolerance;
                const bool after = m_request.end >= 0 && time >= m_request.end - tolerance;
                if (after) videoDone = true;
                if (before || after || videoDone) {
                    av_frame_unref(decoded.get());
                    continue;
                }
                if (!m_origin) {
                    m_origin = time;
                    m_originPts =
                        decoded->best_effort_timestamp == AV_NOPTS_VALUE ? 0 : decoded->best_effort_timestamp;
                    if (m_sound) {
                        m_sound->setOrigin(time);
                        for (const PacketHandle& waiting : early)
                            if (auto added = m_sound->add(waiting.get(), toFile); !added) return added;
                        early.clear();
                    }
                }
                m_lastTime = time;
                auto picture = fill(decoded.get(), time);
                av_frame_unref(decoded.get());
                if (!picture) return picture.error();
                if (!m_queue.push(std::move(picture).value())) {
                    stopped = true;
                    return true;
                }
            }
            return true;
        };
        while (!stopped && !(videoDone && (!m_sound || m_sound->done()))) {
            if (av_read_frame(m_source.format.get(), packet.get()) < 0) break;
            Result<bool> handled = true;
            if (packet->stream_index == m_source.video->index) {
                if (!videoDone && avcodec_send_packet(m_source.decoder.get(), packet.get()) >= 0)
                    handled = takePictures();
            } else if (m_sound && packet->stream_index == m_soundIndex) {
                if (m_origin)
                    handled = m_sound->add(packet.get(), toFile);
                else
                    early.emplace_back(av_packet_clone(packet.get()));
            }
            av_packet_unref(packet.get());
            if (!handled) return handled;
        }
        if (stopped) return true;
        if (!videoDone) {
            avcodec_send_packet(m_source.decoder.get(), nullptr);
            if (auto taken = takePictures(); !taken) return taken;
        }
        if (m_sound && m_origin && !stopped) return m_sound->finish(toFile);
        return true;
    }

    // A queued picture for a decoded one: RGB32 for drawing, else 4:2:0 at the written size.
    Result<QueuedPicture> fill(const AVFrame* decoded, double time) {
        QueuedPicture picture = m_queue.spare();
        picture.time = time;
        const int64_t pts = decoded->best_effort_timestamp;
        picture.pts = pts == AV_NOPTS_VALUE ? m_nextPts : pts - m_originPts;
        if (picture.pts < m_nextPts) picture.pts = m_nextPts; // the encoder needs rising times
        m_nextPts = picture.pts + 1;
        if (m_camera) picture.camera = m_camera->at(time);
        const Error unconvertible{
            QStringLiteral("Cannot convert the frames of %1").arg(shownName(m_request.source))};
        if (m_layers) {
            if (!toPlanar(decoded, picture.frame.get())) return unconvertible;
            return picture;
        }
        if (m_draw) {
            if (!m_toImage.convert(decoded, picture.image)) return unconvertible;
            return picture;
        }
        AVFrame* frame = picture.frame.get();
        const int width = m_size.width();
        const int height = m_size.height();
        const bool planar = decoded->format == AV_PIX_FMT_YUV420P || decoded->format == AV_PIX_FMT_YUVJ420P;
        // The decoder's own picture when it has the size (an odd last row or column cut off).
        if (planar && decoded->width - width <= 1 && decoded->height - height <= 1 &&
            decoded->width >= width && decoded->height >= height) {
            av_frame_unref(frame);
            if (av_frame_ref(frame, decoded) < 0) return unconvertible;
            frame->width = width;
            frame->height = height;
            return picture;
        }
        if (frame->data[0] == nullptr || frame->buf[0] == nullptr || frame->width != width ||
            frame->height != height) {
            av_frame_unref(frame);
            frame->format = AV_PIX_FMT_YUV420P;
            frame->width = width;
            frame->height = height;
            if (av_frame_get_buffer(frame, 0) < 0) return unconvertible;
        } else if (av_frame_make_writable(frame) < 0) {
            return unconvertible;
        }
        if (planar) {
            libyuv::I420Scale(decoded->data[0], decoded->linesize[0], decoded->data[1], decoded->linesize[1],
                              decoded->data[2], decoded->linesize[2], decoded->width, decoded->height,
                              frame->data[0], frame->linesize[0], frame->data[1], frame->linesize[1],
                              frame->data[2], frame->linesize[2], width, height, libyuv::kFilterBilinear);
            return picture;
        }
        m_scaler.reset(sws_getCachedContext(m_scaler.release(), decoded->width, decoded->height,
                                            AVPixelFormat(decoded->format), width, height, AV_PIX_FMT_YUV420P,
                                            SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!m_scaler) return unconvertible;
        sws_scale(m_scaler.get(), decoded->data, decoded->linesize, 0, decoded->height, frame->data,
                  frame->linesize);
        return picture;
    }

    // `decoded` as limited-range 4:2:0 at its own size in `frame`: the decoder's picture itself
    // where it is that already.
    bool toPlanar(const AVFrame* decoded, AVFrame* frame) {
        av_frame_unref(frame);
        if (decoded->format == AV_PIX_FMT_YUV420P) return av_frame_ref(frame, decoded) >= 0;
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = decoded->width;
        frame->height = decoded->height;
        if (av_frame_get_buffer(frame, 0) < 0) return false;
        m_scaler.reset(sws_getCachedContext(m_scaler.release(), decoded->width, decoded->height,
                                            AVPixelFormat(decoded->format), decoded->width, decoded->height,
                                            AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!m_scaler) return false;
        sws_scale(m_scaler.get(), decoded->data, decoded->linesize, 0, decoded->height, frame->data,
                  frame->linesize);
        return true;
    }

    // The encoding thread's part of one picture: drawn, converted and encoded.
    Result<bool> write(QueuedPicture& picture) {
        AVFrame* frame = picture.frame.get();
        if (m_composer) {
            frame = m_converted.get();
            if (const int code = av_frame_make_writable(frame); code < 0)
                return writeFailed(m_request.destination, code);
            m_composer->compose(frame, picture.frame.get(), picture.time, picture.camera);
            av_frame_unref(picture.frame.get()); // the decoder's buffer goes back to it
        } else if (m_draw) {
            m_draw(m_target, picture.image, picture.time, picture.camera);
            frame = m_converted.get();
            if (const int code = av_frame_make_writable(frame); code < 0)
                return writeFailed(m_request.destination, code);
            libyuv::ARGBToI420(m_target.constBits(), int(m_target.bytesPerLine()), frame->data[0],
                               frame->linesize[0], frame->data[1], frame->linesize[1], frame->data[2],
                               frame->linesize[2], frame->width, frame->height);
        }
        frame->pts = picture.pts;
        frame->pict_type = AV_PICTURE_TYPE_NONE; // the encoder picks its own key frames
        return encode(frame);
    }

    Result<bool> encode(AVFrame* frame) {
        int code = avcodec_send_frame(m_encoder.get(), frame);
        if (code < 0 && code != AVERROR_EOF) return writeFailed(m_request.destination, code);
        while ((code = avcodec_receive_packet(m_encoder.get(), m_packet.get())) >= 0) {
            av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_videoOut->time_base);
            m_packet->stream_index = m_videoOut->index;
            if (auto written = mux(m_packet.get()); !written) return written;
        }
        return code == AVERROR(EAGAIN) || code == AVERROR_EOF ? Result<bool>(true)
                                                              : writeFailed(m_request.destination, code);
    }

    // Both threads write packets; the muxer interleaves them by time.
    Result<bool> mux(AVPacket* packet) {
        const std::lock_guard lock(m_muxing);
        if (const int code = av_interleaved_write_frame(m_output.get(), packet); code < 0)
            return writeFailed(m_request.destination, code);
        return true;
    }

    void stopReader() {
        m_queue.abort();
        if (m_reader.joinable()) m_reader.join();
    }

    const ExportRequest& m_request;
    const MovieExporter::Draw& m_draw;
    const FrameLayers* m_layers;
    MovieSource m_source;
    std::optional<CameraFollower> m_camera;
    QSize m_size;
    OutputHandle m_output;
    CodecHandle m_encoder;
    AVStream* m_videoOut = nullptr;
    std::unique_ptr<SoundTrack> m_sound;
    int m_soundIndex = -1;
    PictureQueue m_queue;
    std::thread m_reader;
    std::mutex m_muxing;
    Result<bool> m_failure = true;

    // The reading thread's.
    FrameToImage m_toImage;
    ScalerHandle m_scaler;
    std::optional<double> m_origin;
    int64_t m_originPts = 0;
    int64_t m_nextPts = 0;
    double m_lastTime = 0;

    // The encoding thread's.
    std::optional<LayeredComposer> m_composer;
    QImage m_target;
    FrameHandle m_converted;
    PacketHandle m_packet;
};

} // namespace

FfmpegMovieExporter::FfmpegMovieExporter() {
    quietFfmpegLog();
}

Result<bool> FfmpegMovieExporter::exportMovie(const ExportRequest& request, const Draw& draw,
                                              const Progress& progress) {
    Result<bool> done = true;
    {
        Export job(request, draw);
        done = job.run(progress);
    } // the file is closed before a failed one is removed
    if (!done) QFile::remove(request.destination);
    return done;
}

Result<bool> FfmpegMovieExporter::exportLayered(const ExportRequest& request, const FrameLayers& layers,
                                                const Progress& progress) {
    Result<bool> done = true;
    {
        const Draw none;
        Export job(request, none, &layers);
        done = job.run(progress);
    } // the file is closed before a failed one is removed
    if (!done) QFile::remove(request.destination);
    return done;
}

Result<bool> FfmpegMovieExporter::downmixToMono(const QString& source, const QString& destination) {
    auto opened = openMovieSource(source);
    if (!opened) return opened.error();
    const MovieSource input = std::move(opened).value();
    Result<bool> done = [&]() -> Result<bool> {
        auto created = createOutput(destination);
        if (!created) return created.error();
        const OutputHandle output = std::move(created).value();
        AVFormatContext* format = input.format.get();
        std::vector<AVStream*> copied(format->nb_streams, nullptr);
        copied[size_t(input.video->index)] = avformat_new_stream(output.get(), nullptr);
        AVStream* video = copied[size_t(input.video->index)];
        if (video == nullptr) return writeFailed(destination, AVERROR(ENOMEM));
        if (const int code = avcodec_parameters_copy(video->codecpar, input.video->codecpar); code < 0)
            return writeFailed(destination, code);
        video->codecpar->codec_tag =
            input.video->codecpar->codec_id == AV_CODEC_ID_HEVC ? MKTAG('h', 'v', 'c', '1') : 0;
        video->time_base = input.video->time_base;
        std::unique_ptr<SoundTrack> sound;
        const int soundIndex = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
        if (soundIndex >= 0) {
            SoundTrack::Settings settings;
            settings.mono = true;
            auto track =
                SoundTrack::open(format->streams[soundIndex], clockStart(input), output.get(), settings);
            if (!track) return track.error();
            sound = std::move(track).value();
        }
        if (auto started = startOutput(output.get(), destination); !started) return started;
        const SoundTrack::Write toFile = [&](AVPacket* packet) -> Result<bool> {
            if (const int code = av_interleaved_write_frame(output.get(), packet); code < 0)
                return writeFailed(destination, code);
            return true;
        };
        const PacketHandle packet(av_packet_alloc());
        while (av_read_frame(format, packet.get()) >= 0) {
            Result<bool> handled = true;
            if (packet->stream_index == input.video->index) {
                av_packet_rescale_ts(packet.get(), input.video->time_base, video->time_base);
                packet->stream_index = video->index;
                packet->pos = -1;
                handled = toFile(packet.get());
            } else if (sound && packet->stream_index == soundIndex) {
                handled = sound->add(packet.get(), toFile);
            }
            av_packet_unref(packet.get());
            if (!handled) return handled;
        }
        if (sound)
            if (auto finished = sound->finish(toFile); !finished) return finished;
        return finishOutput(output.get(), destination);
    }();
    if (!done) QFile::remove(destination);
    return done;
}

Result<bool> FfmpegMovieExporter::sampleFrames(const QString& source, double start, double end, double fps,
                                               const std::function<bool(const QImage&, double)>& frame) {
    if (fps <= 0) return Error{QStringLiteral("Frames are taken at a rate above 0 a second.")};
    auto opened = openMovieSource(source);
    if (!opened) return opened.error();
    const MovieSource input = std::move(opened).value();
    start = std::max(start, 0.0);
    seekTo(input, start);
    AVRational rate = av_guess_frame_rate(input.format.get(), input.video, nullptr);
    const double frameLength = rate.num > 0 && rate.den > 0 ? 1.0 / av_q2d(rate) : 1.0 / 30;
    const double step = 1.0 / fps;
    const auto inRange = [&](double time) { return end < 0 || time < end - tolerance; };

    // Each sample shows the latest picture at or before its time.
    int index = 0;
    const auto sampleTime = [&] { return start + index * step; };
    const FrameHandle shown(av_frame_alloc());
    const FrameHandle decoded(av_frame_alloc());
    bool haveShown = false;
    double shownTime = 0;
    QImage image;
    bool converted = false;
    FrameToImage toImage;
    const auto emitUntil = [&](double limit) -> Result<bool> {
        while (sampleTime() < limit - tolerance && inRange(sampleTime())) {
            if (!converted && !toImage.convert(shown.get(), image))
                return Error{QStringLiteral("Cannot convert the frames of %1").arg(shownName(source))};
            converted = true;
            if (!frame(image, sampleTime())) return cancelled();
            ++index;
        }
        return true;
    };
    const auto takeFrames = [&]() -> Result<bool> {
        while (avcodec_receive_frame(input.decoder.get(), decoded.get()) >= 0) {
            const double time = shownAt(input, decoded.get()).value_or(shownTime + frameLength);
            if (haveShown && time > sampleTime() + tolerance)
                if (auto emitted = emitUntil(time); !emitted) return emitted;
            av_frame_unref(shown.get());
            av_frame_move_ref(shown.get(), decoded.get());
            shownTime = time;
            converted = false;
            // Samples before the first picture show it.
            if (!haveShown) {
                haveShown = true;
                if (auto emitted = emitUntil(time); !emitted) return emitted;
            }
        }
        return true;
    };
    const PacketHandle packet(av_packet_alloc());
    while (inRange(sampleTime()) && av_read_frame(input.format.get(), packet.get()) >= 0) {
        Result<bool> taken = true;
        if (packet->stream_index == input.video->index &&
            avcodec_send_packet(input.decoder.get(), packet.get()) >= 0)
            taken = takeFrames();
        av_packet_unref(packet.get());
        if (!taken) return taken;
    }
    if (inRange(sampleTime())) {
        avcodec_send_packet(input.decoder.get(), nullptr);
        if (auto taken = takeFrames(); !taken) return taken;
        if (!haveShown) return Error{QStringLiteral("“%1” has no pictures to show.").arg(shownName(source))};
        if (auto emitted = emitUntil(shownTime + frameLength); !emitted) return emitted;
    }
    return true;
}

} // namespace platform::media
