#include "DiagramStyle.h"
#include "DiagramView.h"
#include "DiagramViewAccessible.h"
#include "JoinLineItem.h"
#include "TableBoxAccessible.h"
#include "TableBoxItem.h"

#include <QAccessible>
#include <QActionGroup>
#include <QEvent>
#include <QGraphicsScene>
#include <QHash>
#include <QMenu>
#include <QPointer>
#include <QScrollBar>
#include <QSet>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <marovin/TableDefinition.h>
#include <marovin/dvTablesAndJoins.h>
#include <utility>

namespace marovin {

namespace {
// Free space kept right of and below the outermost box, so there is always room to drag a box
// further out; the scene grows with the boxes.
constexpr qreal kSceneMargin = 120;
// Space kept between a new box and the edges of the view.
constexpr qreal kViewMargin = 12;

// Tells assistive technology that a box or join came or is about to go.
void reportObject(QObject* object, QAccessible::Event type) {
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent event(object, type);
    QAccessible::updateAccessibility(&event);
}
} // namespace

dvTablesAndJoins::dvTablesAndJoins(QWidget* parent)
    : QWidget(parent),
      m_style(std::make_unique<DiagramStyle>(DiagramStyle::fromWidget(palette(), font()))),
      m_scene(new QGraphicsScene(this)), m_view(new DiagramView(this, m_scene, m_style.get())) {
    installDiagramAccessibility();
    setAccessibleName(QStringLiteral("Tables and joins"));
    m_view->setObjectName(QStringLiteral("tablesAndJoinsView"));
    // Items are few and move one at a time; an index would only cost time on every move.
    m_scene->setItemIndexMethod(QGraphicsScene::NoIndex);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_view);
    setFocusProxy(m_view);
    m_view->setAccessibleName(QStringLiteral("Tables and joins"));
    m_view->setAccessibleDescription(
        QStringLiteral("Tab moves between tables, the arrow keys between columns, Enter adds the "
                       "column to the query, Space ticks or clears its output check box. J "
                       "starts a join at the column: move to a column of another table and press "
                       "Enter (Shift+Enter keeps all rows of the first table, Ctrl+Enter all rows "
                       "of the second), Escape cancels. L selects the joins of the table, 1 to 4 "
                       "set the join type, Delete removes the selected table or join, Ctrl+arrows "
                       "move the table, Ctrl+Shift+A arranges the tables."));
    m_placeholderText =
        QStringLiteral("Add tables to start.\nDrag a column onto a column of another "
                       "table to join them.");
    updateSceneRect();
}

void dvTablesAndJoins::setPlaceholderText(const QString& text) {
    m_placeholderText = text;
    m_view->viewport()->update();
}

dvTablesAndJoins::~dvTablesAndJoins() {
    // The view goes first, while the lists it looks at still exist: destroying a focused
    // widget sends it a focus-out, and the view's handler reads the boxes.
    m_view->cancelInteraction();
    delete m_view;
    m_view = nullptr;
    m_selected = nullptr;
    m_joins.clear();
    m_boxes.clear();
    m_boxByAlias.clear();
    m_scene->clear();
}

void dvTablesAndJoins::Clear() {
    m_view->cancelInteraction();
    selectItem(nullptr);
    for (JoinLineItem* join : m_joins) {
        m_view->forgetItem(join);
        reportObject(join, QAccessible::ObjectDestroyed);
        delete join;
    }
    m_joins.clear();
    for (TableBoxItem* box : m_boxes) {
        m_view->forgetItem(box);
        reportObject(box, QAccessible::ObjectDestroyed);
        delete box;
    }
    m_boxes.clear();
    m_boxByAlias.clear();
    m_unfitted.clear();
    m_nextZ = 1;
    updateSceneRect();
}

TableBoxItem* dvTablesAndJoins::newBox(const QString& definition, int width, int height,
                                       QString* error) const {
    TableDefinition parsed;
    if (!TableDefinition::parse(definition, &parsed, error))
        return nullptr;
    if (box(parsed.strAlias)) {
        if (error)
            *error = QStringLiteral("A table with the alias \"%1\" is already in the diagram.")
                         .arg(parsed.strAlias);
        return nullptr;
    }
    // Whole pixels keep the box outlines crisp.
    return new TableBoxItem(parsed,
                            QSizeF(std::round(width * kSizeScale), std::round(height * kSizeScale)),
                            m_style.get());
}

void dvTablesAndJoins::insertBox(TableBoxItem* item, const QPointF& pos) {
    item->setPos(pos);
    item->setViewFocused(m_view->hasFocus());
    m_scene->addItem(item);
    m_boxes.append(item);
    m_boxByAlias.insert(item->alias(), item);
    // The hint of the empty diagram goes with the first box: the whole viewport is drawn again,
    // not only the box's part of it. (The same when the last box goes.)
    if (m_boxes.size() == 1)
        m_view->viewport()->update();
    raiseBox(item);
    if (!m_view->isVisible())
        m_unfitted.append(item);
    extendSceneRect(item->sceneBoundingRect());
    item->setGeometryHook(
        [this](TableBoxItem* moved, const QRectF& before) { rerouteAround(moved, before); });
    rerouteAround(item, QRectF());
    reportObject(item, QAccessible::ObjectCreated);
}

