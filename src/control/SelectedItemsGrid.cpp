// The selected-items grid: adding rows with unique aliases, the editing rules, moving and
// removing rows.

#include "SelectedItemsModel.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cTables.h"
#include "marovin/uscMarovin.h"

#include <QTableView>
#include <QTreeWidget>
#include <cctype>

namespace marovin {

using T = SelectedItemsTable;

void uscMarovin::AddSelectItem(const std::string& strFullFieldName, const std::string& strAlias,
                               const std::string& strAggregation, bool blnShowMessage) {
    // The panes hold names without brackets; the assembly adds them where the statement needs
    // them. "[Order].[Group]" and "Order.Group" are the same field.
    const std::vector<std::string> parts = SplitQualifiedName(strFullFieldName);
    std::string fullName;
    for (const std::string& part : parts)
        AppendWithSeparator(fullName, part, ".");
    if (m_selectedItems->table().CountWithField(fullName) > 0) {
        if (blnShowMessage)
            m_services.messageBox->Show(
                QStringLiteral("Select a Column"),
                QString::fromStdString(strFullFieldName +
                                       " is already in the list of Select items"),
                MessageIcon::Exclamation, MessageButtons::Ok);
        return;
    }

    std::string tablePart;
    std::string fieldPart;
    if (parts.size() == 3) {
        tablePart = parts[0] + "." + parts[1];
        fieldPart = parts[2];
    } else {
        tablePart = parts.empty() ? std::string() : parts[0];
        fieldPart = parts.size() > 1 ? parts[1] : std::string();
    }
    addSelectRow(tablePart, fieldPart, UnbracketIdentifier(strAlias), strAggregation);
}

void uscMarovin::addSelectRow(const std::string& tablePart, const std::string& fieldPart,
                              const std::string& strAlias, const std::string& strAggregation) {
    T::Row values;
    if (const auto table = FindTableByAlias(*m_tables, tablePart)) {
        values[T::kFromTable - 1] = table->strName();
        values[T::kTableAlias - 1] = tablePart;
    } else {
        values[T::kFromTable - 1] = tablePart;
        values[T::kTableAlias - 1] = LastNamePart(tablePart);
    }
    values[T::kSelectedField - 1] = fieldPart;
    values[T::kAggregation - 1] =
        Trim(strAggregation).empty() ? std::string("<none>") : ToUpperAscii(strAggregation);
    const int row = m_selectedItems->appendRow(values);
    m_selectedItems->setValue(row, T::kAlias,
                              GetUniqueAlias(strAlias, LastNamePart(fieldPart), row));
    // A grid with rows always has a current row, the first one until the user picks another,
    // so that the move and remove buttons act on a row as soon as they are enabled.
    if (currentGridRow() == 0)
        setCurrentGridRow(1);
    EnableButtons();
}

bool uscMarovin::IsAliasInUse(const std::string& strAlias, int intRow) const {
    const SelectedItemsTable& rows = m_selectedItems->table();
    // The row itself does not count.
    const int own = intRow >= 1 && intRow <= rows.SelectedItemsCount() &&
                            rows.Value(intRow, T::kAlias) == strAlias
                        ? 1
                        : 0;
    return rows.CountWithAlias(strAlias) > own;
}

std::string uscMarovin::GetUniqueAlias(const std::string& strProposed, const std::string& strBase,
                                       int intRow) const {
    if (!IsAliasInUse(strProposed, intRow))
        return strProposed;
    const SelectedItemsTable& rows = m_selectedItems->table();
    auto taken = [&](const std::string& candidate) {
        if (rows.CountWithAlias(candidate) > 0)
            return true;
        const QString name = QString::fromStdString(candidate);
        for (int i = 0; i < m_lvExpressions->topLevelItemCount(); ++i) {
            if (m_lvExpressions->topLevelItem(i)->text(0) == name)
                return true;
        }
        return false;
    };
    std::string candidate = strBase;
    for (int counter = 2; taken(candidate); ++counter)
        candidate = strProposed + std::to_string(counter);
    return candidate;
}

int uscMarovin::currentGridRow() const {
    const QModelIndex current = m_jgSelectedFields->currentIndex();
    return current.isValid() ? current.row() + 1 : 0;
}

void uscMarovin::setCurrentGridRow(int row) {
    const int column = std::max(0, m_jgSelectedFields->currentIndex().column());
    m_jgSelectedFields->setCurrentIndex(m_selectedItems->index(row - 1, column));
}

void uscMarovin::onGridEditCommitted(int row, int column, const QString& value) {
    if (column >= SelectedItemsModel::kSortType) {
        onGridSortEdit(row, column, value);
        return;
    }
    std::string text = value.toStdString();
    if (column == T::kAlias) {
        text = Trim(text);
        if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])))
            text[0] = '_';
        const std::string field = m_selectedItems->table().Value(row, T::kSelectedField);
        text = GetUniqueAlias(text, LastNamePart(field), row);
    }
    const std::string oldOutput = gridOutputName(row);
    m_selectedItems->setValue(row, column, text);
    // A renamed output keeps its place in the sort.
    renameSortEntry(oldOutput, gridOutputName(row));
    refreshSortViews();
    NotifyQueryChanged();
}

void uscMarovin::MoveSelectItemDown() {
    const int r = currentGridRow();
    const int n = m_selectedItems->table().SelectedItemsCount();
    if (r < 1 || r >= n)
        return;
    m_selectedItems->swapRows(r, r + 1);
    setCurrentGridRow(r + 1);
    NotifyQueryChanged();
}

void uscMarovin::MoveSelectItemUp() {
    const int r = currentGridRow();
    if (r < 2)
        return;
    m_selectedItems->swapRows(r, r - 1);
    setCurrentGridRow(r - 1);
    NotifyQueryChanged();
}

void uscMarovin::RemoveSelectItem(bool blnAskForConfirmation) {
    // The row goes without a question whatever the caller asked for.
    (void)blnAskForConfirmation;
    guarded(tr("Remove"), [this] {
        if (m_selectedItems->table().SelectedItemsCount() == 0)
            return;
        const int r = currentGridRow();
        if (r < 1)
            return;
        if (!Trim(m_selectedItems->table().Value(r, T::kFromTable)).empty())
            raiseChanged();
        removeSortEntry(gridOutputName(r));
        m_selectedItems->removeRow1(r);
        refreshSortViews();
        EnableButtons();
        NotifyQueryChanged();
    });
}

} // namespace marovin
