#pragma once

#include <QAbstractTableModel>
#include <QFont>
#include <memory>
#include <vector>

namespace marovin {

class cRecordset;
class DbValue;

// A read-only table model over a detached result set: one column per field, one row per record,
// values read from the result set when the view asks for them (nothing is copied per cell).
// NULL shows as a greyed, italic "NULL", an empty string as nothing; numbers are right-aligned.
class RecordsetModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // Longer texts are cut to this many characters for display (copy and export take them whole).
    static constexpr int kMaxDisplayLength = 1000;

    explicit RecordsetModel(QObject* parent = nullptr);

    void setRecordset(std::shared_ptr<const cRecordset> rows);
    const std::shared_ptr<const cRecordset>& recordset() const { return m_rows; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    // The text a cell shows ("NULL" for NULL).
    QString displayText(int row, int column) const;
    // True when the column holds numbers: by its declared type, else by the kind of its values.
    bool isNumericColumn(int column) const;

private:
    std::shared_ptr<const cRecordset> m_rows;
    // Per column: declared numeric by its type name.
    std::vector<bool> m_numericType;
    QFont m_nullFont;
};

} // namespace marovin
