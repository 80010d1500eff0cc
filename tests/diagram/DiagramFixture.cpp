#include "DiagramFixture.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace marovin::testing {

void DiagramFixture::SetUp() {
    window = std::make_unique<QWidget>();
    auto* layout = new QVBoxLayout(window.get());
    diagram = new dvTablesAndJoins(window.get());
    layout->addWidget(diagram);
    window->resize(1200, 700);
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    diagram->setFocus();
}

void DiagramFixture::TearDown() {
    window.reset();
}

bool DiagramFixture::place(const QString& alias, const QStringList& columns) {
    const int n = static_cast<int>(columns.size());
    const int height = std::min(10 * (n - 1) + 100, 300);
    QString error;
    const bool ok = diagram->AddTable(TableDefinition::build(alias, columns), placed * 160 + 50, 20,
                                      static_cast<int>(alias.size()) * 5 + 120, height, &error);
    EXPECT_TRUE(ok) << error.toStdString();
    if (ok)
        ++placed;
    return ok;
}

void DiagramFixture::placeSample() {
    place("Customers", {"CustomerID", "CompanyName", "City"});
    place("Orders", {"OrderID", "CustomerID", "EmployeeID", "ShipCity"});
    place("Employees", {"EmployeeID", "LastName", "City"});
}

void DiagramFixture::expectNoOverlaps() {
    const QStringList aliases = diagram->tableAliases();
    for (qsizetype i = 0; i < aliases.size(); ++i) {
        for (qsizetype j = i + 1; j < aliases.size(); ++j) {
            EXPECT_FALSE(
                diagram->tableSceneRect(aliases[i]).intersects(diagram->tableSceneRect(aliases[j])))
                << aliases[i].toStdString() << " and " << aliases[j].toStdString();
        }
    }
}

void DiagramFixture::pressAndMove(const QPoint& from, const QPoint& to) {
    QTest::mousePress(viewport(), Qt::LeftButton, Qt::NoModifier, from);
    constexpr int kSteps = 8;
    for (int i = 1; i <= kSteps; ++i)
        QTest::mouseMove(viewport(), from + (to - from) * i / kSteps);
}

void DiagramFixture::drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers atRelease) {
    pressAndMove(from, to);
    QTest::mouseRelease(viewport(), Qt::LeftButton, atRelease, to);
}

void DiagramFixture::dragColumn(const QString& fromAlias, const QString& fromColumn,
                                const QString& toAlias, const QString& toColumn,
                                Qt::KeyboardModifiers atDrop) {
    // The target first: finding it may scroll the view, which would move the source point.
    const QPoint to = diagram->columnPoint(toAlias, toColumn);
    const QPoint from = diagram->columnPoint(fromAlias, fromColumn);
    ASSERT_NE(from, QPoint(-1, -1));
    ASSERT_NE(to, QPoint(-1, -1));
    ASSERT_EQ(diagram->columnPoint(toAlias, toColumn), to) << "both columns must be on screen";
    drag(from, to, atDrop);
}

void DiagramFixture::click(const QPoint& at, Qt::MouseButton button) {
    QTest::mouseClick(viewport(), button, Qt::NoModifier, at);
}

void DiagramFixture::hover(const QPoint& at) {
    QMouseEvent move(QEvent::MouseMove, at, viewport()->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(viewport(), &move);
}

void DiagramFixture::doubleClick(const QPoint& at) {
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::NoModifier, at);
    QTest::mouseDClick(viewport(), Qt::LeftButton, Qt::NoModifier, at);
}

QString DiagramFixture::columnChosenBy(const QPoint& at) {
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    doubleClick(at);
    EXPECT_EQ(chosen.size(), 1) << "one column chosen";
    return chosen.size() == 1 ? chosen[0][1].toString() : QString();
}

void DiagramFixture::chooseFromContextMenu(const QPoint& at, const QString& actionName,
                                           QContextMenuEvent::Reason reason) {
    chooseFromMenu(
        [&] {
            if (reason == QContextMenuEvent::Mouse) {
                QTest::mousePress(viewport(), Qt::RightButton, Qt::NoModifier, at);
                QContextMenuEvent event(reason, at, viewport()->mapToGlobal(at));
                QApplication::sendEvent(viewport(), &event);
                QTest::mouseRelease(viewport(), Qt::RightButton, Qt::NoModifier, at);
            } else {
                // What Qt sends for the Menu key.
                QContextMenuEvent event(reason, at, viewport()->mapToGlobal(at));
                QApplication::sendEvent(viewport(), &event);
            }
        },
        actionName);
}

void DiagramFixture::chooseFromMenu(const std::function<void()>& open, const QString& actionName) {
    bool found = false;
    // The menu runs its own event loop; pick the action from inside it with a real click.
    QTimer::singleShot(0, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu)
            return;
        for (QAction* action : menu->actions()) {
            if (action->objectName() == actionName) {
                found = true;
                const QPoint p = menu->actionGeometry(action).center();
                QTest::mouseMove(menu, p);
                QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, p);
                return;
            }
        }
        menu->close();
    });
    open();
    EXPECT_TRUE(found) << "no menu action " << actionName.toStdString();
}

void DiagramFixture::key(Qt::Key key, Qt::KeyboardModifiers modifiers) {
    QTest::keyClick(diagram->view(), key, modifiers);
}

void DiagramFixture::keys(std::initializer_list<Qt::Key> keys, Qt::KeyboardModifiers modifiers) {
    for (const Qt::Key k : keys)
        key(k, modifiers);
}

QString joinText(const QString& leftAlias, const QString& leftColumn, const QString& rightAlias,
                 const QString& rightColumn, const QString& type) {
    return QStringList{leftAlias, leftColumn, rightAlias, rightColumn, type}.join(u'\n');
}

QString joinsList(const QStringList& joins) {
    return (QStringList{QString::number(joins.size())} + joins).join(u'\n');
}

void expectLastSignal(const QSignalSpy& spy, qsizetype count, const QVariantList& arguments) {
    ASSERT_EQ(spy.size(), count);
    ASSERT_GT(count, 0);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        EXPECT_EQ(spy.last().value(i).toString().toStdString(),
                  arguments[i].toString().toStdString())
            << "argument " << i;
    }
}

QStringList numberedColumns(int count) {
    QStringList columns;
    for (int i = 1; i <= count; ++i)
        columns << QStringLiteral("Column%1").arg(i);
    return columns;
}

} // namespace marovin::testing