bool dvTablesAndJoins::AddTable(const QString& definition, int left, int top, int width, int height,
                                QString* error) {
    TableBoxItem* item = newBox(definition, width, height, error);
    if (!item)
        return false;
    if (left < 0 || top < 0) {
        fitHeightToView(item, visibleSceneRect().top());
        const QPointF at = placeInView(item->size());
        fitHeightToView(item, at.y());
        insertBox(item, at);
        return true;
    }
    const QPointF wanted(std::round(left * kPositionScale), std::round(top * kPositionScale));
    fitHeightToView(item, wanted.y());
    insertBox(item, freePlace(QRectF(wanted, item->size())));
    return true;
}

bool dvTablesAndJoins::AddTableAt(const QString& definition, const QPoint& viewportPos, int width,
                                  int height, QString* error) {
    TableBoxItem* item = newBox(definition, width, height, error);
    if (!item)
        return false;
    const QPointF scene = m_view->mapToScene(viewportPos);
    const QPointF wanted(std::max<qreal>(0, std::round(scene.x())),
                         std::max<qreal>(0, std::round(scene.y())));
    fitHeightToView(item, wanted.y());
    insertBox(item, freePlace(QRectF(wanted, item->size())));
    return true;
}

QRectF dvTablesAndJoins::visibleSceneRect() const {
    if (m_view->isVisible())
        return m_view->mapToScene(m_view->viewport()->rect()).boundingRect();
    // Not shown yet: the view will open at the scene's top-left corner, about this large.
    const QSize size = this->size().expandedTo(sizeHint());
    return QRectF(0, 0, size.width(), size.height());
}

void dvTablesAndJoins::fitHeightToView(TableBoxItem* item, qreal top) const {
    if (!m_view->isVisible())
        return;
    // The room from the box's top to the bottom of the view; a box that starts low in the
    // view may take the view's whole height rather than end up a sliver.
    const QRectF visible = visibleSceneRect();
    const qreal full = visible.height() - 2 * kViewMargin;
    const qreal room = visible.bottom() - kViewMargin - std::max(top, visible.top());
    const qreal limit = std::floor(room >= full / 2 ? room : full);
    if (item->size().height() > limit)
        item->setSize(QSizeF(item->size().width(), limit));
}

void dvTablesAndJoins::fitPendingBoxes() {
    if (m_unfitted.isEmpty() || !m_view->isVisible())
        return;
    const QList<QPointer<TableBoxItem>> pending = std::exchange(m_unfitted, {});
    for (const QPointer<TableBoxItem>& b : pending) {
        if (b && m_boxes.contains(b.data()))
            fitHeightToView(b, b->pos().y());
    }
    updateSceneRect();
}

QPointF dvTablesAndJoins::placeInView(const QSizeF& size) const {
    const QRectF visible = visibleSceneRect();
    const QRectF room = visible.adjusted(kViewMargin, kViewMargin, -kViewMargin, -kViewMargin);
    // Candidate corners: the view's top-left, and beside and below every box in view, with
    // room for join lines beside a box.
    constexpr qreal kBeside = 50;
    constexpr qreal kBelow = 20;
    QList<qreal> xs{std::max<qreal>(0, room.left())};
    QList<qreal> ys{std::max<qreal>(0, room.top())};
    QList<QRectF> taken;
    for (const TableBoxItem* b : m_boxes) {
        const QRectF r = b->mapRectToScene(b->bodyRect());
        taken << r.adjusted(-kBelow, -kBelow, kBelow, kBelow);
        if (r.intersects(visible)) {
            xs << r.right() + kBeside;
            ys << r.bottom() + kBelow;
        }
    }
    std::sort(xs.begin(), xs.end());
    std::sort(ys.begin(), ys.end());
    auto isFree = [&](const QRectF& wanted) {
        return std::none_of(taken.begin(), taken.end(),
                            [&](const QRectF& t) { return t.intersects(wanted); });
    };
    // First a place where the whole box is in view, then one where at least its title and a
    // few rows are.
    const qreal someRows = m_style->titleHeight + 3 * m_style->rowHeight;
    for (const bool whole : {true, false}) {
        for (qreal y : ys) {
            if (y < room.top() || y + (whole ? size.height() : someRows) > room.bottom())
                continue;
            for (qreal x : xs) {
                if (x < room.left() || x + size.width() > room.right())
                    continue;
                const QRectF wanted(QPointF(x, y), size);
                if (isFree(wanted))
                    return wanted.topLeft();
            }
        }
    }
    return freePlace(QRectF(QPointF(xs.first(), ys.first()), size));
}

