#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

namespace marovin {

// The entries of the table list and the search over them. Every entry is kept once with its
// case-folded form, so that a search over 100,000 names is one pass of plain substring tests,
// and a search that only adds letters to the last one tests only the entries it showed. The
// model's rows are the entries the search shows, in list order.
class TableListModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit TableListModel(QObject* parent = nullptr);

    // Replaces every entry (the search stays); folded holds each entry's case-folded form when
    // the caller has it already (else it is empty).
    void setEntries(QStringList entries, std::vector<QString> folded = {});
    // Adds entries at the end of the list.
    void appendEntries(const QStringList& entries, const std::vector<QString>& folded = {});
    void clear() { setEntries({}); }

    // Shows only the entries containing the text, ignoring letter case; empty shows all.
    void setFilter(const QString& strText);
    const QString& filter() const { return m_filter; }

    int entryCount() const { return static_cast<int>(m_entries.size()); }
    int shownCount() const { return static_cast<int>(m_shown.size()); }
    const QString& entryAt(int entryIndex) const { return m_entries.at(entryIndex); }
    // The entry shown in a row; empty when the row is out of range.
    QString shownEntry(int row) const;
    // The row showing the entry, or -1 when it is hidden or not in the list.
    int rowOf(const QString& strEntry) const;
    bool contains(const QString& strEntry) const;
    const QStringList& entries() const { return m_entries; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    bool matches(int entryIndex) const;
    void showFrom(int firstEntry);
    // The index of names is made when first asked for, not with every list.
    void ensureIndex() const;

    QStringList m_entries;
    std::vector<QString> m_folded;
    // The list position of each entry (the first, should a name come twice).
    mutable QHash<QString, int> m_index;
    mutable bool m_blnIndexed = false;
    // Entry positions in row order.
    std::vector<int> m_shown;
    // Row of each entry, -1 when hidden; kept in step with m_shown.
    std::vector<int> m_rowOfEntry;
    QString m_filter;
    QString m_foldedFilter;
};

} // namespace marovin
