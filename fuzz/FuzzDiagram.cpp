// The diagram's text interface. The input holds sections separated by the byte 0x1E: every
// section but the last is a table-definition text placed with AddTable (at the places the query
// builder uses, or where the diagram chooses for every third), the last is a joins-list text
// whose five-line groups are restored with AddJoin, and is also handed to restoreTableLayout.
// The diagram may refuse any of them; what it lists afterwards must agree with what it accepted
// and name only boxes and columns it holds. It is then arranged, painted, driven with a few
// keys, has a box removed and is cleared. A crash, a sanitizer report or a failed check is a
// finding.

#include <QApplication>
#include <QGraphicsView>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QStringList>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <marovin/DiagramJoin.h>
#include <marovin/TableDefinition.h>
#include <marovin/dvTablesAndJoins.h>
#include <memory>
#include <string_view>
#include <vector>

using namespace marovin;

namespace {

constexpr char kSectionSeparator = '\x1e';
constexpr size_t kMaxTables = 12;
constexpr int kMaxJoins = 64;

void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "check failed: %s\n", what);
        std::abort();
    }
}

std::vector<std::string_view> sections(std::string_view text) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (;;) {
        const size_t at = text.find(kSectionSeparator, start);
        parts.push_back(text.substr(start, at == std::string_view::npos ? at : at - start));
        if (at == std::string_view::npos)
            return parts;
        start = at + 1;
    }
}

// What the joins list says agrees with the diagram's boxes and with its own count line.
void checkJoinsList(const dvTablesAndJoins& diagram) {
    const QStringList lines = diagram.JoinsList().split(u'\n');
    bool ok = false;
    const int count = lines[0].toInt(&ok);
    check(ok && count == diagram.joinCount(), "the count line is the number of joins");
    check(lines.size() == 1 + 5 * count, "five lines per join");
    const QList<DiagramJoin> joins = diagram.joins();
    check(joins.size() == count, "joins() lists every join");
    for (int i = 0; i < count; ++i) {
        const DiagramJoin& join = joins[i];
        const int at = 1 + 5 * i;
        check(join.joinText() == QStringList(lines.mid(at, 5)).join(u'\n'),
              "joins() and the joins list agree");
        check(diagram.hasTable(join.strLeftAlias) && diagram.hasTable(join.strRightAlias),
              "a listed join names boxes that exist");
        check(join.strLeftAlias != join.strRightAlias, "a join joins two boxes");
        check(diagram.tableColumns(join.strLeftAlias).contains(join.strLeftColumn) &&
                  diagram.tableColumns(join.strRightAlias).contains(join.strRightColumn),
              "a listed join names columns of its boxes");
        JoinType type;
        check(joinTypeFromName(lines[at + 4], &type) && type == join.type,
              "a listed join has a known type");
    }
}