void dvTablesAndJoins::revealTable(const QString& alias) {
    TableBoxItem* b = box(alias);
    if (!b)
        return;
    selectItem(b);
    const QRectF r = b->mapRectToScene(b->bodyRect());
    m_view->ensureVisible(r, 20, 20);
    // A box taller or wider than the view shows at least its title.
    m_view->ensureVisible(
        QRectF(r.topLeft(), QSizeF(std::min<qreal>(r.width(), 200), m_style->titleHeight)), 20, 20);
}

QString dvTablesAndJoins::tableLayout() const {
    QStringList lines;
    lines.reserve(m_boxes.size());
    for (const TableBoxItem* b : m_boxes) {
        const QRectF r = b->mapRectToScene(b->bodyRect());
        lines << QStringList{b->alias(), QString::number(r.left(), 'g', 12),
                             QString::number(r.top(), 'g', 12), QString::number(r.width(), 'g', 12),
                             QString::number(r.height(), 'g', 12)}
                     .join(u'\t');
    }
    return lines.join(u'\n');
}

void dvTablesAndJoins::restoreTableLayout(const QString& layout) {
    // Far beyond any real diagram; larger numbers are taken for garbage.
    constexpr double kLargest = 1e6;
    bool changed = false;
    for (const QString& line : layout.split(u'\n')) {
        QStringList fields = line.split(u'\t');
        if (fields.size() < 5)
            continue;
        // The numbers are the last four fields, so an alias holding a tab still reads.
        double values[4];
        bool ok = true;
        for (int i = 0; i < 4 && ok; ++i) {
            values[i] = fields[fields.size() - 4 + i].toDouble(&ok);
            ok = ok && std::isfinite(values[i]) && std::abs(values[i]) <= kLargest;
        }
        if (!ok || values[2] <= 0 || values[3] <= 0)
            continue;
        fields.resize(fields.size() - 4);
        TableBoxItem* b = box(fields.join(u'\t'));
        if (!b)
            continue;
        m_movingMany = true;
        b->setPos(std::max(0.0, values[0]), std::max(0.0, values[1]));
        b->setSize(QSizeF(values[2], values[3]));
        m_movingMany = false;
        changed = true;
    }
    if (changed) {
        rerouteAll();
        updateSceneRect();
    }
}

QPointF dvTablesAndJoins::freePlace(QRectF wanted) const {
    // The host places the n-th table at a fixed spot; after removals or moves that spot may be
    // taken. Step down past every box in the way (with a little air) until the place is free.
    constexpr qreal kAir = 20;
    bool moved = true;
    while (moved) {
        moved = false;
        for (const TableBoxItem* b : m_boxes) {
            const QRectF taken =
                b->mapRectToScene(b->bodyRect()).adjusted(-kAir, -kAir, kAir, kAir);
            if (taken.intersects(wanted)) {
                wanted.moveTop(taken.bottom());
                moved = true;
            }
        }
    }
    return wanted.topLeft();
}

QString dvTablesAndJoins::JoinsList() const {
    QStringList lines{QString::number(m_joins.size())};
    for (const JoinLineItem* join : m_joins)
        lines << join->join().joinText();
    return lines.join(u'\n');
}

bool dvTablesAndJoins::AddJoin(const QString& leftAlias, const QString& leftColumn,
                               const QString& rightAlias, const QString& rightColumn,
                               const QString& joinType) {
    DiagramJoin join{leftAlias, leftColumn, rightAlias, rightColumn, JoinType::Inner};
    if (!joinTypeFromName(joinType, &join.type))
        return false;
    TableBoxItem* left = box(leftAlias);
    TableBoxItem* right = box(rightAlias);
    if (!left || !right || left == right)
        return false;
    const int leftRow = left->rowOfColumn(leftColumn);
    const int rightRow = right->rowOfColumn(rightColumn);
    if (leftRow < 1 || rightRow < 1)
        return false;
    addJoinItem(join, left, leftRow, right, rightRow);
    emit joinAdded(join.joinText(), static_cast<int>(m_joins.size()));
    return true;
}

QStringList dvTablesAndJoins::tableAliases() const {
    QStringList aliases;
    for (const TableBoxItem* b : m_boxes)
        aliases << b->alias();
    return aliases;
}

bool dvTablesAndJoins::hasTable(const QString& alias) const {
    return box(alias) != nullptr;
}

QStringList dvTablesAndJoins::tableColumns(const QString& alias) const {
    const TableBoxItem* b = box(alias);
    return b ? b->columnNames() : QStringList();
}

void dvTablesAndJoins::setColumnTicked(const QString& alias, const QString& column, bool ticked) {
    TableBoxItem* b = box(alias);
    const int row = b ? b->rowOfColumn(column) : -1;
    if (row < 1 || b->isRowTicked(row) == ticked)
        return;
    b->setRowTicked(row, ticked);
    QAccessible::State checked;
    checked.checked = true;
    TableBoxAccessible::notifyRowState(b, row, checked);
}

