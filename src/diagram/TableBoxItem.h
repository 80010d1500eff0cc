#pragma once

#include <QGraphicsObject>
#include <QList>
#include <QString>
#include <functional>
#include <marovin/TableDefinition.h>

namespace marovin {

class DiagramStyle;
class JoinLineItem;

// The box of one table: a title bar with the alias and a close button, the "*" row for all
// columns and one row per column. Each row starts with a check box that shows whether the
// column is in the query's output (the "*" row's box is checked when all are, partly when some
// are) and ends with a link mark when a join uses the column. The rows scroll when they do not
// fit; the box is moved by its title and resized by its right and bottom edges.
//
// Row numbers: 0 is the "*" row, 1..N the columns in definition order.
class TableBoxItem : public QGraphicsObject {
    Q_OBJECT
public:
    enum class Part {
        None,
        Title,
        Close,
        Row,
        CheckBox,
        AddButton,
        ScrollBar,
        ResizeRight,
        ResizeBottom,
        ResizeCorner
    };
    struct Hit {
        Part part = Part::None;
        int row = -1; // for Row, CheckBox and AddButton
    };

    // style is Not owned: the diagram widget keeps it alive for the box's lifetime.
    TableBoxItem(const TableDefinition& definition, const QSizeF& size, const DiagramStyle* style);

    const QString& alias() const { return m_definition.strAlias; }
    QStringList columnNames() const;
    int rowCount() const { return static_cast<int>(m_definition.columns.size()) + 1; }
    int rowOfColumn(const QString& column) const; // first row with that name, -1 when none
    QString columnOfRow(int row) const;           // "*" for row 0

    QSizeF size() const { return m_size; }
    void setSize(const QSizeF& size); // clamped to the minimum size
    QSizeF minimumSize() const;
    QRectF bodyRect() const { return QRectF(QPointF(0, 0), m_size); }
    QRectF listRect() const;
    QRectF rowRect(int row) const; // in item coordinates; may lie outside listRect when scrolled
    QRectF closeRect() const;
    QRectF addButtonRect(int row) const;
    QRectF checkBoxRect(int row) const;
    QRectF scrollThumbRect() const; // null when everything fits
    // The y (item coordinates) where a join line meets the row: its middle, kept inside the
    // visible list when the row is scrolled away.
    qreal rowAnchorY(int row) const;

    Hit hitTest(const QPointF& itemPos) const;

    qreal scrollOffset() const { return m_scroll; }
    qreal maxScrollOffset() const;
    void setScrollOffset(qreal offset);
    void ensureRowVisible(int row);
    int visibleRowCount() const;

    int currentRow() const { return m_currentRow; }
    void setCurrentRow(int row);
    void setHoverRow(int row);
    void setHoverClose(bool hover);
    void setDropRow(int row);
    // The row a join started from the keyboard comes from (-1 for none): outlined until the
    // join is finished or cancelled.
    void setJoinStartRow(int row);
    int joinStartRow() const { return m_joinStartRow; }
    void setBoxSelected(bool selected);
    bool isBoxSelected() const { return m_selected; }
    void setViewFocused(bool focused);

    // Output ticks of the column rows (row 0, the "*" row, has none of its own).
    bool isRowTicked(int row) const;
    void setRowTicked(int row, bool ticked);
    int tickedCount() const;
    bool rowIsJoined(int row) const;

    void attachJoin(JoinLineItem* join);
    void detachJoin(JoinLineItem* join);
    const QList<JoinLineItem*>& attachedJoins() const { return m_joins; }
    void updateJoins();
    // Called after the box moved or changed size, with the rectangle (scene) it had before: the
    // diagram re-routes the lines of other boxes that ran there.
    void setGeometryHook(std::function<void(TableBoxItem*, const QRectF&)> hook);
    // Repaints after a change of the style (palette or font).
    void styleChanged();

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

protected:
    QVariant itemChange(GraphicsItemChange change, const QVariant& value) override;

private:
    void paintRow(QPainter* painter, int row) const;
    void paintCheckBox(QPainter* painter, int row, bool onAccent) const;
    void paintJoinedMark(QPainter* painter, const QRectF& at, bool onAccent) const;

    TableDefinition m_definition;
    QSizeF m_size;
    const DiagramStyle* m_style;  // Not owned.
    QList<JoinLineItem*> m_joins; // Not owned: the scene owns the lines.
    QList<bool> m_ticked;         // by column, row - 1
    std::function<void(TableBoxItem*, const QRectF&)> m_geometryHook;
    QRectF m_rectBeforeMove; // scene rectangle while a move is under way
    qreal m_scroll = 0;
    int m_currentRow = 0;
    int m_hoverRow = -1;
    int m_dropRow = -1;
    int m_joinStartRow = -1;
    bool m_hoverClose = false;
    bool m_selected = false;
    bool m_viewFocused = false;
};

} // namespace marovin
