#include "platform/media/FfmpegMovieSource.h"

#include <QFile>
#include <QFileInfo>

#include <libyuv/convert_argb.h>

namespace platform::media {

QString shownName(const QString& file) {
    return QFileInfo(file).fileName();
}

Result<InputHandle> openInput(const QString& file) {
    const QFileInfo info(file);
    const Error unreadable{QStringLiteral("“%1” is not a video Pictavia can read.").arg(shownName(file))};
    if (!info.exists()) return Error{QStringLiteral("“%1” does not exist.").arg(shownName(file))};
    if (!info.isFile()) return unreadable;
    if (!info.isReadable())
        return Error{QStringLiteral("Pictavia is not allowed to read “%1”.").arg(shownName(file))};
    // Local files only: playlists and concat lists must not reach for the network.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* raw = nullptr;
    // The "file:" prefix keeps a name with a colon from being taken for another protocol.
    const QByteArray url = "file:" + QFile::encodeName(info.absoluteFilePath());
    const int opened = avformat_open_input(&raw, url.constData(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) return unreadable; // FFmpeg frees `raw` itself on failure
    InputHandle input(raw);
    if (avformat_find_stream_info(raw, nullptr) < 0) return unreadable;
    return input;
}

Result<MovieSource> openMovieSource(const QString& file) {
    auto input = openInput(file);
    if (!input) return input.error();
    const Error unreadable{QStringLiteral("“%1” is not a video Pictavia can read.").arg(shownName(file))};
    MovieSource source{std::move(input).value(), nullptr, nullptr};
    AVFormatContext* raw = source.format.get();
    const int index = av_find_best_stream(raw, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) return Error{QStringLiteral("“%1” has no video stream.").arg(shownName(file))};
    source.video = raw->streams[index];
    const AVCodec* codec = avcodec_find_decoder(source.video->codecpar->codec_id);
    if (codec == nullptr) return unreadable;
    source.decoder.reset(avcodec_alloc_context3(codec));
    if (avcodec_parameters_to_context(source.decoder.get(), source.video->codecpar) < 0) return unreadable;
    source.decoder->thread_count = 0;
    source.decoder->pkt_timebase = source.video->time_base;
    if (avcodec_open2(source.decoder.get(), codec, nullptr) < 0) return unreadable;
    return source;
}

bool FrameToImage::convert(const AVFrame* frame, QImage& image) {
    if (image.size() != QSize(frame->width, frame->height) || image.format() != QImage::Format_RGB32)
        image = QImage(frame->width, frame->height, QImage::Format_RGB32);
    if (image.isNull()) return false;
    if (frame->format == AV_PIX_FMT_YUV420P) {
        libyuv::I420ToARGB(frame->data[0], frame->linesize[0], frame->data[1], frame->linesize[1],
                           frame->data[2], frame->linesize[2], image.bits(), int(image.bytesPerLine()),
                           frame->width, frame->height);
        return true;
    }
    m_scaler.reset(sws_getCachedContext(m_scaler.release(), frame->width, frame->height,
                                        AVPixelFormat(frame->format), frame->width, frame->height,
                                        AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_scaler) return false;
    uint8_t* target[1] = {image.bits()};
    const int stride[1] = {int(image.bytesPerLine())};
    sws_scale(m_scaler.get(), frame->data, frame->linesize, 0, frame->height, target, stride);
    return true;
}

} // namespace platform::media