bool dvTablesAndJoins::isColumnTicked(const QString& alias, const QString& column) const {
    const TableBoxItem* b = box(alias);
    return b && b->isRowTicked(b->rowOfColumn(column));
}

void dvTablesAndJoins::setAllTicks(const QString& alias, const QStringList& tickedColumns) {
    TableBoxItem* b = box(alias);
    if (!b)
        return;
    for (int row = 1; row < b->rowCount(); ++row)
        setColumnTicked(alias, b->columnOfRow(row), tickedColumns.contains(b->columnOfRow(row)));
}

QRectF dvTablesAndJoins::tableSceneRect(const QString& alias) const {
    const TableBoxItem* b = box(alias);
    return b ? b->mapRectToScene(b->bodyRect()) : QRectF();
}

bool dvTablesAndJoins::requestTableRemoval(const QString& aliasText) {
    // A copy: the text may belong to the box that is about to be deleted.
    const QString alias = aliasText;
    QPointer<TableBoxItem> target = box(alias);
    if (!target)
        return false;
    bool allow = false;
    emit tableRemovalRequest(alias, &allow);
    // The handler may have changed the diagram; only a box that is still there is removed.
    if (!allow || !target || !m_boxes.contains(target.data()))
        return false;
    // Its joins go first, last one first, each reported with the index it had.
    for (qsizetype i = m_joins.size() - 1; i >= 0; --i) {
        if (i >= m_joins.size())
            continue;
        JoinLineItem* join = m_joins[i];
        if (join->leftBox() != target && join->rightBox() != target)
            continue;
        const QString text = join->join().joinText();
        deleteJoinItem(join);
        emit joinRemoved(text, static_cast<int>(i) + 1);
        if (!target)
            return true;
    }
    if (target && m_boxes.contains(target.data())) {
        deleteBoxItem(target);
        updateSceneRect();
        emit tableRemoved(alias);
    }
    return true;
}

QList<DiagramJoin> dvTablesAndJoins::joins() const {
    QList<DiagramJoin> result;
    result.reserve(m_joins.size());
    for (const JoinLineItem* join : m_joins)
        result << join->join();
    return result;
}

int dvTablesAndJoins::joinCount() const {
    return static_cast<int>(m_joins.size());
}

bool dvTablesAndJoins::setJoinType(int index, const QString& joinType) {
    JoinLineItem* join = joinItem(index);
    JoinType type;
    if (!join || !joinTypeFromName(joinType, &type))
        return false;
    if (join->join().type != type) {
        join->setJoinType(type);
        emit joinChanged(join->join().joinText(), index);
    }
    return true;
}

bool dvTablesAndJoins::removeJoin(int index) {
    JoinLineItem* join = joinItem(index);
    if (!join)
        return false;
    const QString text = join->join().joinText();
    deleteJoinItem(join);
    emit joinRemoved(text, index);
    return true;
}

void dvTablesAndJoins::selectTable(const QString& alias) {
    if (TableBoxItem* b = box(alias)) {
        selectItem(b);
        m_view->ensureVisible(b->sceneBoundingRect(), 20, 20);
        m_view->reportAccessibleFocus();
    }
}

QString dvTablesAndJoins::selectedTable() const {
    const TableBoxItem* b = selectedBox();
    return b ? b->alias() : QString();
}

void dvTablesAndJoins::selectJoin(int index) {
    if (JoinLineItem* join = joinItem(index)) {
        selectItem(join);
        m_view->reportAccessibleFocus();
    }
}

int dvTablesAndJoins::selectedJoin() const {
    return joinIndex(selectedJoinItem());
}

void dvTablesAndJoins::clearSelection() {
    selectItem(nullptr);
}

QString dvTablesAndJoins::currentColumn() const {
    const TableBoxItem* b = selectedBox();
    return b ? b->columnOfRow(b->currentRow()) : QString();
}

QGraphicsView* dvTablesAndJoins::view() const {
    return m_view;
}

QPoint dvTablesAndJoins::viewportPoint(const QRectF& visibleSceneRect, const QPointF& scenePoint) {
    m_view->ensureVisible(visibleSceneRect, 4, 4);
    return m_view->mapFromScene(scenePoint);
}

QPoint dvTablesAndJoins::columnPoint(const QString& alias, const QString& column) {
    TableBoxItem* b = box(alias);
    const int row = b ? b->rowOfColumn(column) : -1;
    if (row < 1)
        return QPoint(-1, -1);
    b->ensureRowVisible(row);
    const QRectF r = b->mapRectToScene(b->rowRect(row));
    // Left of the middle, away from the add button at the row's end.
    return viewportPoint(r, QPointF(r.left() + r.width() * 0.35, r.center().y()));
}

QPoint dvTablesAndJoins::allColumnsPoint(const QString& alias) {
    TableBoxItem* b = box(alias);
    if (!b)
        return QPoint(-1, -1);
    b->ensureRowVisible(0);
    const QRectF r = b->mapRectToScene(b->rowRect(0));
    return viewportPoint(r, QPointF(r.left() + r.width() * 0.35, r.center().y()));
}

