// The conditions list and the calculated-items list: how entries are shown, added and edited
// through the two builders, removed, and switched on and off.

#include "SelectedItemsModel.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cTables.h"
#include "marovin/frmConditionBuilder.h"
#include "marovin/frmExpressionBuilder.h"
#include "marovin/uscMarovin.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPalette>
#include <QTreeWidget>

namespace marovin {

namespace {

// The stored text (condition or expression) an item carries.
constexpr int kTagRole = Qt::UserRole;

QString shownText(const std::string& stored) {
    return QString::fromStdString(ReplaceAll(stored, kNewlineToken, " "));
}

// What separates a calculated item's name from its expression when it travels as one text.
constexpr std::string_view kNameArrow = " <-- ";

// Name and expression of a text "name <-- expression"; a text without the arrow is all name.
std::pair<std::string, std::string> splitAtArrow(const std::string& text) {
    const auto at = text.find(kNameArrow);
    if (at == std::string::npos)
        return {text, std::string()};
    return {text.substr(0, at), text.substr(at + kNameArrow.size())};
}

// A name as a condition may write it: brackets where the statement needs them.
std::string conditionName(const std::string& name) {
    return BracketIdentifier(Trim(name));
}

} // namespace

void uscMarovin::setConditionActive(QTreeWidgetItem* item, bool blnIsActive) {
    // The list reports every change of the item; only the user's clicks on the check box
    // switch the condition.
    QTreeWidget* list = item->treeWidget();
    const bool wasBlocked = list && list->signalsBlocked();
    if (list)
        list->blockSignals(true);
    item->setCheckState(0, blnIsActive ? Qt::Checked : Qt::Unchecked);
    if (blnIsActive)
        item->setData(0, Qt::ForegroundRole, QVariant());
    else
        item->setForeground(0,
                            QGuiApplication::palette().brush(QPalette::Disabled, QPalette::Text));
    if (list)
        list->blockSignals(wasBlocked);
}

bool uscMarovin::conditionIsActive(const QTreeWidgetItem* item) {
    return item->checkState(0) == Qt::Checked;
}

void uscMarovin::setConditionItem(QTreeWidgetItem* item, const std::string& strCondition,
                                  bool blnIsActive) {
    const QSignalBlocker quiet(m_lvConditions);
    // Shown with a check box that switches the condition on and off, like Ctrl+Q.
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    item->setText(0, shownText(strCondition));
    item->setData(0, kTagRole, QString::fromStdString(strCondition));
    item->setToolTip(0, QString::fromStdString(strCondition));
    setConditionActive(item, blnIsActive);
}

QTreeWidgetItem* uscMarovin::addConditionItem(const std::string& strCondition, bool blnIsActive) {
    QTreeWidgetItem* item;
    {
        const QSignalBlocker quiet(m_lvConditions);
        item = new QTreeWidgetItem(m_lvConditions);
    }
    setConditionItem(item, strCondition, blnIsActive);
    return item;
}

void uscMarovin::setExpressionItem(QTreeWidgetItem* item, const std::string& strName,
                                   const std::string& strExpression,
                                   const std::string& strToolTip) {
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setText(0, QString::fromStdString(strName));
    item->setText(1, QStringLiteral("="));
    item->setText(2, shownText(strExpression));
    item->setData(0, kTagRole, QString::fromStdString(strExpression));
    for (int c = 0; c < 3; ++c)
        item->setToolTip(c, QString::fromStdString(strToolTip));
}

QTreeWidgetItem* uscMarovin::addExpressionItem(const std::string& strName,
                                               const std::string& strExpression,
                                               const std::string& strToolTip) {
    auto* item = new QTreeWidgetItem(m_lvExpressions);
    setExpressionItem(item, strName, strExpression, strToolTip);
    return item;
}

std::string uscMarovin::calculatedOrAggregatedItems() const {
    std::string items;
    const SelectedItemsTable& rows = m_selectedItems->table();
    for (int r = 1; r <= rows.SelectedItemsCount(); ++r) {
        const std::string aggregation = Trim(rows.Value(r, SelectedItemsTable::kAggregation));
        if (aggregation == "<none>" || aggregation.empty())
            continue;
        std::string field;
        for (const std::string& part :
             Split(rows.Value(r, SelectedItemsTable::kSelectedField), "."))
            AppendWithSeparator(field, conditionName(part), ".");
        AppendWithSeparator(items,
                            aggregation + "(" +
                                conditionName(rows.Value(r, SelectedItemsTable::kTableAlias)) +
                                "." + field + ")",
                            "##");
    }
    for (int i = 0; i < m_lvExpressions->topLevelItemCount(); ++i)
        AppendWithSeparator(items, m_lvExpressions->topLevelItem(i)->text(2).toStdString(), "##");
    return items;
}

std::string uscMarovin::RunConditionBuilder(bool& blnIsActive, const std::string& strCondition) {
    frmConditionBuilder builder(m_services, this);
    builder.setDbMetaData(m_db);
    builder.setStrCalculatedOrAggregatedItems(calculatedOrAggregatedItems());
    builder.setObjTables(m_tables);
    builder.setStrCondition(strCondition);
    builder.setBlnIsActive(blnIsActive);
    if (m_colParameters)
        builder.setColParameters(m_colParameters);
    builder.exec();
    blnIsActive = builder.blnIsActive();
    EnableButtons();
    return builder.strCondition();
}

std::string uscMarovin::RunExpressionBuilder(const std::string& strVariableName,
                                             const std::string& strExpression) {
    frmExpressionBuilder builder(m_services, this);
    builder.setDbMetaData(m_db);
    builder.setObjTables(m_tables);
    builder.setStrVariableName(strVariableName);
    builder.setStrExpression(strExpression);
    if (m_colParameters)
        builder.setColParameters(m_colParameters);
    builder.exec();
    EnableButtons();
    // The first arrow always ends the name.
    return builder.strVariableName() + std::string(kNameArrow) +
           ReplaceAll(builder.strExpression(), kNameArrow, " <- ");
}

void uscMarovin::AddCondition() {
    guarded(tr("Add Condition"), [this] {
        bool active = true;
        const std::string condition = RunConditionBuilder(active, std::string());
        if (Trim(condition).empty())
            return;
        QTreeWidgetItem* item = addConditionItem(condition, active);
        m_lvConditions->setCurrentItem(item);
        NotifyQueryChanged();
        EnableButtons();
    });
}

void uscMarovin::EditCurrentCondition() {
    guarded(tr("Edit Condition"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvConditions->selectedItems();
        if (selected.isEmpty())
            return;
        QTreeWidgetItem* item = selected.first();
        const bool wasActive = conditionIsActive(item);
        bool active = wasActive;
        const std::string condition =
            RunConditionBuilder(active, item->data(0, kTagRole).toString().toStdString());
        // The builder may have let the list go: find the item again.
        if (m_lvConditions->indexOfTopLevelItem(item) < 0)
            return;
        if (shownText(condition) == item->text(0) && active == wasActive)
            return;
        setConditionItem(item, condition, active);
        NotifyQueryChanged();
    });
}

void uscMarovin::AddExpression() {
    guarded(tr("Add Expression"), [this] {
        const std::string returned = RunExpressionBuilder(std::string(), std::string());
        auto [name, expression] = splitAtArrow(returned);
        if (Trim(name).empty() || Trim(expression).empty())
            return;
        const SelectedItemsTable& rows = m_selectedItems->table();
        auto clashes = [&](const std::string& candidate) {
            for (int r = 1; r <= rows.SelectedItemsCount(); ++r) {
                if (rows.Value(r, SelectedItemsTable::kAlias) == candidate)
                    return true;
            }
            const QString text = QString::fromStdString(candidate);
            for (int i = 0; i < m_lvExpressions->topLevelItemCount(); ++i) {
                if (m_lvExpressions->topLevelItem(i)->text(0) == text)
                    return true;
            }
            return false;
        };
        while (clashes(name))
            name = "_" + name;
        QTreeWidgetItem* item = addExpressionItem(name, expression, returned);
        m_lvExpressions->setCurrentItem(item);
        NotifyQueryChanged();
        EnableButtons();
    });
}

void uscMarovin::EditSelectedExpression() {
    guarded(tr("Edit Expression"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvExpressions->selectedItems();
        if (selected.isEmpty())
            return;
        QTreeWidgetItem* item = selected.first();
        const std::string oldName = item->text(0).toStdString();
        const std::string oldExpression = item->data(0, kTagRole).toString().toStdString();
        const std::string returned = RunExpressionBuilder(oldName, oldExpression);
        if (m_lvExpressions->indexOfTopLevelItem(item) < 0)
            return;
        const auto [name, expression] = splitAtArrow(returned);
        // A calculated item needs both: an edit that blanks either keeps the item as it was.
        if (Trim(name).empty() || Trim(expression).empty())
            return;
        setExpressionItem(item, name, expression, returned);
        // The item keeps its place in the sort under its new name.
        renameSortEntry(oldName, name);
        refreshSortViews();
        if (name != oldName || expression != oldExpression)
            NotifyQueryChanged();
    });
}

void uscMarovin::onConditionItemChanged(QTreeWidgetItem* item, int column) {
    if (column != 0 || m_blnLoading)
        return;
    // The user clicked the check box: the colour follows, and the query with it.
    setConditionActive(item, item->checkState(0) == Qt::Checked);
    NotifyQueryChanged();
}

bool uscMarovin::handleListDoubleClick(QTreeWidget* list, QEvent* event) {
    if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton)
        return false;
    const bool selected = !list->selectedItems().isEmpty();
    if (list == m_lvConditions) {
        if (selected)
            EditCurrentCondition();
        else
            AddCondition();
    } else {
        if (selected)
            EditSelectedExpression();
        else
            AddExpression();
    }
    return true;
}

