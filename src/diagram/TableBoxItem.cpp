#include "TableBoxItem.h"

#include "DiagramStyle.h"
#include "JoinLineItem.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace marovin {

TableBoxItem::TableBoxItem(const TableDefinition& definition, const QSizeF& size,
                           const DiagramStyle* style)
    : m_definition(definition), m_style(style),
      m_ticked(QList<bool>(definition.columns.size(), false)) {
    setFlag(ItemSendsGeometryChanges);
    // Boxes are redrawn only when their own look changes; moving one just blits the cache. The
    // view paints a box larger than itself directly (DiagramView::fitBoxCaches).
    setCacheMode(DeviceCoordinateCache);
    m_size = size.expandedTo(minimumSize());
}

QStringList TableBoxItem::columnNames() const {
    QStringList names;
    names.reserve(m_definition.columns.size());
    for (const auto& column : m_definition.columns)
        names << column.strName;
    return names;
}

int TableBoxItem::rowOfColumn(const QString& column) const {
    for (qsizetype i = 0; i < m_definition.columns.size(); ++i) {
        if (m_definition.columns[i].strName == column)
            return static_cast<int>(i) + 1;
    }
    return -1;
}

QString TableBoxItem::columnOfRow(int row) const {
    if (row == 0)
        return QStringLiteral("*");
    if (row < 1 || row > m_definition.columns.size())
        return QString();
    return m_definition.columns[row - 1].strName;
}

QSizeF TableBoxItem::minimumSize() const {
    return QSizeF(m_style->minWidth, m_style->titleHeight + 2 * m_style->rowHeight + 2);
}

void TableBoxItem::setSize(const QSizeF& size) {
    const QSizeF clamped = size.expandedTo(minimumSize());
    if (clamped == m_size)
        return;
    const QRectF before = mapRectToScene(bodyRect());
    prepareGeometryChange();
    m_size = clamped;
    setScrollOffset(m_scroll);
    update();
    updateJoins();
    if (m_geometryHook)
        m_geometryHook(this, before);
}

void TableBoxItem::setGeometryHook(std::function<void(TableBoxItem*, const QRectF&)> hook) {
    m_geometryHook = std::move(hook);
}

QRectF TableBoxItem::listRect() const {
    return QRectF(0, m_style->titleHeight, m_size.width(),
                  std::max<qreal>(0, m_size.height() - m_style->titleHeight));
}

qreal TableBoxItem::maxScrollOffset() const {
    const qreal content = rowCount() * m_style->rowHeight;
    return std::max<qreal>(0, content - (listRect().height() - 2));
}

QRectF TableBoxItem::rowRect(int row) const {
    const qreal scrollSpace = maxScrollOffset() > 0 ? m_style->scrollBarWidth + 8 : 0;
    return QRectF(1, m_style->titleHeight + 1 + row * m_style->rowHeight - m_scroll,
                  m_size.width() - 2 - scrollSpace, m_style->rowHeight);
}

QRectF TableBoxItem::closeRect() const {
    const qreal s = m_style->closeSize;
    return QRectF(m_size.width() - m_style->padding + 2 - s, (m_style->titleHeight - s) / 2, s, s);
}

QRectF TableBoxItem::addButtonRect(int row) const {
    const QRectF r = rowRect(row);
    const qreal s = std::min<qreal>(16, r.height() - 4);
    return QRectF(r.right() - 4 - s, r.center().y() - s / 2, s, s);
}

QRectF TableBoxItem::checkBoxRect(int row) const {
    const QRectF r = rowRect(row);
    const qreal s = std::min<qreal>(13, r.height() - 6);
    return QRectF(m_style->padding, std::round(r.center().y() - s / 2), s, s);
}

QRectF TableBoxItem::scrollThumbRect() const {
    const qreal max = maxScrollOffset();
    if (max <= 0)
        return QRectF();
    const QRectF list = listRect().adjusted(0, 3, 0, -3 - m_style->resizeMargin);
    const qreal content = rowCount() * m_style->rowHeight;
    const qreal thumb = std::max<qreal>(18, list.height() * (list.height() / content));
    const qreal y = list.top() + (list.height() - thumb) * (m_scroll / max);
    return QRectF(m_size.width() - m_style->resizeMargin - m_style->scrollBarWidth - 1, y,
                  m_style->scrollBarWidth, thumb);
}

