#include "marovin/platform/Icons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

namespace marovin {

namespace {

// A colour for a meaning (adding, removing, running) that reads well on the palette: the darker
// shade on light buttons, the lighter one on dark buttons.
QColor accent(const QPalette& palette, QColor onLight, QColor onDark) {
    const bool darkButtons = palette.color(QPalette::Button).lightnessF() < 0.5;
    return darkButtons ? onDark : onLight;
}

class PaintedIconEngine final : public QIconEngine {
public:
    explicit PaintedIconEngine(IconKind kind) : m_kind(kind) {}

    QIconEngine* clone() const override { return new PaintedIconEngine(m_kind); }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state,
                         qreal scale) override {
        // The size asked for is in device pixels already; the scale only marks the pixmap.
        QPixmap result(size);
        result.fill(Qt::transparent);
        {
            QPainter painter(&result);
            paint(&painter, QRect(QPoint(0, 0), result.size()), mode, state);
        }
        result.setDevicePixelRatio(scale);
        return result;
    }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const QPalette palette = QGuiApplication::palette();
        const bool disabled = mode == QIcon::Disabled;
        const QColor ink =
            palette.color(disabled ? QPalette::Disabled : QPalette::Active, QPalette::ButtonText);
        auto tint = [&](QColor onLight, QColor onDark) {
            return disabled ? ink : accent(palette, onLight, onDark);
        };

        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        // Every shape is drawn on a 16 by 16 grid, centred and scaled to the rectangle.
        const qreal side = std::min(rect.width(), rect.height());
        painter->translate(rect.x() + (rect.width() - side) / 2.0,
                           rect.y() + (rect.height() - side) / 2.0);
        painter->scale(side / 16.0, side / 16.0);
        auto pen = [&](const QColor& colour, qreal width) {
            QPen result(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
            painter->setPen(result);
            painter->setBrush(Qt::NoBrush);
        };

        switch (m_kind) {
        case IconKind::Add:
            pen(tint(QColor(0x2e, 0x7d, 0x32), QColor(0x81, 0xc7, 0x84)), 2.2);
            painter->drawLine(QPointF(8, 2.5), QPointF(8, 13.5));
            painter->drawLine(QPointF(2.5, 8), QPointF(13.5, 8));
            break;
        case IconKind::Remove:
            pen(tint(QColor(0xc6, 0x28, 0x28), QColor(0xef, 0x9a, 0x9a)), 2.2);
            painter->drawLine(QPointF(3.5, 3.5), QPointF(12.5, 12.5));
            painter->drawLine(QPointF(12.5, 3.5), QPointF(3.5, 12.5));
            break;
        case IconKind::Edit: {
            // A pencil lying from the lower left to the upper right.
            QPainterPath body;
            body.moveTo(2.5, 13.5);
            body.lineTo(3.3, 10.2);
            body.lineTo(10.8, 2.7);
            body.lineTo(13.3, 5.2);
            body.lineTo(5.8, 12.7);
            body.closeSubpath();
            pen(ink, 1.3);
            painter->drawPath(body);
            painter->drawLine(QPointF(9.3, 4.2), QPointF(11.8, 6.7));
            break;
        }
        case IconKind::MoveUp:
        case IconKind::MoveDown: {
            painter->save();
            if (m_kind == IconKind::MoveDown) {
                painter->translate(0, 16);
                painter->scale(1, -1);
            }
            pen(ink, 2.0);
            painter->drawLine(QPointF(8, 3), QPointF(8, 13.5));
            painter->drawPolyline(
                QPolygonF({QPointF(3.5, 7.5), QPointF(8, 3), QPointF(12.5, 7.5)}));
            painter->restore();
            break;
        }
        case IconKind::Table:
        case IconKind::SubQuery: {
            const QRectF box =
                m_kind == IconKind::Table ? QRectF(1.5, 2.5, 13, 11) : QRectF(4.5, 4.5, 7, 7);
            painter->setPen(Qt::NoPen);
            painter->setBrush(disabled ? ink : palette.color(QPalette::Highlight));
            painter->drawRect(QRectF(box.left(), box.top(), box.width(), box.height() / 3.0));
            pen(ink, 1.0);
            painter->drawRect(box);
            const qreal rowTop = box.top() + box.height() / 3.0;
            painter->drawLine(QPointF(box.left(), rowTop), QPointF(box.right(), rowTop));
            if (m_kind == IconKind::Table) {
                const qreal rowMiddle = (rowTop + box.bottom()) / 2.0;
                painter->drawLine(QPointF(box.left(), rowMiddle), QPointF(box.right(), rowMiddle));
                painter->drawLine(QPointF(box.center().x(), rowTop),
                                  QPointF(box.center().x(), box.bottom()));
            } else {
                // Round brackets around the small table: a query standing in for a table.
                pen(ink, 1.4);
                painter->drawArc(QRectF(0.8, 1.5, 5, 13), 100 * 16, 160 * 16);
                painter->drawArc(QRectF(10.2, 1.5, 5, 13), -80 * 16, 160 * 16);
            }
            break;
        }
        case IconKind::CheckSyntax:
            pen(tint(QColor(0x2e, 0x7d, 0x32), QColor(0x81, 0xc7, 0x84)), 2.4);
            painter->drawPolyline(
                QPolygonF({QPointF(2.5, 8.5), QPointF(6.3, 12.3), QPointF(13.5, 3.5)}));
            break;
        case IconKind::Refresh: {
            // Three quarters of a circle, the arrow head at its open end.
            pen(ink, 1.8);
            painter->drawArc(QRectF(2.5, 2.5, 11, 11), 90 * 16, 270 * 16);
            painter->setPen(Qt::NoPen);
            painter->setBrush(ink);
            painter->drawPolygon(QPolygonF({QPointF(8, 0.6), QPointF(11.6, 2.5), QPointF(8, 4.4)}));
            break;
        }
        case IconKind::Preview: {
            QPainterPath triangle;
            triangle.moveTo(4, 2.5);
            triangle.lineTo(13.5, 8);
            triangle.lineTo(4, 13.5);
            triangle.closeSubpath();
            const QColor colour = tint(QColor(0x15, 0x65, 0xc0), QColor(0x90, 0xca, 0xf9));
            painter->setPen(QPen(colour, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter->setBrush(colour);
            painter->drawPath(triangle);
            break;
        }
        }
        painter->restore();
    }

private:
    IconKind m_kind;
};

} // namespace

QIcon makeIcon(IconKind kind) {
    return QIcon(new PaintedIconEngine(kind));
}

} // namespace marovin
