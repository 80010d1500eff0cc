#pragma once

#include "marovin/MarovinExport.h"

#include <QHash>
#include <QList>
#include <QPainterPath>
#include <QPoint>
#include <QPointer>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <marovin/DiagramJoin.h>
#include <memory>

class QGraphicsScene;
class QGraphicsView;

namespace marovin {

class DiagramStyle;
class DiagramView;
class JoinLineItem;
class TableBoxItem;

/// The tables-and-joins diagram: one box per table with its columns, and join lines drawn by
/// dragging a column of one box onto a column of another.
///
/// The host drives it through a small text interface: Clear, AddTable with a table-definition
/// text (see TableDefinition), the read-only JoinsList, and AddJoin to restore stored joins.
/// The user's actions come back as signals.
///
/// Signals with pointer out-parameters (joinRequest, tableRemovalRequest) must be handled with
/// direct connections (the default for objects on the same thread): the diagram reads the flag
/// as soon as the emission returns.
///
/// Join indexes are 1-based positions in the joins list.
///
/// A join the user draws is recorded so that a host chaining the joins in list order (each join
/// after the first continuing from a table already joined) gets a chain that grows from the
/// tables already in it:
/// - between two tables that are joined to each other already, it takes the orientation of the
///   first join between them, so column pairs of the same two tables read the same way round;
/// - otherwise, from a table in no join onto a table that takes part in one, it is recorded from
///   the joined table onto the new one;
/// - otherwise it is recorded from the table dragged from onto the table dropped onto.
/// A join recorded the other way round keeps its meaning: its outer side moves with its table
/// (a Left Join drawn from the new table is recorded as a Right Join from the joined table).
/// Joins restored with AddJoin keep the orientation they are given.
///
/// Keyboard (every mouse action has a key):
/// - Tab / Shift+Tab: next / previous box in the order added; past the last (first) box the focus
///   leaves the diagram. Left / Right: the neighbouring box in that direction.
/// - Up / Down / PageUp / PageDown / Home / End: the box's keyboard row ("*" row first).
/// - Enter: chooses the keyboard row (columnChosen, or allColumns on the "*" row).
/// - Space: the row's check box (columnTickRequested, or allColumns on the "*" row).
/// - J on a column row: starts a join from that column; the row stays outlined and a dashed line
///   follows the keyboard row. Tab / arrows to a column of another box, then Enter asks for the
///   join exactly as a drop does (joinRequest with the same orientation rules and accept flag):
///   Enter an Inner Join, Shift+Enter a Left Join (all rows of the table started from),
///   Ctrl+Enter a Right Join, Ctrl+Shift+Enter a Full Join. Escape cancels; J again restarts
///   from the keyboard row; Enter on the starting box or on a "*" row waits.
/// - L / Shift+L: selects the next / previous join of the keyboard's box (of all joins when no
///   box is selected). With a join selected: 1 Inner, 2 Left, 3 Right, 4 Full Join; the Menu
///   key or Shift+F10 opens its menu; Delete removes it; Escape goes back to the box; Tab goes
///   on to the next box.
/// - Delete on a selected box asks for its removal (tableRemovalRequest, as the close button).
/// - Ctrl+arrows move the selected box, Ctrl+Shift+arrows resize it (tablesMoved once per key
///   stroke). Ctrl+Shift+A arranges the boxes (Arrange). Ctrl+Plus / Ctrl+Minus / Ctrl+0 zoom.
///   Escape clears the selection; the Menu key with nothing selected opens the background menu.
///
/// Assistive technology: the diagram's view (view()) answers QAccessible as a pane whose children
/// are the boxes (lists named like "Orders, table, 14 columns", in the order added) and then the
/// joins (buttons named like "Join Orders.CustomerID = Customers.CustomerID, Inner Join", in
/// joins-list order). A box's children are its rows ("All columns" first, then the column
/// names): list items that are checkable (checked when ticked, mixed on "All columns" when some
/// are), selected and focused on the keyboard row, described as "joined" when a join uses the
/// column; their actions are press (choose, as Enter), toggle (tick request, as Space) and set
/// focus. A box offers set focus and show menu; a join show menu, set focus and "Remove". The
/// view's focus child is the keyboard row or the selected join.
///
/// Join lines run as a curve between the facing sides of their boxes; where that curve would
/// cross another box they go around the boxes instead, and they follow boxes moved into or out
/// of their way.
class MAROVIN_EXPORT dvTablesAndJoins : public QWidget {
    Q_OBJECT
public:
    /// AddTable's left and top are multiplied by kPositionScale, its width and height by
    /// kSizeScale, to give device-independent pixels. With the host's placement
    /// (left = 160 n + 50, width = 5 * alias length + 120) this leaves room for the join lines
    /// between neighbouring boxes.
    static constexpr double kPositionScale = 1.75;
    static constexpr double kSizeScale = 1.25;

