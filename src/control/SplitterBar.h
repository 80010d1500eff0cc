#pragma once

#include <QPoint>
#include <QWidget>

namespace marovin {

// One of the control's five splitter bars. Bars 0 to 2 lie horizontally and move up and down,
// bars 3 and 4 stand upright and move left and right. A bar draws a groove with a grip in its
// middle, lights up under the pointer, shows the resize pointer, and reports a drag to the
// control as the pointer's offset from where the button went down; the control clamps the
// proposed place and moves the bar.
class SplitterBar : public QWidget {
    Q_OBJECT
public:
    SplitterBar(int index, QWidget* parent);

    int index() const { return m_index; }
    // True for bars 0 to 2, which lie horizontally and move vertically.
    bool liesHorizontally() const { return m_index < 3; }

signals:
    void dragStarted(int index);
    void dragMoved(int index, int offset);
    void dragFinished(int index);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    int offsetFrom(const QPoint& position) const;

    int m_index;
    QPoint m_pressPosition;
    bool m_pressed = false;
    bool m_hovered = false;
};

} // namespace marovin