void sendKey(QWidget* target, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QKeyEvent press(QEvent::KeyPress, key, modifiers);
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, modifiers);
    QApplication::sendEvent(target, &release);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "marovin_fuzz_diagram";
    static char* argv[] = {name, nullptr};
    // Lives for the whole run; the fuzzer ends the process without returning here.
    new QApplication(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string_view> parts =
        sections(std::string_view(reinterpret_cast<const char*>(data), size));

    auto diagram = std::make_unique<dvTablesAndJoins>();
    diagram->resize(640, 400);

    // Tables, placed as the query builder places them.
    QStringList placed;
    const size_t tables = std::min(parts.size() - 1, kMaxTables);
    for (size_t i = 0; i < tables; ++i) {
        const QString definition =
            QString::fromUtf8(parts[i].data(), static_cast<qsizetype>(parts[i].size()));
        TableDefinition parsed;
        const bool valid = TableDefinition::parse(definition, &parsed);
        const bool duplicate = valid && placed.contains(parsed.strAlias);
        const int n = static_cast<int>(placed.size());
        const int columns = valid ? static_cast<int>(parsed.columns.size()) : 0;
        const int height = std::min(10 * (columns - 1) + 100, 300);
        QString error;
        const bool chosenPlace = i % 3 == 2;
        const bool added =
            diagram->AddTable(definition, chosenPlace ? -1 : n * 160 + 50, chosenPlace ? -1 : 20,
                              static_cast<int>(parsed.strAlias.size()) * 5 + 120, height, &error);
        check(added == (valid && !duplicate), "AddTable takes exactly the valid new tables");
        check(added || !error.isEmpty(), "a refused table says why");
        if (added) {
            placed << parsed.strAlias;
            QStringList names;
            for (const auto& column : parsed.columns)
                names << column.strName;
            check(diagram->tableColumns(parsed.strAlias) == names, "a box has its columns");
        }
    }
    check(diagram->tableAliases() == placed, "the boxes are those added, in order");

    // Joins, restored group by group from the joins-list text.
    const std::string_view joinsText = parts.back();
    const QStringList lines =
        QString::fromUtf8(joinsText.data(), static_cast<qsizetype>(joinsText.size())).split(u'\n');
    const int groups =
        std::min({lines[0].toInt(), kMaxJoins, static_cast<int>((lines.size() - 1) / 5)});
    QStringList expected;
    for (int i = 0; i < groups; ++i) {
        const int at = 1 + 5 * i;
        if (diagram->AddJoin(lines[at], lines[at + 1], lines[at + 2], lines[at + 3], lines[at + 4]))
            expected << QStringList(lines.mid(at, 5)).join(u'\n');
    }
    check(diagram->joinCount() == expected.size(), "every accepted join is listed");
    check(diagram->JoinsList() ==
              (QStringList{QString::number(expected.size())} + expected).join(u'\n'),
          "restored joins are listed as given, in order");
    checkJoinsList(*diagram);

    // The same text as a stored layout: whatever it holds, every box keeps a line of five
    // fields, and arranging moves boxes only, apart from one another.
    diagram->restoreTableLayout(
        QString::fromUtf8(joinsText.data(), static_cast<qsizetype>(joinsText.size())));
    check(diagram->tableLayout().isEmpty() ||
              diagram->tableLayout().split(u'\n').size() == placed.size(),
          "one layout line per box");
    const QString joinsBefore = diagram->JoinsList();
    diagram->Arrange();
    check(diagram->JoinsList() == joinsBefore, "arranging leaves the joins alone");
    const QStringList aliases = diagram->tableAliases();
    for (qsizetype i = 0; i < aliases.size(); ++i) {
        for (qsizetype j = i + 1; j < aliases.size(); ++j) {
            check(!diagram->tableSceneRect(aliases[i])
                       .intersects(diagram->tableSceneRect(aliases[j])),
                  "arranged boxes do not overlap");
        }
    }

    // Painted, and driven with the keys that move the selection.
    QImage image(320, 200, QImage::Format_ARGB32_Premultiplied);
    {
        QPainter painter(&image);
        diagram->render(&painter);
    }
    QWidget* view = diagram->view();
    const int keys[] = {Qt::Key_Tab,   Qt::Key_Down,   Qt::Key_End,   Qt::Key_Right,
                        Qt::Key_J,     Qt::Key_Tab,    Qt::Key_Up,    Qt::Key_L,
                        Qt::Key_Space, Qt::Key_Return, Qt::Key_Escape};
    for (size_t i = 0; i < std::min<size_t>(size % 13, std::size(keys)); ++i)
        sendKey(view, keys[i]);
    {
        QPainter painter(&image);
        diagram->render(&painter);
    }

    // One box removed, when the input has any: its joins go with it.
    if (!placed.isEmpty()) {
        const QString alias = placed[static_cast<qsizetype>(size % placed.size())];
        QObject::connect(diagram.get(), &dvTablesAndJoins::tableRemovalRequest,
                         [](const QString&, bool* allow) { *allow = true; });
        int touching = 0;
        for (const DiagramJoin& join : diagram->joins())
            touching += join.strLeftAlias == alias || join.strRightAlias == alias ? 1 : 0;
        const int before = diagram->joinCount();
        check(diagram->requestTableRemoval(alias), "an allowed removal removes the box");
        check(!diagram->hasTable(alias), "the removed box is gone");
        check(diagram->joinCount() == before - touching, "the removed box's joins are gone");
        checkJoinsList(*diagram);
    }

    diagram->Clear();
    check(diagram->JoinsList() == QStringLiteral("0"), "a cleared diagram lists no joins");
    check(diagram->tableAliases().isEmpty(), "a cleared diagram has no boxes");
    return 0;
}