qreal TableBoxItem::rowAnchorY(int row) const {
    const QRectF list = listRect();
    const qreal y = rowRect(row).center().y();
    const qreal margin = std::min<qreal>(6, list.height() / 2);
    return std::clamp(y, list.top() + margin, list.bottom() - margin);
}

int TableBoxItem::visibleRowCount() const {
    return std::max(1, static_cast<int>((listRect().height() - 2) / m_style->rowHeight));
}

TableBoxItem::Hit TableBoxItem::hitTest(const QPointF& p) const {
    const QRectF body = bodyRect();
    if (!body.contains(p))
        return {};
    const qreal m = m_style->resizeMargin;
    const bool right = p.x() >= body.right() - m;
    const bool bottom = p.y() >= body.bottom() - m;
    const bool corner = p.x() >= body.right() - 2 * m && p.y() >= body.bottom() - 2 * m;
    if (corner || (right && bottom))
        return {Part::ResizeCorner, -1};
    if (closeRect().adjusted(-2, -2, 2, 2).contains(p))
        return {Part::Close, -1};
    if (p.y() < m_style->titleHeight)
        return {right ? Part::ResizeRight : Part::Title, -1};
    if (right)
        return {Part::ResizeRight, -1};
    if (bottom)
        return {Part::ResizeBottom, -1};
    if (maxScrollOffset() > 0 && p.x() >= body.right() - m - m_style->scrollBarWidth - 4)
        return {Part::ScrollBar, -1};
    const int row = static_cast<int>(
        std::floor((p.y() - m_style->titleHeight - 1 + m_scroll) / m_style->rowHeight));
    if (row < 0 || row >= rowCount())
        return {Part::None, -1};
    if (addButtonRect(row).adjusted(-2, -2, 2, 2).contains(p))
        return {Part::AddButton, row};
    // The whole strip left of the label toggles, so the small box is easy to hit.
    if (p.x() <= checkBoxRect(row).right() + 3)
        return {Part::CheckBox, row};
    return {Part::Row, row};
}

void TableBoxItem::setScrollOffset(qreal offset) {
    const qreal clamped = std::clamp<qreal>(offset, 0, maxScrollOffset());
    if (clamped == m_scroll)
        return;
    m_scroll = clamped;
    update();
    updateJoins();
}

void TableBoxItem::ensureRowVisible(int row) {
    const QRectF list = listRect().adjusted(0, 1, 0, -1);
    const QRectF r = rowRect(row);
    if (r.top() < list.top())
        setScrollOffset(m_scroll - (list.top() - r.top()));
    else if (r.bottom() > list.bottom())
        setScrollOffset(m_scroll + (r.bottom() - list.bottom()));
}

void TableBoxItem::setCurrentRow(int row) {
    row = std::clamp(row, 0, rowCount() - 1);
    if (row == m_currentRow)
        return;
    m_currentRow = row;
    update();
}

void TableBoxItem::setHoverRow(int row) {
    if (row == m_hoverRow)
        return;
    m_hoverRow = row;
    const QString column = columnOfRow(row);
    const QString caption = row >= 1 ? m_definition.columns[row - 1].strCaption : QString();
    setToolTip(row >= 1 ? QStringLiteral("%1.%2").arg(alias(), caption.isEmpty() ? column : caption)
                        : QString());
    update();
}

void TableBoxItem::setHoverClose(bool hover) {
    if (hover == m_hoverClose)
        return;
    m_hoverClose = hover;
    update();
}

void TableBoxItem::setDropRow(int row) {
    if (row == m_dropRow)
        return;
    m_dropRow = row;
    update();
}

void TableBoxItem::setJoinStartRow(int row) {
    if (row == m_joinStartRow)
        return;
    m_joinStartRow = row;
    update();
}

void TableBoxItem::setBoxSelected(bool selected) {
    if (selected == m_selected)
        return;
    m_selected = selected;
    update();
}

void TableBoxItem::setViewFocused(bool focused) {
    if (focused == m_viewFocused)
        return;
    m_viewFocused = focused;
    if (m_selected)
        update();
}

void TableBoxItem::attachJoin(JoinLineItem* join) {
    m_joins.append(join);
    update();
}

void TableBoxItem::detachJoin(JoinLineItem* join) {
    m_joins.removeAll(join);
    update();
}

void TableBoxItem::updateJoins() {
    for (JoinLineItem* join : m_joins)
        join->updateGeometry();
}

