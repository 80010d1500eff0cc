#pragma once

#include <QStringList>
#include <QStyledItemDelegate>

namespace marovin {

class SelectedItemsModel;

// Editors of the selected-items grid: a text field for "Alias" and the drop-down of
// aggregation names for "Aggregation". Both filter the characters typed into them: letters,
// "_", the blank and backspace pass; digits pass only when the row already has an alias; any
// other character is swallowed.
class SelectedItemsDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    SelectedItemsDelegate(SelectedItemsModel* model, QStringList aggregations,
                          QObject* parent = nullptr);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;

    // Whether a typed character may reach the editor of a row whose stored alias is as given.
    static bool AcceptsCharacter(QChar character, const QString& strRowAlias);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    SelectedItemsModel* m_model; // Not owned.
    QStringList m_aggregations;
};

} // namespace marovin
