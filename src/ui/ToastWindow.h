#pragma once

#include "platform/ToastPresenter.h"

#include <QPointer>
#include <QWidget>

namespace ui {

// A small dark rounded label near the pointer that goes away by itself. A new message
// replaces the one showing.
class ToastWindow : public QWidget {
    Q_OBJECT
public:
    ToastWindow(const QString& text, double seconds);

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