QPoint dvTablesAndJoins::addButtonPoint(const QString& alias, const QString& column) {
    TableBoxItem* b = box(alias);
    const int row = !b ? -1 : (column == QStringLiteral("*") ? 0 : b->rowOfColumn(column));
    if (row < 0)
        return QPoint(-1, -1);
    b->ensureRowVisible(row);
    const QRectF r = b->mapRectToScene(b->addButtonRect(row));
    return viewportPoint(r, r.center());
}

QPoint dvTablesAndJoins::checkBoxPoint(const QString& alias, const QString& column) {
    TableBoxItem* b = box(alias);
    const int row = !b ? -1 : (column == QStringLiteral("*") ? 0 : b->rowOfColumn(column));
    if (row < 0)
        return QPoint(-1, -1);
    b->ensureRowVisible(row);
    const QRectF r = b->mapRectToScene(b->checkBoxRect(row));
    return viewportPoint(r, r.center());
}

QPoint dvTablesAndJoins::titlePoint(const QString& alias) {
    TableBoxItem* b = box(alias);
    if (!b)
        return QPoint(-1, -1);
    const QRectF r = b->mapRectToScene(QRectF(0, 0, b->size().width(), m_style->titleHeight));
    return viewportPoint(r, QPointF(r.left() + r.width() * 0.4, r.center().y()));
}

QPoint dvTablesAndJoins::closeButtonPoint(const QString& alias) {
    TableBoxItem* b = box(alias);
    if (!b)
        return QPoint(-1, -1);
    const QRectF r = b->mapRectToScene(b->closeRect());
    return viewportPoint(r, r.center());
}

QPoint dvTablesAndJoins::resizeGripPoint(const QString& alias) {
    TableBoxItem* b = box(alias);
    if (!b)
        return QPoint(-1, -1);
    const QPointF corner = b->mapToScene(b->bodyRect().bottomRight() - QPointF(3, 3));
    return viewportPoint(QRectF(corner, QSizeF(1, 1)), corner);
}

QPoint dvTablesAndJoins::joinPoint(int index) {
    const JoinLineItem* join = joinItem(index);
    if (!join)
        return QPoint(-1, -1);
    const QPointF c = join->badgeCenter();
    return viewportPoint(QRectF(c - QPointF(20, 20), QSizeF(40, 40)), c);
}

QPainterPath dvTablesAndJoins::joinPath(int index) const {
    const JoinLineItem* join = joinItem(index);
    return join ? join->path() : QPainterPath();
}

void dvTablesAndJoins::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange ||
        event->type() == QEvent::StyleChange)
        applyStyle();
    QWidget::changeEvent(event);
}

void dvTablesAndJoins::applyStyle() {
    *m_style = DiagramStyle::fromWidget(palette(), font());
    for (TableBoxItem* b : m_boxes)
        b->styleChanged();
    for (JoinLineItem* join : m_joins) {
        join->updateGeometry();
        join->update();
    }
    m_view->resetCachedContent();
    m_view->viewport()->update();
}

TableBoxItem* dvTablesAndJoins::box(const QString& alias) const {
    return m_boxByAlias.value(alias, nullptr);
}

TableBoxItem* dvTablesAndJoins::selectedBox() const {
    for (TableBoxItem* b : m_boxes) {
        if (b == m_selected)
            return b;
    }
    return nullptr;
}

JoinLineItem* dvTablesAndJoins::selectedJoinItem() const {
    for (JoinLineItem* join : m_joins) {
        if (join == m_selected)
            return join;
    }
    return nullptr;
}

JoinLineItem* dvTablesAndJoins::joinItem(int index) const {
    if (index < 1 || index > m_joins.size())
        return nullptr;
    return m_joins[index - 1];
}

int dvTablesAndJoins::joinIndex(const JoinLineItem* join) const {
    const qsizetype i = join ? m_joins.indexOf(const_cast<JoinLineItem*>(join)) : -1;
    return static_cast<int>(i) + 1;
}

JoinLineItem* dvTablesAndJoins::findSameColumns(const DiagramJoin& join) const {
    for (JoinLineItem* item : m_joins) {
        const DiagramJoin& j = item->join();
        const bool same =
            j.strLeftAlias == join.strLeftAlias && j.strLeftColumn == join.strLeftColumn &&
            j.strRightAlias == join.strRightAlias && j.strRightColumn == join.strRightColumn;
        const bool mirrored =
            j.strLeftAlias == join.strRightAlias && j.strLeftColumn == join.strRightColumn &&
            j.strRightAlias == join.strLeftAlias && j.strRightColumn == join.strLeftColumn;
        if (same || mirrored)
            return item;
    }
    return nullptr;
}

