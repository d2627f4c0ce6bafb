#include "recording/CursorRecorder.h"
#include "common/PngBytes.h"

#include <QBuffer>
#include <QCryptographicHash>

#include <cmath>

CursorRecorder::CursorRecorder(RecordingRegion& region, std::function<double()> elapsed,
                               std::function<bool()> isRunning, bool captureShapes,
                               platform::ScreenBackend& screen, QObject* parent)
    : QObject(parent), m_region(region), m_elapsed(std::move(elapsed)), m_isRunning(std::move(isRunning)),
      m_captureShapes(captureShapes), m_screen(screen) {
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(1000 / samplesPerSecond);
    connect(&m_timer, &QTimer::timeout, this, &CursorRecorder::sample);
}

void CursorRecorder::start() {
    m_timer.start();
    sample();
}

CursorRecorder::Track CursorRecorder::stop() {
    m_timer.stop();
    m_end = m_elapsed();
    return {m_samples, m_shapes};
}

void CursorRecorder::sample() {
    if (!m_isRunning() || m_samples.size() >= maxSamples) return;
    ++m_tick;
    if (m_captureShapes && m_tick % 6 == 1) m_lastShape = currentShape();
    m_region.refresh();
    const QPointF place = m_region.normalized(m_screen.pointerPosition());
    const double time = m_elapsed();
    if (!m_samples.isEmpty()) {
        const CursorSample& last = m_samples.constLast();
        if (std::abs(last.x - place.x()) < stillDistance && std::abs(last.y - place.y()) < stillDistance &&
            last.shape == m_lastShape && time - last.time < restInterval)
            return;
    }
    m_samples.append({time, place.x(), place.y(), m_lastShape});
}

int CursorRecorder::currentShape() {
    const auto cursor = m_screen.cursor();
    if (!cursor || cursor->image.isNull()) return m_lastShape;
    if (cursor->serial != 0)
        if (const auto known = m_shapeBySerial.constFind(cursor->serial); known != m_shapeBySerial.cend())
            return *known;
    // The same picture under another serial (toolkits create cursors again) is one shape.
    const QImage image = cursor->image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(QByteArrayView(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()));
    hash.addData(QByteArray::number(cursor->hotSpot.x()) + ',' + QByteArray::number(cursor->hotSpot.y()) +
                 ',' + QByteArray::number(image.width()));
    const QByteArray key = hash.result();
    int index = m_shapeKeys.value(key, -1);
    if (index < 0) {
        const QByteArray png = pngBytes(image);
        index = int(m_shapes.size());
        m_shapes.append({png, double(image.width()), double(image.height()), double(cursor->hotSpot.x()),
                         double(cursor->hotSpot.y())});
        m_shapeKeys.insert(key, index);
    }
    if (cursor->serial != 0) m_shapeBySerial.insert(cursor->serial, index);
    return index;
}
