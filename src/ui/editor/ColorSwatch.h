#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QList>

namespace ui::editor {

// A round palette button: one colour, or a gradient of several. Checked shows a ring.
class ColorSwatch : public QAbstractButton {
    Q_OBJECT
public:
    ColorSwatch(QList<QColor> colors, const QString& name, QWidget* parent = nullptr);

    const QList<QColor>& colors() const { return m_colors; }
    QSize sizeHint() const override { return {22, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QList<QColor> m_colors;
    bool m_hovered = false;
};

} // namespace ui::editor
