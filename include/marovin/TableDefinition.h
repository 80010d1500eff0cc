#pragma once

#include "marovin/MarovinExport.h"

#include <QList>
#include <QString>

namespace marovin {

/// A table box as described by the table-definition text that the diagram receives:
///
///   alias LF (empty line) LF " " LF N LF
///   then for each of the N columns: name LF caption LF (empty) LF (empty) LF "3 4 0 0"
///
/// with single line feeds between the lines and no trailing line feed. The caption is the text
/// shown in the box; hosts send the column name again.
struct MAROVIN_EXPORT TableDefinition {
    struct Column {
        QString strName;
        QString strCaption;
        friend bool operator==(const Column&, const Column&) = default;
    };

    QString strAlias;
    QList<Column> columns;

    /// Parses a definition text. On a malformed text returns false and, when error is given,
    /// stores a message that names the offending line; *definition is left untouched then.
    static bool parse(const QString& text, TableDefinition* definition, QString* error = nullptr);

    /// Builds the definition text of an alias and its column names (captions equal to the names).
    static QString build(const QString& alias, const QList<QString>& columnNames);
};

} // namespace marovin
