#pragma once

#include "platform/ToastPresenter.h"

#include <QList>
#include <QPoint>
#include <QPointer>
#include <QWidget>

#include <optional>
#include <utility>

namespace ui {

// A small dark rounded label near the pointer (or `near`, in Qt's global coordinates) that
// goes away by itself. A new message replaces the one showing.
class ToastWindow : public QWidget {
    Q_OBJECT
public:
    ToastWindow(const QString& text, double seconds, std::optional<QPoint> near = std::nullopt);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
};

// While a recording keeps our windows off what it records (see RecordedArea.h), a toast goes
// beside the recorded area, or waits for the recording's end where there is no room for it.
class WindowToasts : public platform::ToastPresenter {
public:
    void show(const QString& text, double seconds) override;
    void dismiss() override;

private:
    void present(const QString& text, double seconds);
    // The messages that waited for a recording to end, one after the other.
    void presentWaiting();

    QPointer<ToastWindow> m_current;
    QList<std::pair<QString, double>> m_waiting;
};

} // namespace ui
