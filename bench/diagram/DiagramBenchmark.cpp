// Speed of the tables-and-joins diagram with a large query: 200 tables of 50 columns and 300
// joins (adding them, producing the joins list), dragging a box with 20 joins attached, and
// routing every line around the boxes in its way after the whole layout changed.

#include "QtBenchMain.h"

#include <QApplication>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QRandomGenerator>
#include <benchmark/benchmark.h>
#include <marovin/TableDefinition.h>
#include <marovin/dvTablesAndJoins.h>
#include <memory>
#include <vector>

namespace marovin {
namespace {

constexpr int kTables = 200;
constexpr int kColumns = 50;
constexpr int kJoins = 300;

QString alias(int i) {
    return QStringLiteral("Table%1").arg(i);
}
QString column(int c) {
    return QStringLiteral("Column%1").arg(c);
}

const std::vector<QString>& definitions() {
    static const std::vector<QString> texts = [] {
        std::vector<QString> result;
        QStringList columns;
        for (int c = 0; c < kColumns; ++c)
            columns << column(c);
        for (int i = 0; i < kTables; ++i)
            result.push_back(TableDefinition::build(alias(i), columns));
        return result;
    }();
    return texts;
}

// Places the tables the way the query builder does, in rows of ten so the scene stays square.
void addTables(dvTablesAndJoins& diagram) {
    for (int i = 0; i < kTables; ++i) {
        const int width = static_cast<int>(alias(i).size()) * 5 + 120;
        diagram.AddTable(definitions()[i], (i % 10) * 160 + 50, (i / 10) * 260 + 20, width, 300);
    }
}

struct PlannedJoin {
    int left, leftColumn, right, rightColumn;
};

const std::vector<PlannedJoin>& plannedJoins() {
    static const std::vector<PlannedJoin> joins = [] {
        std::vector<PlannedJoin> result;
        QRandomGenerator random(42);
        while (result.size() < kJoins) {
            const int left = random.bounded(kTables);
            const int right = random.bounded(kTables);
            if (left != right)
                result.push_back({left, random.bounded(kColumns), right, random.bounded(kColumns)});
        }
        return result;
    }();
    return joins;
}

void addJoins(dvTablesAndJoins& diagram) {
    static const QString types[] = {"Inner Join", "Left Join", "Right Join", "Full Join"};
    int n = 0;
    for (const PlannedJoin& j : plannedJoins()) {
        diagram.AddJoin(alias(j.left), column(j.leftColumn), alias(j.right), column(j.rightColumn),
                        types[n++ % 4]);
    }
}

std::unique_ptr<dvTablesAndJoins> shownDiagram() {
    auto diagram = std::make_unique<dvTablesAndJoins>();
    diagram->resize(1280, 800);
    diagram->show();
    QApplication::processEvents();
    return diagram;
}

void BM_AddTables(benchmark::State& state) {
    definitions();
    for (auto _ : state) {
        state.PauseTiming();
        auto diagram = std::make_unique<dvTablesAndJoins>();
        state.ResumeTiming();
        addTables(*diagram);
        benchmark::DoNotOptimize(diagram->tableAliases().size());
        state.PauseTiming();
        diagram.reset();
        state.ResumeTiming();
    }
    state.counters["tables"] = kTables;
    state.counters["columns"] = kTables * kColumns;
}
BENCHMARK(BM_AddTables)->Unit(benchmark::kMillisecond);

void BM_AddJoins(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto diagram = std::make_unique<dvTablesAndJoins>();
        addTables(*diagram);
        state.ResumeTiming();
        addJoins(*diagram);
        benchmark::DoNotOptimize(diagram->joinCount());
        state.PauseTiming();
        diagram.reset();
        state.ResumeTiming();
    }
    state.counters["joins"] = kJoins;
}
BENCHMARK(BM_AddJoins)->Unit(benchmark::kMillisecond);

void BM_JoinsList(benchmark::State& state) {
    dvTablesAndJoins diagram;
    addTables(diagram);
    addJoins(diagram);
    qsizetype size = 0;
    for (auto _ : state) {
        const QString list = diagram.JoinsList();
        size = list.size();
        benchmark::DoNotOptimize(size);
    }
    state.counters["chars"] = static_cast<double>(size);
}
BENCHMARK(BM_JoinsList)->Unit(benchmark::kMicrosecond);

void BM_Clear(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto diagram = std::make_unique<dvTablesAndJoins>();
        addTables(*diagram);
        addJoins(*diagram);
        state.ResumeTiming();
        diagram->Clear();
        state.PauseTiming();
        diagram.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_Clear)->Unit(benchmark::kMillisecond);

// The 300 joins of the big diagram link random tables of a grid of 200, so most lines have
// boxes in their way and are routed around them. Every box moves 10 pixels (a layout restored
// for an undo) and every line is routed afresh; the figure is for the whole layout.
void BM_RouteAllJoinsAfterLayoutChange(benchmark::State& state) {
    dvTablesAndJoins diagram;
    addTables(diagram);
    addJoins(diagram);
    const QString before = diagram.tableLayout();
    QStringList shifted;
    for (const QString& line : before.split(u'\n')) {
        QStringList fields = line.split(u'\t');
        fields[1] = QString::number(fields[1].toDouble() + 10);
        shifted << fields.join(u'\t');
    }
    const QString after = shifted.join(u'\n');
    int round = 0;
    for (auto _ : state) {
        diagram.restoreTableLayout(round++ % 2 ? before : after);
        benchmark::DoNotOptimize(diagram.joinPath(1).elementCount());
    }
    int routed = 0;
    for (int i = 1; i <= diagram.joinCount(); ++i)
        routed += diagram.joinPath(i).elementCount() > 6 ? 1 : 0;
    state.counters["joins"] = diagram.joinCount();
    state.counters["routedAround"] = routed;
}
BENCHMARK(BM_RouteAllJoinsAfterLayoutChange)->Unit(benchmark::kMillisecond);

// A box of the big diagram with 20 joins to other boxes, dragged by its title with real mouse
// events. Mode 0 measures the move alone (box position, the 20 join paths, scene bookkeeping);
// mode 1 also lets the event loop repaint what changed, as it does between two moves on
// screen; mode 2 repaints the whole viewport after every move (the worst frame).
void BM_DragBoxWith20Joins(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    auto diagram = shownDiagram();
    addTables(*diagram);
    addJoins(*diagram);
    const QString moved = alias(0);
    for (int k = 0; k < 20; ++k)
        diagram->AddJoin(moved, column(k), alias(1 + k), column(k), "Inner Join");
    QWidget* viewport = diagram->view()->viewport();
    const QPoint start = diagram->titlePoint(moved);
    auto send = [&](QEvent::Type type, const QPoint& at, Qt::MouseButtons buttons) {
        QMouseEvent event(type, at, viewport->mapToGlobal(at),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons,
                          Qt::NoModifier, QPointingDevice::primaryPointingDevice());
        QApplication::sendEvent(viewport, &event);
    };
    send(QEvent::MouseButtonPress, start, Qt::LeftButton);
    int step = 0;
    for (auto _ : state) {
        // Back and forth over 40 pixels, so the box stays on screen.
        const int offset = (step++ % 40);
        send(QEvent::MouseMove, start + QPoint(offset, offset / 2), Qt::LeftButton);
        if (mode == 1)
            QApplication::processEvents();
        else if (mode == 2)
            viewport->repaint();
    }
    send(QEvent::MouseButtonRelease, start, Qt::NoButton);
    state.counters["joinsOnBox"] = 20;
}
BENCHMARK(BM_DragBoxWith20Joins)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace marovin

int main(int argc, char** argv) {
    return marovin::bench::RunQtBenchmarks(argc, argv);
}
