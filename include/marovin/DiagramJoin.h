#pragma once

#include "marovin/MarovinExport.h"

#include <QString>

namespace marovin {

/// The four kinds of join a diagram line can stand for. Left and right refer to the order of the
/// two tables in the join as it is recorded (see dvTablesAndJoins for how a drawn join is
/// oriented).
enum class JoinType { Inner, Left, Right, Full };

/// One join line of the tables-and-joins diagram: a column of one box joined to a column of
/// another box.
struct MAROVIN_EXPORT DiagramJoin {
    QString strLeftAlias;
    QString strLeftColumn;
    QString strRightAlias;
    QString strRightColumn;
    JoinType type = JoinType::Inner;

    /// The five lines of the join (left alias, left column, right alias, right column, type name)
    /// separated by line feeds, without a trailing line feed.
    QString joinText() const;

    /// The same join recorded the other way round: the two sides exchanged and the outer side
    /// with them (Left Join <-> Right Join), so it keeps the same rows.
    DiagramJoin reversed() const;

    friend bool operator==(const DiagramJoin&, const DiagramJoin&) = default;
};

/// "Inner Join", "Left Join", "Right Join" or "Full Join".
MAROVIN_EXPORT QString joinTypeName(JoinType type);

/// The type that keeps the same rows when the two sides of a join are exchanged: Left Join and
/// Right Join swap, Inner Join and Full Join stay.
MAROVIN_EXPORT JoinType mirroredJoinType(JoinType type);

/// Reads one of the four display names (exact, case-sensitive). Returns false for any other text
/// and leaves *type untouched.
MAROVIN_EXPORT bool joinTypeFromName(const QString& name, JoinType* type);

} // namespace marovin
