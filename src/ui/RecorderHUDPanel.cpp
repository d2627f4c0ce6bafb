#include "ui/RecorderHUDPanel.h"

#include "app/Prefs.h"
#include "ui/FloatingChrome.h"
#include "ui/WindowPlacement.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QToolButton>

namespace ui {

// The microphone's level as a short bar that fills from the left.
class LevelMeter : public QWidget {
public:
    explicit LevelMeter(QWidget* parent) : QWidget(parent) {
        setFixedSize(48, 8);
        setToolTip(QObject::tr("Microphone level"));
    }
    void setLevel(float level) {
        if (qFuzzyCompare(level + 1.0f, m_level + 1.0f)) return;
        m_level = level;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, 50));
        painter.drawRoundedRect(rect(), 3, 3);
        QRectF filled(rect());
        filled.setWidth(filled.width() * double(m_level));
        painter.setBrush(m_level > 0.9f ? QColor(235, 90, 70) : QColor(90, 210, 120));
        painter.drawRoundedRect(filled, 3, 3);
    }

private:
    float m_level = 0;
};

namespace {

QToolButton* button(QWidget* parent, const QString& text, const QString& tip) {
    auto* b = new QToolButton(parent);
    b->setText(text);
    b->setToolTip(tip);
    b->setFocusPolicy(Qt::NoFocus);
    b->setCursor(Qt::PointingHandCursor);
    return b;
}

} // namespace

RecorderHUDPanel::RecorderHUDPanel(std::unique_ptr<RecorderHUDModel> model)
    : QWidget(nullptr, placement::floating(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                           Qt::WindowDoesNotAcceptFocus)),
      m_model(std::move(model)) {
    setWindowTitle(QString::fromLatin1(title));
    chrome::styleControlBar(*this, QStringLiteral("recorderHUD"));

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(10, 6, 6, 6);
    row->setSpacing(6);
    m_dot = new QLabel(QStringLiteral("●"), this);
    m_time = new QLabel(this);
    // Wide enough for an hour and the word "paused", so the bar keeps its size.
    m_time->setMinimumWidth(
        m_time->fontMetrics().horizontalAdvance(tr("%1 paused").arg(QStringLiteral("0:00:00"))));
    row->addWidget(m_dot);
    row->addWidget(m_time);
    if (m_model->gif()) {
        m_frames = new QLabel(this);
        row->addWidget(m_frames);
    } else {
        m_meter = new LevelMeter(this);
        row->addWidget(m_meter);
    }
    m_camera = new QLabel(this);
    // Room for the camera's state from the start, so the bar keeps its size when it changes.
    m_camera->setMinimumWidth(m_camera->fontMetrics().horizontalAdvance(tr("Camera starting")));
    m_camera->setVisible(!m_model->gif() && Prefs::flag(QStringLiteral("recWebcam")));
    row->addWidget(m_camera);
    m_pause = button(this, tr("Pause"), tr("Pause or resume the recording"));
    QToolButton* stop = button(this, tr("Stop"), tr("Stop and keep the recording"));
    QToolButton* restart =
        button(this, tr("Restart"), tr("Stop this recording and start the same one again"));
    QToolButton* cancel = button(this, tr("Cancel"), tr("Stop and discard the recording"));
    for (QToolButton* b : {m_pause, stop, restart, cancel})
        row->addWidget(b);

    RecorderHUDModel* m = m_model.get();
    connect(m_pause, &QToolButton::clicked, m, &RecorderHUDModel::togglePause);
    connect(stop, &QToolButton::clicked, m, &RecorderHUDModel::stop);
    connect(restart, &QToolButton::clicked, m, &RecorderHUDModel::restart);
    connect(cancel, &QToolButton::clicked, m, &RecorderHUDModel::cancel);
    connect(m, &RecorderHUDModel::changed, this, &RecorderHUDPanel::refresh);
    // The bar keeps one size whether paused or not, so it never jumps under the pointer.
    m_pause->setText(tr("Resume"));
    m_pause->setMinimumWidth(m_pause->sizeHint().width());
    refresh();
    adjustSize();
    setFixedSize(size());
}

RecorderHUDPanel::~RecorderHUDPanel() = default;

void RecorderHUDPanel::showAt(const QRect& root) {
    chrome::showAtRoot(*this, root);
}

void RecorderHUDPanel::refresh() {
    const bool paused = m_model->paused();
    // Restyling is costly and the clock ticks ten times a second: only when it changes.
    if (paused != m_shownPaused || m_dot->styleSheet().isEmpty()) {
        m_shownPaused = paused;
        m_dot->setStyleSheet(paused ? QStringLiteral("color: #9aa0a6;") : QStringLiteral("color: #ea4335;"));
    }
    m_time->setText(paused ? tr("%1 paused").arg(m_model->elapsedText()) : m_model->elapsedText());
    m_pause->setText(paused ? tr("Resume") : tr("Pause"));
    if (m_frames) m_frames->setText(tr("%n frames", nullptr, m_model->gifFrames()));
    if (m_meter) m_meter->setLevel(m_model->level());
    if (m_camera->text() != m_model->cameraText()) m_camera->setText(m_model->cameraText());
}

} // namespace ui
