#include <QStringList>
#include <marovin/TableDefinition.h>

namespace marovin {

namespace {

constexpr int kHeaderLines = 4;
constexpr int kLinesPerColumn = 5;
const QString kColumnTrailer = QStringLiteral("3 4 0 0");

// Shows a line's text in a message, shortened so that a huge line cannot flood it.
QString quoted(const QString& text) {
    constexpr int kMaxShown = 40;
    if (text.size() <= kMaxShown)
        return QStringLiteral("\"%1\"").arg(text);
    return QStringLiteral("\"%1...\"").arg(text.left(kMaxShown));
}

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

bool isDecimal(const QString& text) {
    if (text.isEmpty())
        return false;
    for (QChar c : text) {
        if (c < u'0' || c > u'9')
            return false;
    }
    return true;
}

} // namespace

bool TableDefinition::parse(const QString& text, TableDefinition* definition, QString* error) {
    if (text.isEmpty())
        return fail(error, QStringLiteral("The table definition is empty."));

    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines[i].contains(u'\r')) {
            return fail(error, QStringLiteral("Line %1 of the table definition contains a carriage "
                                              "return; lines must be separated by line feeds "
                                              "alone.")
                                   .arg(i + 1));
        }
    }
    if (lines.size() < kHeaderLines) {
        return fail(error, QStringLiteral("The table definition has %1 line(s); it needs at least "
                                          "four: the alias, an empty line, a blank and the "
                                          "number of columns.")
                               .arg(lines.size()));
    }
    if (lines[0].trimmed().isEmpty()) {
        return fail(error, QStringLiteral("Line 1 of the table definition must hold the table's "
                                          "alias, but it is empty."));
    }
    if (!lines[1].isEmpty()) {
        return fail(error, QStringLiteral("Line 2 of the table definition must be empty, but it "
                                          "holds %1.")
                               .arg(quoted(lines[1])));
    }
    if (lines[2] != QStringLiteral(" ")) {
        return fail(error, QStringLiteral("Line 3 of the table definition must be a single blank, "
                                          "but it holds %1.")
                               .arg(quoted(lines[2])));
    }
    bool numberOk = isDecimal(lines[3]);
    const qlonglong count = numberOk ? lines[3].toLongLong(&numberOk) : 0;
    if (!numberOk) {
        return fail(error, QStringLiteral("Line 4 of the table definition must be the number of "
                                          "columns in decimal digits, but it holds %1.")
                               .arg(quoted(lines[3])));
    }
    // A count larger than the lines could hold is refused before it is multiplied, so even
    // the largest number cannot overflow.
    const qlonglong maxCount = (lines.size() - kHeaderLines) / kLinesPerColumn + 1;
    const qlonglong expected =
        count <= maxCount ? kHeaderLines + count * kLinesPerColumn : qlonglong(-1);
    if (lines.size() != expected) {
        if (expected < 0) {
            return fail(error, QStringLiteral("The table definition announces %1 column(s), but "
                                              "it has only %2 lines.")
                                   .arg(count)
                                   .arg(lines.size()));
        }
        if (lines.size() == expected + 1 && lines.last().isEmpty()) {
            return fail(error, QStringLiteral("The table definition ends with a line feed; its "
                                              "last line must be %1.")
                                   .arg(quoted(kColumnTrailer)));
        }
        return fail(error, QStringLiteral("The table definition announces %1 column(s), which "
                                          "takes %2 lines, but it has %3 lines.")
                               .arg(count)
                               .arg(expected)
                               .arg(lines.size()));
    }

    TableDefinition parsed;
    parsed.strAlias = lines[0];
    parsed.columns.reserve(count);
    for (qlonglong k = 0; k < count; ++k) {
        const qsizetype base = kHeaderLines + k * kLinesPerColumn;
        const qlonglong column = k + 1;
        if (lines[base].isEmpty()) {
            return fail(error, QStringLiteral("Line %1 of the table definition must hold the name "
                                              "of column %2, but it is empty.")
                                   .arg(base + 1)
                                   .arg(column));
        }
        for (qsizetype empty : {base + 2, base + 3}) {
            if (!lines[empty].isEmpty()) {
                return fail(error, QStringLiteral("Line %1 of the table definition (column %2) "
                                                  "must be empty, but it holds %3.")
                                       .arg(empty + 1)
                                       .arg(column)
                                       .arg(quoted(lines[empty])));
            }
        }
        if (lines[base + 4] != kColumnTrailer) {
            return fail(error, QStringLiteral("Line %1 of the table definition (column %2) must "
                                              "be %3, but it holds %4.")
                                   .arg(base + 5)
                                   .arg(column)
                                   .arg(quoted(kColumnTrailer), quoted(lines[base + 4])));
        }
        parsed.columns.append({lines[base], lines[base + 1]});
    }
    if (definition)
        *definition = std::move(parsed);
    return true;
}

QString TableDefinition::build(const QString& alias, const QList<QString>& columnNames) {
    QStringList lines{alias, QString(), QStringLiteral(" "), QString::number(columnNames.size())};
    for (const QString& name : columnNames)
        lines << name << name << QString() << QString() << kColumnTrailer;
    return lines.join(u'\n');
}

} // namespace marovin