JoinLineItem* dvTablesAndJoins::addJoinItem(const DiagramJoin& join, TableBoxItem* left,
                                            int leftRow, TableBoxItem* right, int rightRow) {
    auto* item = new JoinLineItem(join, left, leftRow, right, rightRow, m_style.get(), &m_boxes);
    m_scene->addItem(item);
    m_joins.append(item);
    left->attachJoin(item);
    right->attachJoin(item);
    extendSceneRect(item->sceneBoundingRect());
    reportObject(item, QAccessible::ObjectCreated);
    // The rows' descriptions say "joined" now.
    TableBoxAccessible::notifyRowDescription(left, leftRow);
    TableBoxAccessible::notifyRowDescription(right, rightRow);
    return item;
}

void dvTablesAndJoins::deleteJoinItem(JoinLineItem* join) {
    if (m_selected == join)
        selectItem(nullptr);
    m_view->forgetItem(join);
    reportObject(join, QAccessible::ObjectDestroyed);
    join->leftBox()->detachJoin(join);
    join->rightBox()->detachJoin(join);
    m_joins.removeOne(join);
    delete join;
}

void dvTablesAndJoins::deleteBoxItem(TableBoxItem* b) {
    if (m_selected == b)
        selectItem(nullptr);
    m_view->forgetItem(b);
    reportObject(b, QAccessible::ObjectDestroyed);
    const QRectF was = b->mapRectToScene(b->bodyRect());
    m_boxes.removeOne(b);
    m_boxByAlias.remove(b->alias());
    delete b;
    if (m_boxes.isEmpty())
        m_view->viewport()->update();
    // Lines that went around the box may take the short way now.
    for (JoinLineItem* join : m_joins) {
        if (join->sceneBoundingRect().intersects(was))
            join->updateGeometry();
    }
}

void dvTablesAndJoins::rerouteAround(const TableBoxItem* moved, const QRectF& before) {
    if (m_movingMany)
        return;
    const QRectF after = moved->mapRectToScene(moved->bodyRect());
    for (JoinLineItem* join : m_joins) {
        if (join->leftBox() == moved || join->rightBox() == moved)
            continue; // follows its box already
        const QRectF bounds = join->sceneBoundingRect();
        if (bounds.intersects(after) || (!before.isNull() && bounds.intersects(before)))
            join->updateGeometry();
    }
}

void dvTablesAndJoins::rerouteAll() {
    for (JoinLineItem* join : m_joins)
        join->updateGeometry();
}

void dvTablesAndJoins::requestJoinFromDrag(TableBoxItem* from, int fromRow, TableBoxItem* to,
                                           int toRow, JoinType type) {
    if (!from || !to || from == to || fromRow < 1 || toRow < 1)
        return;
    const DiagramJoin drawn{from->alias(), from->columnOfRow(fromRow), to->alias(),
                            to->columnOfRow(toRow), type};
    // Dropping onto columns that are already joined just shows that join.
    if (JoinLineItem* existing = findSameColumns(drawn)) {
        selectItem(existing);
        return;
    }
    const bool reverse = recordsReversed(from, to);
    const DiagramJoin join = reverse ? drawn.reversed() : drawn;
    TableBoxItem* left = reverse ? to : from;
    TableBoxItem* right = reverse ? from : to;
    const int leftRow = reverse ? toRow : fromRow;
    const int rightRow = reverse ? fromRow : toRow;
    QPointer<TableBoxItem> leftGuard(left);
    QPointer<TableBoxItem> rightGuard(right);
    int accept = 1;
    emit joinRequest(join.joinText(), &accept);
    if (accept == 0)
        return;
    // The handler may have changed the diagram meanwhile; draw only between boxes still there.
    if (!leftGuard || !rightGuard || !m_boxes.contains(left) || !m_boxes.contains(right))
        return;
    JoinLineItem* item = addJoinItem(join, left, leftRow, right, rightRow);
    selectItem(item);
    emit joinAdded(join.joinText(), static_cast<int>(m_joins.size()));
}

bool dvTablesAndJoins::recordsReversed(const TableBoxItem* from, const TableBoxItem* to) const {
    // Tables joined to each other already: the first join between them sets the orientation,
    // so a host can merge the column pairs of the two tables into one join.
    for (const JoinLineItem* join : m_joins) {
        if (join->leftBox() == from && join->rightBox() == to)
            return false;
        if (join->leftBox() == to && join->rightBox() == from)
            return true;
    }
    // A new table goes on the right of a table that is joined already: a chain of joins read in
    // list order then always continues from a table it holds.
    return from->attachedJoins().isEmpty() && !to->attachedJoins().isEmpty();
}

void dvTablesAndJoins::activateRow(TableBoxItem* b, int row) {
    if (!b || row < 0 || row >= b->rowCount())
        return;
    const QString alias = b->alias();
    if (row == 0)
        emit allColumns(alias, 0);
    else
        emit columnChosen(alias, b->columnOfRow(row), 0);
}

