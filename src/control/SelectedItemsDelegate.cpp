#include "SelectedItemsDelegate.h"

#include "SelectedItemsModel.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>

namespace marovin {

namespace {

const char* const kRowProperty = "marovinRow";
// Set on a drop-down while the choice is being moved with keys typed into the closed box.
const char* const kKeyedProperty = "marovinKeyed";
// The sort type shown in the drop-down for a row that is not sorted (the cell itself is blank).
const char* const kUnsorted = "Unsorted";

} // namespace

SelectedItemsDelegate::SelectedItemsDelegate(SelectedItemsModel* model, QStringList aggregations,
                                             QObject* parent)
    : QStyledItemDelegate(parent), m_model(model), m_aggregations(std::move(aggregations)) {}

QWidget* SelectedItemsDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                             const QModelIndex& index) const {
    QWidget* editor = nullptr;
    const int column = index.column() + 1;
    if (column == SelectedItemsModel::kSortOrder) {
        auto* spin = new QSpinBox(parent);
        spin->setRange(1, 9999);
        editor = spin;
    } else if (column == SelectedItemsTable::kAggregation ||
               column == SelectedItemsModel::kSortType) {
        auto* combo = new QComboBox(parent);
        if (column == SelectedItemsTable::kAggregation)
            combo->addItems(m_aggregations);
        else
            combo->addItems({QString::fromLatin1(kUnsorted), QStringLiteral("Ascending"),
                             QStringLiteral("Descending")});
        // Choosing an entry from the open list ends the edit at once, as a drop-down cell does.
        // Keys typed into the closed box (letters searching, arrows) only move the choice, so
        // that "SU" reaches SUM; Enter or leaving the cell ends the edit.
        connect(combo, &QComboBox::activated, this, [this, combo] {
            if (combo->property(kKeyedProperty).toBool()) {
                combo->setProperty(kKeyedProperty, false);
                return;
            }
            emit const_cast<SelectedItemsDelegate*>(this)->commitData(combo);
            emit const_cast<SelectedItemsDelegate*>(this)->closeEditor(combo);
        });
        editor = combo;
    } else {
        editor = QStyledItemDelegate::createEditor(parent, option, index);
    }
    if (editor != nullptr)
        editor->setProperty(kRowProperty, index.row() + 1);
    return editor;
}

void SelectedItemsDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        QString text = index.data(Qt::EditRole).toString();
        if (index.column() + 1 == SelectedItemsModel::kSortType && text.isEmpty())
            text = QString::fromLatin1(kUnsorted);
        const int at = combo->findText(text);
        combo->setCurrentIndex(at < 0 ? 0 : at);
        return;
    }
    QStyledItemDelegate::setEditorData(editor, index);
}

void SelectedItemsDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                         const QModelIndex& index) const {
    if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        QString text = combo->currentText();
        if (index.column() + 1 == SelectedItemsModel::kSortType && text == QLatin1String(kUnsorted))
            text.clear();
        model->setData(index, text, Qt::EditRole);
        return;
    }
    if (auto* spin = qobject_cast<QSpinBox*>(editor)) {
        spin->interpretText();
        model->setData(index, QString::number(spin->value()), Qt::EditRole);
        return;
    }
    QStyledItemDelegate::setModelData(editor, model, index);
}

bool SelectedItemsDelegate::AcceptsCharacter(QChar character, const QString& strRowAlias) {
    const char16_t code = character.unicode();
    if ((code >= u'A' && code <= u'Z') || (code >= u'a' && code <= u'z'))
        return true;
    if (code == u'_' || code == u' ' || code == 8)
        return true;
    if (code >= u'0' && code <= u'9')
        return !strRowAlias.trimmed().isEmpty();
    return false;
}

bool SelectedItemsDelegate::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::KeyPress && qobject_cast<QComboBox*>(object) != nullptr) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool ends = key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab ||
                          key == Qt::Key_Backtab || key == Qt::Key_Escape;
        object->setProperty(kKeyedProperty, !ends);
    }
    // The typing rules are those of the alias; the drop-downs and the sort position keep theirs.
    if (event->type() == QEvent::KeyPress && qobject_cast<QLineEdit*>(object) != nullptr) {
        auto* key = static_cast<QKeyEvent*>(event);
        const QString text = key->text();
        // Only typed characters are filtered; keys that end or leave the edit (Enter, Tab,
        // Escape) and keys without text (arrows, Delete) keep their usual meaning.
        const bool editingKey = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter ||
                                key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab ||
                                key->key() == Qt::Key_Escape;
        if (!text.isEmpty() && !editingKey) {
            const int row = object->property(kRowProperty).toInt();
            const QString alias =
                QString::fromStdString(m_model->table().Value(row, SelectedItemsTable::kAlias));
            for (const QChar c : text) {
                if (!AcceptsCharacter(c, alias))
                    return true; // swallowed
            }
        }
    }
    return QStyledItemDelegate::eventFilter(object, event);
}

} // namespace marovin