    explicit dvTablesAndJoins(QWidget* parent = nullptr);
    ~dvTablesAndJoins() override;

    /// A comfortable size for three or four boxes; the view scrolls for more.
    QSize sizeHint() const override { return QSize(720, 360); }
    QSize minimumSizeHint() const override { return QSize(160, 120); }

    /// Removes every box and every join; raises no signals.
    void Clear();

    /// Adds a box from the table-definition text (LF-separated) at left/top with width/height in
    /// the diagram's units. When boxes the user has left there would cover part of it, the new
    /// box goes below them at the same left, so a box never lands on top of another. A left or
    /// top below 0 asks the diagram to choose: the box goes to the first free place in the part
    /// of the diagram that is in view (left to right, then top to bottom, beside the boxes
    /// there), and below the boxes in view when none is free. Returns false and sets *error for
    /// a malformed definition or an alias that is already in the diagram (nothing is added
    /// then).
    ///
    /// A box never starts taller than the view shows (less a margin): its column list scrolls
    /// instead. Boxes added while the diagram is hidden are fitted when it is first shown.
    bool AddTable(const QString& definition, int left, int top, int width, int height,
                  QString* error = nullptr);
    /// The same, with the box's top-left corner where a drop happened: viewportPos is in the
    /// coordinates of view()->viewport(). A box in the way moves the new one down as above.
    bool AddTableAt(const QString& definition, const QPoint& viewportPos, int width, int height,
                    QString* error = nullptr);
    /// Selects the box and scrolls the view so that it (at least its title) is in sight.
    void revealTable(const QString& alias);

    /// Lays the boxes out along their joins: each group of joined tables from left to right,
    /// starting with the left table of its first join, every table one column right of the table
    /// it is joined from (stacked when several are), the groups side by side and the tables in no
    /// join after them, in rows as wide as the view. Sizes stay; raises tablesMoved and no join
    /// signal. Also on the diagram's background menu ("Arrange Tables") and Ctrl+Shift+A. A host
    /// offers undo by keeping tableLayout() from before.
    void Arrange();

    /// The geometry of every box for a host's undo: one line per box in box order, each
    /// "alias TAB left TAB top TAB width TAB height" in scene coordinates (device-independent
    /// pixels), lines separated by line feeds.
    QString tableLayout() const;
    /// Gives the boxes of the listed aliases that geometry (sizes below a box's minimum are
    /// raised to it). Unknown aliases and malformed lines are ignored, boxes not listed stay
    /// where they are; raises no signal.
    void restoreTableLayout(const QString& layout);

    /// All joins in the order they were drawn: the count, then five lines per join (left alias,
    /// left column, right alias, right column, join type name), separated by line feeds.
    QString JoinsList() const;

    /// Draws a join programmatically (used when a stored query is loaded): raises joinAdded but
    /// not joinRequest. Returns false when an alias or column is unknown, both aliases are the
    /// same, or the type name is not one of "Inner Join", "Left Join", "Right Join", "Full Join".
    bool AddJoin(const QString& leftAlias, const QString& leftColumn, const QString& rightAlias,
                 const QString& rightColumn, const QString& joinType);

    /// The hint shown in the middle of an empty diagram (lines separated by line feeds); an empty
    /// text shows nothing.
    QString placeholderText() const { return m_placeholderText; }
    void setPlaceholderText(const QString& text);

