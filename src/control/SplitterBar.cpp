#include "SplitterBar.h"

#include <QMouseEvent>
#include <QPainter>

namespace marovin {

SplitterBar::SplitterBar(int index, QWidget* parent) : QWidget(parent), m_index(index) {
    setObjectName(QStringLiteral("imgSplit%1").arg(index));
    setCursor(liesHorizontally() ? Qt::SplitVCursor : Qt::SplitHCursor);
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::NoFocus);
}

void SplitterBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QPalette& colours = palette();
    painter.fillRect(rect(), colours.color(QPalette::Window));
    if (m_pressed || m_hovered) {
        QColor light = colours.color(QPalette::Highlight);
        light.setAlphaF(m_pressed ? 0.45F : 0.25F);
        painter.fillRect(rect(), light);
    }

    // A grip of five dots across the middle, in the palette's mid tone, so that the bar reads
    // as something to take hold of on light and dark palettes.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colours.color(QPalette::Mid));
    const qreal dot = std::max(2.0, std::min(width(), height()) / 3.0);
    const qreal step = dot * 2.2;
    const QPointF centre = QRectF(rect()).center();
    for (int i = -2; i <= 2; ++i) {
        const QPointF at = liesHorizontally() ? QPointF(centre.x() + i * step, centre.y())
                                              : QPointF(centre.x(), centre.y() + i * step);
        painter.drawEllipse(at, dot / 2.0, dot / 2.0);
    }
}

int SplitterBar::offsetFrom(const QPoint& position) const {
    const QPoint moved = position - m_pressPosition;
    return liesHorizontally() ? moved.y() : moved.x();
}

void SplitterBar::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_pressed = true;
    m_pressPosition = event->position().toPoint();
    update();
    emit dragStarted(m_index);
}

void SplitterBar::mouseMoveEvent(QMouseEvent* event) {
    if (m_pressed)
        emit dragMoved(m_index, offsetFrom(event->position().toPoint()));
}

void SplitterBar::mouseReleaseEvent(QMouseEvent* event) {
    if (!m_pressed || event->button() != Qt::LeftButton)
        return;
    emit dragMoved(m_index, offsetFrom(event->position().toPoint()));
    m_pressed = false;
    update();
    emit dragFinished(m_index);
}

void SplitterBar::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QWidget::enterEvent(event);
}

void SplitterBar::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QWidget::leaveEvent(event);
}

} // namespace marovin