void uscMarovin::RemoveCondition() {
    guarded(tr("Remove Condition"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvConditions->selectedItems();
        if (!selected.isEmpty()) {
            QTreeWidgetItem* item = selected.first();
            const MessageAnswer answer = m_services.messageBox->Show(
                QStringLiteral("Remove Condition"),
                QStringLiteral("Do you really want to remove Condition\r\n\r\n") + item->text(0),
                MessageIcon::Exclamation, MessageButtons::YesNo);
            if (answer == MessageAnswer::Yes) {
                delete m_lvConditions->takeTopLevelItem(m_lvConditions->indexOfTopLevelItem(item));
                NotifyQueryChanged();
            }
        }
        EnableButtons();
    });
}

void uscMarovin::RemoveExpression() {
    guarded(tr("Remove Expression"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvExpressions->selectedItems();
        if (!selected.isEmpty()) {
            QTreeWidgetItem* item = selected.first();
            const MessageAnswer answer = m_services.messageBox->Show(
                QStringLiteral("Remove Expression"),
                QStringLiteral("Do you really want to remove the expression for variable ") +
                    item->text(0) + QStringLiteral("?"),
                MessageIcon::Exclamation, MessageButtons::YesNo);
            if (answer == MessageAnswer::Yes) {
                removeSortEntry(item->text(0).toStdString());
                delete m_lvExpressions->takeTopLevelItem(
                    m_lvExpressions->indexOfTopLevelItem(item));
                refreshSortViews();
                NotifyQueryChanged();
            }
        }
        EnableButtons();
    });
}