void TableBoxItem::styleChanged() {
    prepareGeometryChange();
    m_size = m_size.expandedTo(minimumSize());
    setScrollOffset(m_scroll);
    update();
}

bool TableBoxItem::isRowTicked(int row) const {
    return row >= 1 && row <= m_ticked.size() && m_ticked[row - 1];
}

void TableBoxItem::setRowTicked(int row, bool ticked) {
    if (row < 1 || row > m_ticked.size() || m_ticked[row - 1] == ticked)
        return;
    m_ticked[row - 1] = ticked;
    update();
}

int TableBoxItem::tickedCount() const {
    return static_cast<int>(std::count(m_ticked.begin(), m_ticked.end(), true));
}

bool TableBoxItem::rowIsJoined(int row) const {
    for (const JoinLineItem* join : m_joins) {
        if ((join->leftBox() == this && join->leftRow() == row) ||
            (join->rightBox() == this && join->rightRow() == row))
            return true;
    }
    return false;
}

QRectF TableBoxItem::boundingRect() const {
    return bodyRect().adjusted(-4, -3, 4, 6);
}

QPainterPath TableBoxItem::shape() const {
    QPainterPath path;
    path.addRect(bodyRect());
    return path;
}

QVariant TableBoxItem::itemChange(GraphicsItemChange change, const QVariant& value) {
    if (change == ItemPositionChange) {
        m_rectBeforeMove = mapRectToScene(bodyRect());
    } else if (change == ItemPositionHasChanged) {
        updateJoins();
        if (m_geometryHook)
            m_geometryHook(this, m_rectBeforeMove);
    }
    return QGraphicsObject::itemChange(change, value);
}

void TableBoxItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) {
    const DiagramStyle& s = *m_style;
    const QRectF body = bodyRect();
    const qreal radius = s.cornerRadius;
    painter->setRenderHint(QPainter::Antialiasing);

    // Soft shadow: a few widening, fading outlines below the box.
    painter->setPen(Qt::NoPen);
    for (int i = 3; i >= 1; --i) {
        QColor c = s.shadow;
        c.setAlphaF(c.alphaF() / (i + 0.5));
        painter->setBrush(c);
        painter->drawRoundedRect(body.adjusted(-i * 0.7, i * 0.6, i * 0.7, i * 1.3), radius + i,
                                 radius + i);
    }

    QPainterPath bodyPath;
    bodyPath.addRoundedRect(body, radius, radius);
    painter->setBrush(s.boxFill);
    painter->drawPath(bodyPath);

    // Title bar.
    QPainterPath titlePath;
    titlePath.addRect(QRectF(0, 0, body.width(), s.titleHeight));
    painter->setBrush(m_selected ? DiagramStyle::mix(s.titleFill, s.accent, 0.18) : s.titleFill);
    painter->drawPath(bodyPath.intersected(titlePath));
    painter->setPen(QPen(s.boxBorder, 1));
    painter->drawLine(QPointF(0.5, s.titleHeight - 0.5),
                      QPointF(body.width() - 0.5, s.titleHeight - 0.5));

    // Table glyph: a small grid.
    const qreal gx = s.padding;
    const qreal gy = s.titleHeight / 2 - 5;
    painter->setPen(QPen(m_selected ? s.accent : s.mutedText, 1.2));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(QRectF(gx, gy, 13, 10), 1.5, 1.5);
    painter->drawLine(QPointF(gx, gy + 3.5), QPointF(gx + 13, gy + 3.5));
    painter->drawLine(QPointF(gx + 6.5, gy + 3.5), QPointF(gx + 6.5, gy + 10));

    // Alias.
    const QRectF close = closeRect();
    const QRectF titleText(gx + 19, 0, close.left() - 4 - (gx + 19), s.titleHeight);
    painter->setFont(s.titleFont);
    painter->setPen(s.titleText);
    const QString shown =
        QFontMetricsF(s.titleFont).elidedText(alias(), Qt::ElideRight, titleText.width());
    painter->drawText(titleText, Qt::AlignVCenter | Qt::AlignLeft, shown);

    // Close button.
    if (m_hoverClose) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(DiagramStyle::mix(s.titleFill, s.text, 0.15));
        painter->drawEllipse(close);
    }
    painter->setPen(QPen(m_hoverClose ? s.text : s.mutedText, 1.4, Qt::SolidLine, Qt::RoundCap));
    const QRectF cross = close.adjusted(4.5, 4.5, -4.5, -4.5);
    painter->drawLine(cross.topLeft(), cross.bottomRight());
    painter->drawLine(cross.topRight(), cross.bottomLeft());

    // Rows, clipped to the list area.
    painter->save();
    QPainterPath listPath;
    listPath.addRect(listRect().adjusted(0, 0.5, 0, 0));
    painter->setClipPath(bodyPath.intersected(listPath));
    const int first = std::max(0, static_cast<int>(std::floor(m_scroll / s.rowHeight)));
    const int last =
        std::min(rowCount() - 1,
                 static_cast<int>(std::ceil((m_scroll + listRect().height()) / s.rowHeight)));
    for (int row = first; row <= last; ++row)
        paintRow(painter, row);
    painter->restore();

    // Scroll bar.
    const QRectF thumb = scrollThumbRect();
    if (!thumb.isNull()) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(DiagramStyle::mix(s.boxFill, s.text, 0.07));
        painter->drawRoundedRect(QRectF(thumb.left(), listRect().top() + 3, thumb.width(),
                                        listRect().height() - 6 - s.resizeMargin),
                                 thumb.width() / 2, thumb.width() / 2);
        painter->setBrush(s.scrollThumb);
        painter->drawRoundedRect(thumb, thumb.width() / 2, thumb.width() / 2);
    }

    // Resize grip: three dots in the bottom-right corner.
    painter->setPen(Qt::NoPen);
    painter->setBrush(s.mutedText);
    const QPointF corner = body.bottomRight() - QPointF(4, 4);
    for (const QPointF& d : {QPointF(0, 0), QPointF(-4, 0), QPointF(0, -4)})
        painter->drawEllipse(corner + d, 0.9, 0.9);

    // Outline last, so it stays crisp over the title and rows.
    painter->setBrush(Qt::NoBrush);
    if (m_selected) {
        painter->setPen(QPen(s.accent, 2));
        painter->drawRoundedRect(body.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    } else {
        painter->setPen(QPen(s.boxBorder, 1));
        painter->drawRoundedRect(body.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    }
}

void TableBoxItem::paintRow(QPainter* painter, int row) const {
    const DiagramStyle& s = *m_style;
    const QRectF r = rowRect(row);
    const bool current = m_selected && row == m_currentRow;
    const bool currentActive = current && m_viewFocused;

    QColor background = Qt::transparent;
    if (row == m_dropRow)
        background = s.dropTarget;
    else if (currentActive)
        background = s.accent;
    else if (current)
        background = s.rowCurrentInactive;
    else if (row == m_hoverRow)
        background = s.rowHover;
    if (background.alpha() > 0) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(background);
        painter->drawRoundedRect(r.adjusted(3, 1, -3, -1), 3, 3);
    }
    if (row == m_joinStartRow) {
        // Dashed, like the line that follows the pointer while a join is dragged.
        painter->setPen(QPen(currentActive ? s.accentText : s.accent, 1.5, Qt::DashLine));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(r.adjusted(3.5, 1.5, -3.5, -1.5), 3, 3);
    }
    if (row == m_dropRow) {
        painter->setPen(QPen(s.accent, 1.5));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(r.adjusted(3.5, 1.5, -3.5, -1.5), 3, 3);
    }

    const QColor textColor = currentActive ? s.accentText : s.text;
    const QColor mutedColor =
        currentActive ? DiagramStyle::mix(s.accentText, s.accent, 0.3) : s.mutedText;
    const qreal textLeft = s.padding + 19;
    const bool showAdd = row == m_hoverRow || current;
    const qreal textRight = showAdd ? addButtonRect(row).left() - 4 : r.right() - 6;
    const QRectF textRect(textLeft, r.top(), std::max<qreal>(0, textRight - textLeft), r.height());

    paintCheckBox(painter, row, currentActive);
    const bool joined = row >= 1 && rowIsJoined(row);
    QRectF label = textRect;
    if (joined) {
        // The link mark sits at the end of the label's room, before the add button.
        const QRectF mark(textRight - 14, r.center().y() - 5, 14, 10);
        paintJoinedMark(painter, mark, currentActive);
        label.setRight(std::max(label.left(), mark.left() - 4));
    }
    if (row == 0) {
        painter->setFont(s.markFont);
        painter->setPen(currentActive ? s.accentText : s.accent);
        const qreal star = QFontMetricsF(s.markFont).horizontalAdvance(u'*') + 4;
        painter->drawText(QRectF(label.left(), r.top(), star, r.height()),
                          Qt::AlignVCenter | Qt::AlignLeft, QStringLiteral("*"));
        label.setLeft(label.left() + star);
        painter->setFont(s.font);
        painter->setPen(mutedColor);
        painter->drawText(label, Qt::AlignVCenter | Qt::AlignLeft,
                          QFontMetricsF(s.font).elidedText(QStringLiteral("(All Columns)"),
                                                           Qt::ElideRight, label.width()));
    } else {
        const auto& column = m_definition.columns[row - 1];
        const QString caption = column.strCaption.isEmpty() ? column.strName : column.strCaption;
        painter->setFont(s.font);
        painter->setPen(textColor);
        painter->drawText(label, Qt::AlignVCenter | Qt::AlignLeft,
                          QFontMetricsF(s.font).elidedText(caption, Qt::ElideRight, label.width()));
    }

    if (showAdd) {
        // The add button: adds the column (or all columns) to the query's output.
        const QRectF b = addButtonRect(row);
        painter->setPen(
            QPen(currentActive ? s.accentText : s.accent, 1.3, Qt::SolidLine, Qt::RoundCap));
        painter->setBrush(Qt::NoBrush);
        painter->drawEllipse(b.adjusted(1, 1, -1, -1));
        const QPointF c = b.center();
        const qreal a = b.width() / 4.5;
        painter->drawLine(c - QPointF(a, 0), c + QPointF(a, 0));
        painter->drawLine(c - QPointF(0, a), c + QPointF(0, a));
    }
}

