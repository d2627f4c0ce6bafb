#include "platform/media/FfmpegCameras.h"

#include "platform/media/FfmpegLog.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>

namespace platform::media {

namespace {

const AVInputFormat* v4l2() {
    static const AVInputFormat* format = [] {
        avdevice_register_all();
        return av_find_input_format("video4linux2");
    }();
    return format;
}

Error noCamera() {
    return Error{QStringLiteral("No camera is connected.")};
}

// The sentence for a camera that would not open.
Error openFailed(const CameraInfo& camera, int code) {
    if (code == AVERROR(EBUSY))
        return Error{QStringLiteral("The camera “%1” is in use by another program.").arg(camera.name)};
    if (code == AVERROR(EACCES) || code == AVERROR(EPERM))
        return Error{QStringLiteral("Pictavia is not allowed to use the camera “%1”.").arg(camera.name)};
    if (code == AVERROR(ENOENT) || code == AVERROR(ENODEV) || code == AVERROR(ENXIO)) return noCamera();
    return Error{QStringLiteral("The camera “%1” could not be started.").arg(camera.name)};
}

class FfmpegCamera final : public Camera {
public:
    explicit FfmpegCamera(CameraInfo info) : m_info(std::move(info)) {}
    ~FfmpegCamera() override { FfmpegCamera::stop(); }

    Result<bool> start(const CameraSettings& settings, FrameHandler onFrame, ErrorHandler onError) override {
        stop();
        // The settings are wishes: a camera without that size or rate is opened as it is.
        AVFormatContext* format = openDevice(&settings);
        if (format == nullptr && (m_lastError == AVERROR(EINVAL) || m_lastError == AVERROR(EIO)))
            format = openDevice(nullptr);
        if (format == nullptr) return openFailed(m_info, m_lastError);
        if (avformat_find_stream_info(format, nullptr) < 0 || format->nb_streams < 1) {
            avformat_close_input(&format);
            return openFailed(m_info, AVERROR(EIO));
        }
        AVStream* stream = format->streams[0];
        const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
        AVCodecContext* decoder = codec != nullptr ? avcodec_alloc_context3(codec) : nullptr;
        if (decoder == nullptr || avcodec_parameters_to_context(decoder, stream->codecpar) < 0 ||
            avcodec_open2(decoder, codec, nullptr) < 0) {
            avcodec_free_context(&decoder);
            avformat_close_input(&format);
            return Error{
                QStringLiteral("The camera “%1” sends pictures Pictavia cannot read.").arg(m_info.name)};
        }
        m_stopping = false;
        m_thread = std::thread(
            [this, format, decoder, onFrame = std::move(onFrame), onError = std::move(onError)]() mutable {
                run(format, decoder, onFrame, onError);
                avcodec_free_context(&decoder);
                avformat_close_input(&format);
            });
        return true;
    }

    void stop() override {
        m_stopping = true;
        if (m_thread.joinable()) m_thread.join();
    }

private:
    AVFormatContext* openDevice(const CameraSettings* settings) {
        AVDictionary* options = nullptr;
        if (settings != nullptr) {
            av_dict_set(
                &options, "video_size",
                QStringLiteral("%1x%2").arg(settings->size.width()).arg(settings->size.height()).toUtf8(), 0);
            av_dict_set_int(&options, "framerate", settings->fps, 0);
            // Compressed pictures leave the USB bus room for 30 a second at this size.
            av_dict_set(&options, "input_format", "mjpeg", 0);
        }
        AVFormatContext* format = avformat_alloc_context();
        format->interrupt_callback = AVIOInterruptCB{&FfmpegCamera::interrupted, this};
        m_lastError =
            avformat_open_input(&format, QFile::encodeName(m_info.id).constData(), v4l2(), &options);
        av_dict_free(&options);
        if (m_lastError < 0 && settings != nullptr && m_lastError != AVERROR(EBUSY) &&
            m_lastError != AVERROR(ENOENT) && m_lastError != AVERROR(EACCES)) {
            // Not every camera speaks MJPEG: ask again for the size alone.
            AVDictionary* plain = nullptr;
            av_dict_set(
                &plain, "video_size",
                QStringLiteral("%1x%2").arg(settings->size.width()).arg(settings->size.height()).toUtf8(), 0);
            format = avformat_alloc_context();
            format->interrupt_callback = AVIOInterruptCB{&FfmpegCamera::interrupted, this};
            m_lastError =
                avformat_open_input(&format, QFile::encodeName(m_info.id).constData(), v4l2(), &plain);
            av_dict_free(&plain);
        }
        return m_lastError < 0 ? nullptr : format;
    }

