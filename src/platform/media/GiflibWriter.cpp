#include "platform/media/GiflibWriter.h"

#include <QFile>

#include <gif_lib.h>
#include <libimagequant.h>

#include <climits>
#include <optional>
#include <vector>

namespace platform::media {

namespace {

// Palettes: libimagequant's default speed, measured against slower settings on screen
// recordings (bench/gif.sh): the smaller files were not worth twice the time.
constexpr int quantizationSpeed = 4;
constexpr float ditheringLevel = 1.0F;
constexpr int maxDelay = 0xFFFF; // centiseconds, the field's limit

struct Attributes {
    liq_attr* attr = liq_attr_create();
    ~Attributes() { liq_attr_destroy(attr); }
};

// One frame, quantized and ready to write.
struct Frame {
    QRect rect;
    std::vector<GifByteType> indices;
    std::vector<GifColorType> palette;
    int transparentIndex = NO_TRANSPARENT_COLOR;
    int delay = 0;
};

Error gifError(const QString& path, int code) {
    return Error{
        QStringLiteral("Cannot write the GIF %1: %2").arg(path, QString::fromUtf8(GifErrorString(code)))};
}

class GiflibFile final : public GifFile {
public:
    GiflibFile(GifFileType* gif, QString path, QSize size)
        : m_gif(gif), m_path(std::move(path)), m_size(size) {
        liq_set_speed(m_attributes.attr, quantizationSpeed);
    }
    ~GiflibFile() override {
        if (m_gif == nullptr) return;
        int error = 0;
        EGifCloseFile(m_gif, &error);
        QFile::remove(m_path);
    }
    GiflibFile(const GiflibFile&) = delete;
    GiflibFile& operator=(const GiflibFile&) = delete;