void dvTablesAndJoins::requestTick(TableBoxItem* b, int row) {
    if (!b || row < 0 || row >= b->rowCount())
        return;
    if (row == 0)
        emit allColumns(b->alias(), 0);
    else
        emit columnTickRequested(b->alias(), b->columnOfRow(row), !b->isRowTicked(row));
}

void dvTablesAndJoins::deleteSelection() {
    if (JoinLineItem* join = selectedJoinItem())
        removeJoin(joinIndex(join));
    else if (TableBoxItem* b = selectedBox())
        requestTableRemoval(b->alias());
}

void dvTablesAndJoins::showJoinMenu(JoinLineItem* join, const QPoint& globalPos) {
    QPointer<JoinLineItem> guard(join);
    const DiagramJoin current = join->join();
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("joinMenu"));
    menu.setAccessibleName(QStringLiteral("Join"));
    auto* group = new QActionGroup(&menu);
    const JoinType types[] = {JoinType::Inner, JoinType::Left, JoinType::Right, JoinType::Full};
    for (JoinType type : types) {
        QString hint;
        if (type == JoinType::Inner)
            hint = QStringLiteral("matching rows only");
        else if (type == JoinType::Left)
            hint = QStringLiteral("all rows of %1").arg(current.strLeftAlias);
        else if (type == JoinType::Right)
            hint = QStringLiteral("all rows of %1").arg(current.strRightAlias);
        else
            hint = QStringLiteral("all rows of both");
        // The text after the tab shows at the right, like a shortcut: the name stays exact.
        QAction* action = menu.addAction(joinTypeName(type) + u'\t' + hint);
        action->setObjectName(joinTypeName(type));
        action->setCheckable(true);
        action->setChecked(type == current.type);
        action->setData(static_cast<int>(type));
        group->addAction(action);
    }
    menu.addSeparator();
    QAction* remove = menu.addAction(QStringLiteral("Remove Join"));
    remove->setObjectName(QStringLiteral("Remove Join"));
    remove->setShortcut(QKeySequence::Delete);

    QAction* chosen = menu.exec(globalPos);
    if (!chosen || !guard)
        return;
    const int index = joinIndex(guard);
    if (chosen == remove)
        removeJoin(index);
    else
        setJoinType(index, joinTypeName(static_cast<JoinType>(chosen->data().toInt())));
}

void dvTablesAndJoins::showTableMenu(TableBoxItem* b, const QPoint& globalPos) {
    QPointer<TableBoxItem> guard(b);
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("tableMenu"));
    menu.setAccessibleName(QStringLiteral("Table %1").arg(b->alias()));
    QAction* all = menu.addAction(QStringLiteral("Add All Columns"));
    all->setObjectName(QStringLiteral("Add All Columns"));
    menu.addSeparator();
    QAction* remove = menu.addAction(QStringLiteral("Remove Table"));
    remove->setObjectName(QStringLiteral("Remove Table"));
    remove->setShortcut(QKeySequence::Delete);

    QAction* chosen = menu.exec(globalPos);
    if (!chosen || !guard || !m_boxes.contains(b))
        return;
    if (chosen == all)
        activateRow(b, 0);
    else if (chosen == remove)
        requestTableRemoval(b->alias());
}

void dvTablesAndJoins::showBackgroundMenu(const QPoint& globalPos) {
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("diagramMenu"));
    menu.setAccessibleName(QStringLiteral("Diagram"));
    QAction* arrange = menu.addAction(QStringLiteral("Arrange Tables"));
    arrange->setObjectName(QStringLiteral("Arrange Tables"));
    arrange->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
    arrange->setEnabled(!m_boxes.isEmpty());
    if (menu.exec(globalPos) == arrange)
        Arrange();
}

