#include "ControlHarness.h"

#include "SampleDatabaseGenerator.h"

#include <QApplication>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QTest>
#include <stdexcept>

namespace marovin::test {

const std::string& SampleDatabasePath() {
    static QTemporaryDir dir;
    static const std::string path = [] {
        SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
        options.orderLines = 40;
        options.customers = 6;
        options.products = 8;
        options.wideColumns = 25; // one table of more columns than a box shows
        const std::string file = dir.filePath("northwind.sqlite").toStdString();
        std::string error;
        if (!SampleDatabaseGenerator(options).Write(file, error))
            throw std::runtime_error("cannot write the sample database: " + error);
        return file;
    }();
    return path;
}

std::shared_ptr<cDbConnection> SampleConnection() {
    auto db = std::make_shared<cDbConnection>();
    db->setStrProvider(cDbConnection::kProviderSqlite);
    db->setStrDatabase(SampleDatabasePath());
    return db;
}

ControlHarness::ControlHarness(std::shared_ptr<MemorySettingsStore> store)
    : settings(store ? std::move(store) : std::make_shared<MemorySettingsStore>()),
      db(SampleConnection()) {
    PlatformServices services;
    services.messageBox = box;
    services.settings = settings;
    services.busyPointer = busy;
    services.clipboard = std::make_shared<MemoryClipboard>();
    m_control = std::make_unique<uscMarovin>(nullptr, services);
    QObject::connect(m_control.get(), &uscMarovin::Changed, [this] { ++changed; });
    m_control->resize(1280, 900);
    m_control->show();
    if (!QTest::qWaitForWindowExposed(m_control.get()))
        throw std::runtime_error("the control was not shown");
    m_control->setDatabaseObject(db);
    m_control->setSQLQueryObject(query);
}

ControlHarness::~ControlHarness() = default;

void ControlHarness::destroyControl() {
    m_control.reset();
}

QListWidget* ControlHarness::tableList() const {
    return m_control->findChild<QListWidget*>("lstTables");
}
dvTablesAndJoins* ControlHarness::diagram() const {
    return m_control->findChild<dvTablesAndJoins*>("dvTablesAndJoins");
}
QTableView* ControlHarness::grid() const {
    return m_control->findChild<QTableView*>("jgSelectedFields");
}
QTreeWidget* ControlHarness::conditions() const {
    return m_control->findChild<QTreeWidget*>("lvConditions");
}
QTreeWidget* ControlHarness::expressions() const {
    return m_control->findChild<QTreeWidget*>("lvExpressions");
}
SqlTextView* ControlHarness::sqlView() const {
    return m_control->findChild<SqlTextView*>("txtSQLQuery");
}
QCheckBox* ControlHarness::checkBox(const char* name) const {
    return m_control->findChild<QCheckBox*>(name);
}
QPushButton* ControlHarness::button(const char* name) const {
    return m_control->findChild<QPushButton*>(name);
}

void ControlHarness::load(const std::string& xml) {
    query = std::make_shared<cSQLQuery>();
    query->LoadXmlText(xml);
    m_control->setSQLQueryObject(query);
}

void ControlHarness::placeTable(const QString& entry) {
    const auto found = tableList()->findItems(entry, Qt::MatchExactly);
    if (found.isEmpty())
        throw std::runtime_error("no table list entry " + entry.toStdString());
    tableList()->scrollToItem(found.first());
    QTest::mouseClick(tableList()->viewport(), Qt::LeftButton, {},
                      tableList()->visualItemRect(found.first()).center());
    clickButton("cmdAddTableToJoiner");
}

void ControlHarness::clickButton(const char* name) {
    QPushButton* b = button(name);
    QTest::mouseClick(b, Qt::LeftButton, {}, b->rect().center());
}

void ControlHarness::chooseColumn(const QString& alias, const QString& column) {
    const QPoint at = diagram()->columnPoint(alias, column);
    if (at.x() < 0)
        throw std::runtime_error("no column " + column.toStdString());
    QWidget* viewport = diagram()->view()->viewport();
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, at);
}

void ControlHarness::dragJoin(const QString& fromAlias, const QString& fromColumn,
                              const QString& toAlias, const QString& toColumn) {
    QWidget* viewport = diagram()->view()->viewport();
    const QPoint from = diagram()->columnPoint(fromAlias, fromColumn);
    QTest::mousePress(viewport, Qt::LeftButton, {}, from);
    const QPoint to = diagram()->columnPoint(toAlias, toColumn);
    for (int step = 1; step <= 8; ++step) {
        const QPoint p = from + (to - from) * step / 8;
        QMouseEvent move(QEvent::MouseMove, p, viewport->mapToGlobal(p), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &move);
    }
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, to);
}

QString ControlHarness::cell(int row, int column) const {
    return grid()->model()->index(row - 1, column - 1).data().toString();
}

int ControlHarness::rows() const {
    return grid()->model()->rowCount();
}

} // namespace marovin::test