    /// --- Tables -------------------------------------------------------------------------------
    QStringList tableAliases() const; // in the order the boxes were added
    bool hasTable(const QString& alias) const;
    QStringList tableColumns(const QString& alias) const; // empty for an unknown alias
    /// --- Output ticks ---------------------------------------------------------------------------
    /// Each column row has a check box showing whether the column is in the query's output. The
    /// host sets the ticks; the diagram never changes them itself: a click on a check box (or
    /// Space on the keyboard row) raises columnTickRequested, and the "*" row's box, which is
    /// checked when all columns are and shows a dash when some are, raises allColumns.
    /// setColumnTicked raises no signal; unknown aliases and columns are ignored (false).
    void setColumnTicked(const QString& alias, const QString& column, bool ticked);
    bool isColumnTicked(const QString& alias, const QString& column) const;
    /// Ticks exactly the listed columns of the box and clears the others.
    void setAllTicks(const QString& alias, const QStringList& tickedColumns);

    /// Box geometry in scene coordinates (null rectangle for an unknown alias).
    QRectF tableSceneRect(const QString& alias) const;
    /// Asks for the removal of a box exactly as its close button does: raises
    /// tableRemovalRequest and, when allowed, removes the box and its joins (joinRemoved for
    /// each) and raises tableRemoved. Returns true when the box was removed.
    bool requestTableRemoval(const QString& alias);

    /// --- Joins --------------------------------------------------------------------------------
    QList<DiagramJoin> joins() const; // in joins-list order
    int joinCount() const;
    /// Changes the type of join `index` (what the join's context menu does); raises joinChanged
    /// when the type actually changes. Returns false for a bad index or type name.
    bool setJoinType(int index, const QString& joinType);
    /// Removes join `index` and raises joinRemoved with its text. False for a bad index.
    bool removeJoin(int index);

    /// --- Selection and keyboard position --------------------------------------------------------
    /// One box or one join is selected at a time. Selecting a box makes it the keyboard's box.
    void selectTable(const QString& alias);
    QString selectedTable() const; // empty when no box is selected
    void selectJoin(int index);
    int selectedJoin() const; // 0 when no join is selected
    void clearSelection();
    /// The keyboard row of the selected box: a column name, "*" for the all-columns row, or an
    /// empty text when no box is selected.
    QString currentColumn() const;

    /// --- Points for real mouse events, in viewport coordinates ----------------------------------
    /// Each scrolls the box's column list and the view as needed so that the point is visible.
    /// A point of (-1, -1) means the alias, column or join is unknown.
    QGraphicsView* view() const;
    QPoint columnPoint(const QString& alias, const QString& column);
    QPoint allColumnsPoint(const QString& alias);
    /// The add button at the end of a column row ("*" for the all-columns row): one click on it
    /// chooses the column, like a double-click on the row.
    QPoint addButtonPoint(const QString& alias, const QString& column);
    /// The output check box at the start of a column row ("*" for the all-columns row).
    QPoint checkBoxPoint(const QString& alias, const QString& column);
    QPoint titlePoint(const QString& alias);
    QPoint closeButtonPoint(const QString& alias);
    QPoint resizeGripPoint(const QString& alias); // bottom-right corner of the box
    QPoint joinPoint(int index);                  // the badge in the middle of the line
    /// The line of join `index` as drawn, in scene coordinates: a curve, or a way around the
    /// boxes in between with rounded corners. Empty for a bad index.
    QPainterPath joinPath(int index) const;

signals:
    /// The user dropped a column onto a column of another box. joinText is the five-line join
    /// without the count, in the orientation it will be recorded in (see above); its type follows
    /// the keys held at the drop: none an Inner Join, Shift a Left Join (all rows of the table
    /// dragged from), Ctrl a Right Join (all rows of the table dropped onto), Ctrl+Shift a Full
    /// Join. *accept is preset to 1, setting it to 0 refuses the join (nothing is drawn). Direct
    /// connection only.
    void joinRequest(const QString& joinText, int* accept);
    /// Raised before a box is removed by the user; *allow is preset to false and must be set to
    /// true to remove the box. Direct connection only.
    void tableRemovalRequest(const QString& alias, bool* allow);
    void tableRemoved(const QString& alias);
    /// Raised after a change of the joins with the five-line text of the join concerned and its
    /// 1-based index (for joinRemoved, the index it had).
    void joinAdded(const QString& joinText, int index);
    void joinChanged(const QString& joinText, int index);
    void joinRemoved(const QString& joinText, int index);
    /// A click on a column's check box or Space on its keyboard row: ticked is the state asked
    /// for, the opposite of the one shown. The tick changes only when the host sets it.
    void columnTickRequested(const QString& alias, const QString& column, bool ticked);
    /// Double-click or Enter on the "*" row of a box, a click on its check box or Space on it;
    /// reserved is always 0.
    void allColumns(const QString& alias, int reserved);
    /// Double-click or Enter on a column row (or a click on its add button); reserved is always 0.
    void columnChosen(const QString& alias, const QString& column, int reserved);
    /// The user finished moving or resizing a box, or arranged the boxes: the layout changed.
    /// Not raised by AddTable, AddTableAt or restoreTableLayout.
    void tablesMoved();

protected:
    void changeEvent(QEvent* event) override;

private:
    friend class DiagramView;