bool uscMarovin::handleListKey(QTreeWidget* list, QEvent* event) {
    const bool press = event->type() == QEvent::KeyPress;
    if (!press && event->type() != QEvent::ShortcutOverride)
        return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (press && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
        !(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
        // Enter edits the selected entry; without one the key goes on (to a dialog's default
        // button, say).
        if (list->selectedItems().isEmpty())
            return false;
        if (list == m_lvConditions)
            EditCurrentCondition();
        else
            EditSelectedExpression();
        return true;
    }
    // Insert writes a new entry and Delete removes the selected one (after asking), as the
    // buttons beside the list do.
    if (press && key->modifiers() == Qt::NoModifier &&
        (key->key() == Qt::Key_Insert || key->key() == Qt::Key_Delete)) {
        const bool conditions = list == m_lvConditions;
        if (key->key() == Qt::Key_Insert)
            conditions ? AddCondition() : AddExpression();
        else
            conditions ? RemoveCondition() : RemoveExpression();
        return true;
    }
    if (list != m_lvConditions)
        return false;
    if (key->key() != Qt::Key_Q || !(key->modifiers() & Qt::ControlModifier))
        return false;
    if (!press) {
        // The key is this list's while it has the focus: a host's Ctrl+Q shortcut (Quit, say)
        // must not take it away, whether or not the key switches anything here.
        event->accept();
        return true;
    }
    // Switching conditions on and off is offered only to hosts that work with parameters.
    if (!m_colParameters)
        return true;
    const QList<QTreeWidgetItem*> selected = m_lvConditions->selectedItems();
    if (!selected.isEmpty())
        setConditionActive(selected.first(), !conditionIsActive(selected.first()));
    NotifyQueryChanged();
    return true;
}

} // namespace marovin
