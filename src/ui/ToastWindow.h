#pragma once

#include "platform/ToastPresenter.h"

#include <QPoint>
#include <QPointer>
#include <QWidget>

#include <optional>

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

class WindowToasts : public platform::ToastPresenter {
public:
    void show(const QString& text, double seconds) override;
    void dismiss() override;

private:
    QPointer<ToastWindow> m_current;
};

} // namespace ui
