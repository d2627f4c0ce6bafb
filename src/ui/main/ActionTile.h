#pragma once

#include <QAbstractButton>

namespace ui {

// A large button for one of the main actions: an icon, a title, and a quiet second line
// (the action's hotkey).
class ActionTile : public QAbstractButton {
    Q_OBJECT
public:
    ActionTile(const QIcon& icon, const QString& title, const QString& detail, QWidget* parent = nullptr);

    void setDetail(const QString& detail);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QString m_detail;
    bool m_hovered = false;
};

} // namespace ui