void dvTablesAndJoins::Arrange() {
    if (m_boxes.isEmpty())
        return;
    m_view->cancelInteraction();
    constexpr qreal kMargin = 20;
    constexpr qreal kColumnGap = 90; // room for the join lines between columns
    constexpr qreal kRowGap = 30;
    constexpr qreal kGroupGap = 60;

    // Neighbours of each box along the joins, in joins-list order.
    QHash<const TableBoxItem*, QList<TableBoxItem*>> neighbours;
    for (const JoinLineItem* join : m_joins) {
        neighbours[join->leftBox()] << join->rightBox();
        neighbours[join->rightBox()] << join->leftBox();
    }

    // A block: boxes with their offsets from its top-left corner.
    struct Block {
        QList<QPair<TableBoxItem*, QPointF>> boxes;
        QSizeF size;
    };
    QList<Block> blocks;
    QSet<const TableBoxItem*> placed;
    // Each group of joined tables from the left table of its first join: columns by the
    // number of joins away from it.
    for (const JoinLineItem* join : m_joins) {
        TableBoxItem* root = join->leftBox();
        if (placed.contains(root))
            continue;
        QList<QList<TableBoxItem*>> columns{{root}};
        placed.insert(root);
        for (qsizetype c = 0; c < columns.size(); ++c) {
            QList<TableBoxItem*> next;
            for (TableBoxItem* b : columns[c]) {
                for (TableBoxItem* n : neighbours.value(b)) {
                    if (!placed.contains(n)) {
                        placed.insert(n);
                        next << n;
                    }
                }
            }
            if (!next.isEmpty()) {
                // Each box near the boxes it is joined from, to spare crossings.
                const QList<TableBoxItem*>& before = columns[c];
                auto centre = [&](TableBoxItem* b) {
                    qreal sum = 0;
                    int count = 0;
                    for (TableBoxItem* n : neighbours.value(b)) {
                        const qsizetype at = before.indexOf(n);
                        if (at >= 0) {
                            sum += at;
                            ++count;
                        }
                    }
                    return count ? sum / count : 0;
                };
                std::stable_sort(next.begin(), next.end(), [&](TableBoxItem* a, TableBoxItem* b) {
                    return centre(a) < centre(b);
                });
                columns << next;
            }
        }
        Block block;
        QList<qreal> heights;
        qreal tallest = 0;
        for (const QList<TableBoxItem*>& column : columns) {
            qreal h = -kRowGap;
            for (const TableBoxItem* b : column)
                h += b->size().height() + kRowGap;
            heights << h;
            tallest = std::max(tallest, h);
        }
        qreal x = 0;
        for (qsizetype c = 0; c < columns.size(); ++c) {
            // Columns are centred on the tallest, so short chains line up in the middle.
            qreal y = std::round((tallest - heights[c]) / 2);
            qreal widest = 0;
            for (TableBoxItem* b : columns[c]) {
                block.boxes.append({b, QPointF(x, y)});
                y += b->size().height() + kRowGap;
                widest = std::max(widest, b->size().width());
            }
            x += widest + kColumnGap;
        }
        block.size = QSizeF(x - kColumnGap, tallest);
        blocks << block;
    }
    // Tables in no join, after the groups.
    for (TableBoxItem* b : m_boxes) {
        if (!placed.contains(b))
            blocks.append(Block{{{b, QPointF(0, 0)}}, b->size()});
    }

    // The blocks in rows as wide as the view (or the widest block).
    qreal rowWidth = visibleSceneRect().width() - 2 * kMargin;
    for (const Block& block : blocks)
        rowWidth = std::max(rowWidth, block.size.width());
    m_movingMany = true;
    qreal x = kMargin;
    qreal y = kMargin;
    qreal rowHeight = 0;
    for (const Block& block : blocks) {
        if (x > kMargin && x + block.size.width() > kMargin + rowWidth) {
            x = kMargin;
            y += rowHeight + kGroupGap;
            rowHeight = 0;
        }
        for (const auto& [b, offset] : block.boxes)
            b->setPos(x + offset.x(), y + offset.y());
        x += block.size.width() + kGroupGap;
        rowHeight = std::max(rowHeight, block.size.height());
    }
    m_movingMany = false;
    rerouteAll();
    updateSceneRect();
    m_view->horizontalScrollBar()->setValue(m_view->horizontalScrollBar()->minimum());
    m_view->verticalScrollBar()->setValue(m_view->verticalScrollBar()->minimum());
    emit tablesMoved();
}

void dvTablesAndJoins::selectItem(QObject* item) {
    if (item == m_selected)
        return;
    if (TableBoxItem* b = selectedBox())
        b->setBoxSelected(false);
    if (JoinLineItem* join = selectedJoinItem())
        join->setLineSelected(false);
    m_selected = item;
    if (auto* b = qobject_cast<TableBoxItem*>(item)) {
        b->setBoxSelected(true);
        raiseBox(b);
    } else if (auto* join = qobject_cast<JoinLineItem*>(item)) {
        join->setLineSelected(true);
    }
}

void dvTablesAndJoins::raiseBox(TableBoxItem* b) {
    if (b->zValue() < m_nextZ - 1 || b->zValue() == 0)
        b->setZValue(m_nextZ++);
}

void dvTablesAndJoins::updateSceneRect() {
    QRectF bounds(0, 0, 1, 1);
    for (const TableBoxItem* b : m_boxes)
        bounds |= b->sceneBoundingRect();
    for (const JoinLineItem* join : m_joins)
        bounds |= join->sceneBoundingRect();
    bounds.setLeft(std::min<qreal>(0, bounds.left()));
    bounds.setTop(std::min<qreal>(0, bounds.top()));
    bounds.adjust(0, 0, kSceneMargin, kSceneMargin);
    m_scene->setSceneRect(bounds);
}

void dvTablesAndJoins::extendSceneRect(const QRectF& sceneRect) {
    const QRectF wanted = sceneRect.adjusted(0, 0, kSceneMargin, kSceneMargin);
    const QRectF current = m_scene->sceneRect();
    if (!current.contains(wanted))
        m_scene->setSceneRect(current | wanted);
}

} // namespace marovin