    TableBoxItem* box(const QString& alias) const;
    /// Parses the definition and makes its box (not yet in the scene); null and *error when the
    /// text is malformed or the alias is taken.
    TableBoxItem* newBox(const QString& definition, int width, int height, QString* error) const;
    /// Puts a new box into the scene at pos and makes it the last box.
    void insertBox(TableBoxItem* box, const QPointF& pos);
    QPointF freePlace(QRectF wanted) const; // top-left of the first free place at or below wanted
    /// The first free place for a box of that size in the part of the scene in view.
    QPointF placeInView(const QSizeF& size) const;
    /// The part of the scene in view; before the diagram is shown, the part it will show first.
    QRectF visibleSceneRect() const;
    /// Lowers a new box whose top is at top so that it does not outgrow the view.
    void fitHeightToView(TableBoxItem* box, qreal top) const;
    /// Fits the boxes added while the view was hidden (called once it is shown).
    void fitPendingBoxes();
    TableBoxItem* selectedBox() const;
    JoinLineItem* selectedJoinItem() const;
    JoinLineItem* joinItem(int index) const;       // 1-based; null for a bad index
    int joinIndex(const JoinLineItem* join) const; // 1-based, 0 when unknown
    /// A join between the same two columns, drawn in either direction.
    JoinLineItem* findSameColumns(const DiagramJoin& join) const;
    JoinLineItem* addJoinItem(const DiagramJoin& join, TableBoxItem* left, int leftRow,
                              TableBoxItem* right, int rightRow);
    void deleteJoinItem(JoinLineItem* join);
    void deleteBoxItem(TableBoxItem* box);
    /// Re-routes the lines (of other boxes) that ran where a box was or now is.
    void rerouteAround(const TableBoxItem* moved, const QRectF& before);
    /// Recomputes every line (after many boxes moved at once).
    void rerouteAll();
    void requestJoinFromDrag(TableBoxItem* from, int fromRow, TableBoxItem* to, int toRow,
                             JoinType type);
    /// True when a join drawn from one box onto the other is recorded the other way round.
    bool recordsReversed(const TableBoxItem* from, const TableBoxItem* to) const;
    void activateRow(TableBoxItem* box, int row);
    /// What the row's check box does: a tick request for a column, allColumns for the "*" row.
    void requestTick(TableBoxItem* box, int row);
    void deleteSelection();
    void showJoinMenu(JoinLineItem* join, const QPoint& globalPos);
    void showTableMenu(TableBoxItem* box, const QPoint& globalPos);
    void showBackgroundMenu(const QPoint& globalPos);
    void selectItem(QObject* item); // a box, a join or null
    void raiseBox(TableBoxItem* box);
    void updateSceneRect();
    void extendSceneRect(const QRectF& sceneRect);
    QPoint viewportPoint(const QRectF& visibleSceneRect, const QPointF& scenePoint);
    void applyStyle();

    std::unique_ptr<DiagramStyle> m_style;
    QGraphicsScene* m_scene;      // Owned through Qt parent.
    DiagramView* m_view;          // Owned through Qt parent.
    QList<TableBoxItem*> m_boxes; // Owned by m_scene.
    // The boxes of m_boxes by alias: the widget names boxes by alias in every call, and a query
    // of thousands of tables makes thousands of such calls at once.
    QHash<QString, TableBoxItem*> m_boxByAlias;
    QList<JoinLineItem*> m_joins;  // Owned by m_scene.
    QObject* m_selected = nullptr; // Not owned: a box of m_boxes, a line of m_joins, or null.
    QList<QPointer<TableBoxItem>> m_unfitted; // Not owned: boxes added while the view was hidden
    qreal m_nextZ = 1;
    bool m_movingMany = false; // boxes are moved together; the lines follow once at the end
    QString m_placeholderText;
};

} // namespace marovin
