#pragma once

#include <QImage>
#include <QWidget>

#include <memory>
#include <mutex>

class StudioScene;

namespace ui::video {

// The movie as it will be written: the player's latest picture composed by the editor's
// scene at the widget's size, centred on a dark stage.
class VideoPreview : public QWidget {
    Q_OBJECT
public:
    explicit VideoPreview(QWidget* parent = nullptr);

    void setScene(std::shared_ptr<const StudioScene> scene);
    // May be called from any thread: the newest picture wins and is painted on the GUI thread.
    void offerPicture(const QImage& picture, double time);
    // The camera movie's picture at about the same time, from its own player's thread.
    void offerCamera(const QImage& picture);

    const QImage& picture() const { return m_picture; }
    double pictureTime() const { return m_time; }
    // Where the composed frame is drawn, in widget coordinates.
    QRect frameRect() const;

signals:
    void clicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void takeOffered();

    std::shared_ptr<const StudioScene> m_scene;
    QImage m_picture;
    double m_time = 0;

    // Handed over by the player's thread.
    std::mutex m_offerMutex;
    QImage m_offered;
    double m_offeredTime = 0;
    bool m_takePending = false;
    QImage m_camera; // guarded by m_offerMutex as well
};

} // namespace ui::video
