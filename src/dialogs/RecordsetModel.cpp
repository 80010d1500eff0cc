#include "RecordsetModel.h"

#include "marovin/cRecordset.h"

#include <QBrush>
#include <QPalette>
#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace marovin {

namespace {

const QString kNullText = QStringLiteral("NULL");

// Declared types whose values are numbers, whichever way the driver hands them over (SQL
// Server's decimal and money arrive as text through some drivers).
bool isNumericTypeName(const std::string& typeName) {
    std::string base;
    for (const char c : typeName) {
        if (c == '(')
            break;
        base += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    while (!base.empty() && base.back() == ' ')
        base.pop_back();
    static constexpr std::array<std::string_view, 15> kNumeric = {
        "tinyint", "smallint",         "int",    "integer",    "bigint",
        "decimal", "numeric",          "money",  "smallmoney", "float",
        "real",    "double precision", "double", "number",     "mediumint"};
    return std::find(kNumeric.begin(), kNumeric.end(), base) != kNumeric.end();
}

bool isNumberKind(DbValueKind kind) {
    return kind == DbValueKind::Integer || kind == DbValueKind::Real;
}

} // namespace

RecordsetModel::RecordsetModel(QObject* parent) : QAbstractTableModel(parent) {
    m_nullFont.setItalic(true);
}

void RecordsetModel::setRecordset(std::shared_ptr<const cRecordset> rows) {
    beginResetModel();
    m_rows = std::move(rows);
    m_numericType.clear();
    if (m_rows) {
        for (std::int32_t c = 0; c < m_rows->FieldCount(); ++c)
            m_numericType.push_back(isNumericTypeName(m_rows->FieldTypeName(c)));
    }
    endResetModel();
}

int RecordsetModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_rows ? 0 : m_rows->RecordCount();
}

int RecordsetModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_rows ? 0 : m_rows->FieldCount();
}

QString RecordsetModel::displayText(int row, int column) const {
    if (!m_rows)
        return {};
    const DbValue& value = m_rows->value(row, column);
    switch (value.Kind()) {
    case DbValueKind::Null:
        return kNullText;
    case DbValueKind::Text: {
        const std::string_view text = value.AsText();
        if (text.size() <= static_cast<std::size_t>(kMaxDisplayLength))
            return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
        return QString::fromUtf8(text.data(), kMaxDisplayLength) + QChar(0x2026);
    }
    case DbValueKind::Blob: {
        // Only as many bytes as the display shows are turned into hex digits.
        const auto bytes = value.AsBlob();
        const std::size_t shown = std::min<std::size_t>(bytes.size(), kMaxDisplayLength / 2);
        QString hex = QStringLiteral("0x") +
                      QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(bytes.data()),
                                                     static_cast<qsizetype>(shown))
                                              .toHex()
                                              .toUpper());
        if (shown < bytes.size())
            hex += QChar(0x2026);
        return hex;
    }
    case DbValueKind::Integer:
    case DbValueKind::Real:
        break;
    }
    return QString::fromStdString(value.ToString());
}

bool RecordsetModel::isNumericColumn(int column) const {
    if (column < 0 || static_cast<std::size_t>(column) >= m_numericType.size())
        return false;
    if (m_numericType[static_cast<std::size_t>(column)])
        return true;
    return m_rows && isNumberKind(m_rows->value(0, column).Kind());
}

QVariant RecordsetModel::data(const QModelIndex& index, int role) const {
    if (!m_rows || !index.isValid())
        return {};
    const int row = index.row();
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return displayText(row, column);
    case Qt::ToolTipRole: {
        const DbValue& value = m_rows->value(row, column);
        if (value.IsNull())
            return QStringLiteral("NULL (no value)");
        if (value.Kind() == DbValueKind::Text && value.AsText().empty())
            return QStringLiteral("Empty text");
        return {};
    }
    case Qt::TextAlignmentRole: {
        const DbValue& value = m_rows->value(row, column);
        const bool number =
            isNumberKind(value.Kind()) ||
            (!value.IsNull() && static_cast<std::size_t>(column) < m_numericType.size() &&
             m_numericType[static_cast<std::size_t>(column)]);
        return QVariant::fromValue(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
    }
    case Qt::FontRole:
        if (m_rows->value(row, column).IsNull())
            return m_nullFont;
        return {};
    case Qt::ForegroundRole:
        if (m_rows->value(row, column).IsNull())
            return QBrush(QPalette().color(QPalette::Disabled, QPalette::Text));
        return {};
    default:
        return {};
    }
}

QVariant RecordsetModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (m_rows && role == Qt::TextAlignmentRole && orientation == Qt::Horizontal) {
        // A column of numbers has its caption over the numbers, on the right.
        return QVariant::fromValue(Qt::AlignVCenter |
                                   (isNumericColumn(section) ? Qt::AlignRight : Qt::AlignLeft));
    }
    if (!m_rows || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (orientation == Qt::Horizontal)
        return QString::fromStdString(m_rows->FieldName(section));
    return section + 1;
}

} // namespace marovin