void TableBoxItem::paintCheckBox(QPainter* painter, int row, bool onAccent) const {
    const DiagramStyle& s = *m_style;
    const QRectF b = checkBoxRect(row).adjusted(0.5, 0.5, -0.5, -0.5);
    // The "*" row sums up the columns: checked when all are ticked, a dash when some are.
    const int ticked = row == 0 ? tickedCount() : (isRowTicked(row) ? 1 : 0);
    const int of = row == 0 ? static_cast<int>(m_ticked.size()) : 1;
    const bool all = ticked > 0 && ticked == of;
    const bool some = ticked > 0 && !all;
    if (!all && !some) {
        painter->setPen(QPen(onAccent ? s.accentText : s.checkBorder, 1.1));
        painter->setBrush(onAccent ? QBrush(Qt::NoBrush) : QBrush(s.boxFill));
        painter->drawRoundedRect(b, 2.5, 2.5);
        return;
    }
    painter->setPen(Qt::NoPen);
    painter->setBrush(onAccent ? s.accentText : s.accent);
    painter->drawRoundedRect(b.adjusted(-0.5, -0.5, 0.5, 0.5), 2.5, 2.5);
    painter->setPen(
        QPen(onAccent ? s.accent : s.accentText, 1.7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->setBrush(Qt::NoBrush);
    const qreal w = b.width();
    if (all) {
        const QPointF tick[] = {QPointF(b.left() + w * 0.24, b.top() + w * 0.52),
                                QPointF(b.left() + w * 0.43, b.top() + w * 0.72),
                                QPointF(b.left() + w * 0.77, b.top() + w * 0.30)};
        painter->drawPolyline(tick, 3);
    } else {
        painter->drawLine(QPointF(b.left() + w * 0.27, b.center().y()),
                          QPointF(b.right() - w * 0.27, b.center().y()));
    }
}

void TableBoxItem::paintJoinedMark(QPainter* painter, const QRectF& at, bool onAccent) const {
    // Two links of a chain, the same idea as the join badges' overlapping circles.
    const QColor color = onAccent ? m_style->accentText : m_style->joinMark;
    painter->setPen(QPen(color, 1.5, Qt::SolidLine, Qt::RoundCap));
    painter->setBrush(Qt::NoBrush);
    const qreal h = std::min<qreal>(at.height(), 7);
    const qreal w = at.width() * 0.62;
    const qreal y = at.center().y() - h / 2;
    painter->drawRoundedRect(QRectF(at.left(), y, w, h), h / 2, h / 2);
    painter->drawRoundedRect(QRectF(at.right() - w, y, w, h), h / 2, h / 2);
}

} // namespace marovin
