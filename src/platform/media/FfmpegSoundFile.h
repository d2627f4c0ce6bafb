#pragma once

#include "common/Result.h"
#include "platform/media/FfmpegHandles.h"
#include "platform/media/FfmpegMovieSource.h"

#include <QString>

#include <vector>

namespace platform::media {

// A sound file written from mono float samples: 16-bit WAV or FLAC, by its extension.
class SoundFileWriter {
public:
    Result<bool> open(const QString& path, int rate);
    Result<bool> add(const float* samples, qsizetype count);
    // Writes the rest and closes the file.
    Result<bool> finish();

private:
    Error failed(int code) const;
    Result<bool> encode(int count);

    QString m_path;
    OutputHandle m_output;
    CodecHandle m_encoder;
    AVStream* m_stream = nullptr;
    FrameHandle m_frame;
    PacketHandle m_packet;
    std::vector<int16_t> m_pending;
    int m_frameSize = 4096;
    qint64 m_written = 0;
};

} // namespace platform::media
