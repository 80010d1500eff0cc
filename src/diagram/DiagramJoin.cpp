#include <QStringList>
#include <marovin/DiagramJoin.h>

namespace marovin {

QString DiagramJoin::joinText() const {
    return QStringList{strLeftAlias, strLeftColumn, strRightAlias, strRightColumn,
                       joinTypeName(type)}
        .join(u'\n');
}

DiagramJoin DiagramJoin::reversed() const {
    return DiagramJoin{strRightAlias, strRightColumn, strLeftAlias, strLeftColumn,
                       mirroredJoinType(type)};
}

JoinType mirroredJoinType(JoinType type) {
    switch (type) {
    case JoinType::Left:
        return JoinType::Right;
    case JoinType::Right:
        return JoinType::Left;
    case JoinType::Inner:
    case JoinType::Full:
        break;
    }
    return type;
}

QString joinTypeName(JoinType type) {
    switch (type) {
    case JoinType::Inner:
        return QStringLiteral("Inner Join");
    case JoinType::Left:
        return QStringLiteral("Left Join");
    case JoinType::Right:
        return QStringLiteral("Right Join");
    case JoinType::Full:
        return QStringLiteral("Full Join");
    }
    return QStringLiteral("Inner Join");
}

bool joinTypeFromName(const QString& name, JoinType* type) {
    for (JoinType candidate : {JoinType::Inner, JoinType::Left, JoinType::Right, JoinType::Full}) {
        if (name == joinTypeName(candidate)) {
            if (type)
                *type = candidate;
            return true;
        }
    }
    return false;
}

} // namespace marovin