    Result<bool> add(const QImage& input, int delayCentiseconds) override {
        if (m_gif == nullptr) return Error{QStringLiteral("The GIF %1 is already finished").arg(m_path)};
        QImage frame = input.size() == m_size
                           ? input
                           : input.scaled(m_size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        frame = frame.convertToFormat(QImage::Format_RGBA8888);
        const int delay = std::max(1, delayCentiseconds);
        const QRect changed = changedRect(frame);
        if (changed.isEmpty() && m_pending) {
            m_pending->delay = std::min(maxDelay, m_pending->delay + delay);
            return true;
        }
        const auto quantized = quantize(frame, changed.isEmpty() ? QRect(0, 0, 1, 1) : changed, delay);
        if (!quantized) return quantized.error();
        if (const auto written = writePending(); !written) return written;
        m_pending = *quantized;
        return true;
    }

    Result<bool> finish() override {
        if (m_gif == nullptr) return Error{QStringLiteral("The GIF %1 is already finished").arg(m_path)};
        if (!m_pending) return Error{QStringLiteral("The GIF %1 has no frames").arg(m_path)};
        if (const auto written = writePending(); !written) return written;
        int error = 0;
        const bool closed = EGifCloseFile(m_gif, &error) == GIF_OK;
        m_gif = nullptr;
        if (!closed) {
            QFile::remove(m_path);
            return gifError(m_path, error);
        }
        return true;
    }

private:
    // The bounding box of the pixels that differ from what the file shows so far; all of
    // the frame for the first one.
    QRect changedRect(const QImage& frame) const {
        if (m_reference.isNull()) return frame.rect();
        int left = frame.width(), right = -1, top = frame.height(), bottom = -1;
        for (int y = 0; y < frame.height(); ++y) {
            const auto* now = reinterpret_cast<const quint32*>(frame.constScanLine(y));
            const auto* before = reinterpret_cast<const quint32*>(m_reference.constScanLine(y));
            int first = 0;
            while (first < frame.width() && now[first] == before[first])
                ++first;
            if (first == frame.width()) continue;
            int last = frame.width() - 1;
            while (now[last] == before[last])
                --last;
            left = std::min(left, first);
            right = std::max(right, last);
            top = std::min(top, y);
            bottom = y;
        }
        return right < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
    }

    Result<Frame> quantize(const QImage& frame, const QRect& rect, int delay) {
        // Opaque where the picture changed, transparent where the file already shows it.
        QImage part = frame.copy(rect);
        const bool first = m_reference.isNull();
        for (int y = 0; y < part.height(); ++y) {
            auto* pixel = reinterpret_cast<quint32*>(part.scanLine(y));
            const auto* before =
                first ? nullptr
                      : reinterpret_cast<const quint32*>(m_reference.constScanLine(rect.top() + y)) +
                            rect.left();
            for (int x = 0; x < part.width(); ++x) {
                uchar* bytes = reinterpret_cast<uchar*>(pixel + x);
                if (before != nullptr && pixel[x] == before[x])
                    bytes[3] = 0;
                else
                    bytes[3] = 0xFF;
            }
        }
        liq_image* image =
            liq_image_create_rgba(m_attributes.attr, part.constBits(), part.width(), part.height(), 0);
        if (image == nullptr)
            return Error{QStringLiteral("Cannot make a palette for the GIF %1").arg(m_path)};
        liq_result* result = nullptr;
        Frame made{rect,
                   std::vector<GifByteType>(size_t(part.width()) * size_t(part.height())),
                   {},
                   NO_TRANSPARENT_COLOR,
                   delay};
        const bool remapped =
            liq_image_quantize(image, m_attributes.attr, &result) == LIQ_OK &&
            liq_set_dithering_level(result, ditheringLevel) == LIQ_OK &&
            liq_write_remapped_image(result, image, made.indices.data(), made.indices.size()) == LIQ_OK;
        if (remapped) {
            const liq_palette* palette = liq_get_palette(result);
            for (unsigned i = 0; i < palette->count; ++i) {
                const liq_color& color = palette->entries[i];
                made.palette.push_back({color.r, color.g, color.b});
                if (color.a == 0) made.transparentIndex = int(i);
            }
        }
        if (result != nullptr) liq_result_destroy(result);
        liq_image_destroy(image);
        if (!remapped) return Error{QStringLiteral("Cannot make a palette for the GIF %1").arg(m_path)};
        if (made.transparentIndex != NO_TRANSPARENT_COLOR) keepTransparencyExact(part, made);
        // What the file shows from now on, in the source's colours, so that small changes
        // are measured against the picture and never pile up unseen.
        if (first) {
            m_reference = frame;
        } else {
            for (int y = 0; y < part.height(); ++y) {
                const auto* pixel =
                    reinterpret_cast<const quint32*>(frame.constScanLine(rect.top() + y)) + rect.left();
                auto* before = reinterpret_cast<quint32*>(m_reference.scanLine(rect.top() + y)) + rect.left();
                std::copy(pixel, pixel + part.width(), before);
            }
        }
        return made;
    }

    // Dithering may carry a changed pixel onto the transparent entry, which would leave the
    // old picture showing there: such a pixel takes the nearest opaque colour instead.
    static void keepTransparencyExact(const QImage& part, Frame& frame) {
        const auto nearest = [&frame](QRgb color) {
            int best = 0, bestDistance = INT_MAX;
            for (int i = 0; i < int(frame.palette.size()); ++i) {
                if (i == frame.transparentIndex) continue;
                const GifColorType& entry = frame.palette[size_t(i)];
                const int r = entry.Red - qRed(color), g = entry.Green - qGreen(color),
                          b = entry.Blue - qBlue(color);
                if (const int distance = r * r + g * g + b * b; distance < bestDistance) {
                    best = i;
                    bestDistance = distance;
                }
            }
            return GifByteType(best);
        };
        GifByteType* index = frame.indices.data();
        for (int y = 0; y < part.height(); ++y) {
            const uchar* pixel = part.constScanLine(y);
            for (int x = 0; x < part.width(); ++x, ++index, pixel += 4) {
                if (pixel[3] == 0)
                    *index = GifByteType(frame.transparentIndex);
                else if (*index == frame.transparentIndex)
                    *index = nearest(qRgb(pixel[0], pixel[1], pixel[2]));
            }
        }
    }

    Result<bool> writePending() {
        if (!m_pending) return true;
        const Frame frame = *std::exchange(m_pending, std::nullopt);
        GraphicsControlBlock control{};
        control.DisposalMode = DISPOSE_DO_NOT;
        control.UserInputFlag = false;
        control.DelayTime = frame.delay;
        control.TransparentColor = frame.transparentIndex;
        GifByteType extension[4];
        const size_t length = EGifGCBToExtension(&control, extension);
        // The colour table holds a power of two of entries.
        int tableSize = 2;
        while (tableSize < int(frame.palette.size()))
            tableSize *= 2;
        std::vector<GifColorType> colors = frame.palette;
        colors.resize(size_t(tableSize), GifColorType{0, 0, 0});
        ColorMapObject* map = GifMakeMapObject(tableSize, colors.data());
        std::vector<GifByteType> indices = frame.indices; // giflib takes them as writable
        const bool written =
            map != nullptr &&
            EGifPutExtension(m_gif, GRAPHICS_EXT_FUNC_CODE, int(length), extension) == GIF_OK &&
            EGifPutImageDesc(m_gif, frame.rect.left(), frame.rect.top(), frame.rect.width(),
                             frame.rect.height(), false, map) == GIF_OK &&
            EGifPutLine(m_gif, indices.data(), int(indices.size())) == GIF_OK;
        if (map != nullptr) GifFreeMapObject(map);
        if (!written) return gifError(m_path, m_gif->Error);
        return true;
    }

    GifFileType* m_gif;
    QString m_path;
    QSize m_size;
    Attributes m_attributes;
    QImage m_reference;
    std::optional<Frame> m_pending; // written when the next change comes, or at the end
};

} // namespace

Result<std::unique_ptr<GifFile>> GiflibWriter::create(const QString& path, QSize size) {
    if (size.width() < 1 || size.height() < 1 || size.width() > 0xFFFF || size.height() > 0xFFFF)
        return Error{QStringLiteral("A GIF cannot be %1×%2 pixels").arg(size.width()).arg(size.height())};
    int error = 0;
    GifFileType* gif = EGifOpenFileName(QFile::encodeName(path).constData(), false, &error);
    if (gif == nullptr) return gifError(path, error);
    EGifSetGifVersion(gif, true);
    // The screen, then the loop: the application extension that makes players repeat the
    // frames for ever (a count of 0).
    static const GifByteType loop[3] = {1, 0, 0};
    const bool started = EGifPutScreenDesc(gif, size.width(), size.height(), 8, 0, nullptr) == GIF_OK &&
                         EGifPutExtensionLeader(gif, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
                         EGifPutExtensionBlock(gif, 11, "NETSCAPE2.0") == GIF_OK &&
                         EGifPutExtensionBlock(gif, 3, loop) == GIF_OK &&
                         EGifPutExtensionTrailer(gif) == GIF_OK;
    if (!started) {
        const Error failure = gifError(path, gif->Error);
        EGifCloseFile(gif, &error);
        QFile::remove(path);
        return failure;
    }
    return std::unique_ptr<GifFile>(std::make_unique<GiflibFile>(gif, path, size));
}

} // namespace platform::media