    static int interrupted(void* self) { return static_cast<FfmpegCamera*>(self)->m_stopping ? 1 : 0; }

    void run(AVFormatContext* format, AVCodecContext* decoder, const FrameHandler& onFrame,
             const ErrorHandler& onError) {
        AVPacket* packet = av_packet_alloc();
        AVFrame* frame = av_frame_alloc();
        SwsContext* scaler = nullptr;
        while (!m_stopping) {
            const int read = av_read_frame(format, packet);
            if (read == AVERROR(EAGAIN)) continue;
            if (read < 0) {
                if (!m_stopping && onError)
                    onError(Error{QStringLiteral("The camera “%1” stopped.").arg(m_info.name)});
                break;
            }
            // Stamped on arrival with the clock screen frames and sound use; the driver's
            // own stamps follow whichever clock the driver picked.
            const qint64 time = std::chrono::duration_cast<std::chrono::microseconds>(
                                    std::chrono::steady_clock::now().time_since_epoch())
                                    .count();
            if (avcodec_send_packet(decoder, packet) >= 0) {
                while (avcodec_receive_frame(decoder, frame) >= 0) {
                    QImage image(frame->width, frame->height, QImage::Format_RGB32);
                    scaler = sws_getCachedContext(scaler, frame->width, frame->height,
                                                  AVPixelFormat(frame->format), frame->width, frame->height,
                                                  AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr);
                    if (scaler != nullptr && !image.isNull()) {
                        uint8_t* target[1] = {image.bits()};
                        const int stride[1] = {int(image.bytesPerLine())};
                        sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, target, stride);
                        onFrame(image, time);
                    }
                    av_frame_unref(frame);
                }
            }
            av_packet_unref(packet);
        }
        sws_freeContext(scaler);
        av_frame_free(&frame);
        av_packet_free(&packet);
    }

    CameraInfo m_info;
    std::thread m_thread;
    std::atomic<bool> m_stopping{false};
    int m_lastError = 0;
};

} // namespace

FfmpegCameras::FfmpegCameras() {
    quietFfmpegLog();
}

QList<CameraInfo> FfmpegCameras::list() {
    QList<CameraInfo> cameras;
    if (v4l2() == nullptr) return cameras;
    // The device lister keeps only video capture devices (not the metadata nodes a UVC
    // camera also has) and gives each its driver's card name.
    AVDeviceInfoList* devices = nullptr;
    if (avdevice_list_input_sources(v4l2(), nullptr, nullptr, &devices) >= 0 && devices != nullptr) {
        for (int i = 0; i < devices->nb_devices; ++i) {
            const AVDeviceInfo* device = devices->devices[i];
            CameraInfo camera;
            camera.id = QString::fromUtf8(device->device_name);
            camera.name = device->device_description != nullptr && *device->device_description != '\0'
                              ? QString::fromUtf8(device->device_description)
                              : camera.id;
            cameras.append(camera);
        }
    }
    avdevice_free_list_devices(&devices);
    return cameras;
}

Result<std::unique_ptr<Camera>> FfmpegCameras::open(const QString& id) {
    const QList<CameraInfo> cameras = list();
    if (cameras.isEmpty()) return noCamera();
    for (const CameraInfo& camera : cameras)
        if (id.isEmpty() || camera.id == id)
            return std::unique_ptr<Camera>(std::make_unique<FfmpegCamera>(camera));
    return Error{QStringLiteral("The chosen camera is not connected.")};
}

} // namespace platform::media
