// marovin-host: an example host of the Marovin query builder.
//   marovin-host DATABASE.sqlite QUERY.xml [--check]
// opens the SQLite database, shows the query kept in QUERY.xml and saves it after every edit.
// --check places the first listed table as a user would, waits for the save, prints the saved
// statement and quits (exit status 0 when the saved query has that one table more): the smoke
// test of an installed Marovin.
#include "QueryForm.h"

#include <QApplication>
#include <QListView>
#include <QTimer>
#include <iostream>

namespace {

int check(QueryForm& form) {
    marovin::uscMarovin* builder = form.builder();
    const long tablesBefore = builder->SQLQueryObject()->Tables()->Count();
    QTimer poll;
    int waited = 0;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        waited += 50;
        if (waited > 60000) {
            std::cerr << "marovin-host: the table list did not arrive\n";
            QApplication::exit(1);
        }
        auto* tables = builder->findChild<QListView*>(QStringLiteral("lstTables"));
        if (builder->blnReadingTableList() || tables == nullptr || tables->model() == nullptr ||
            tables->model()->rowCount() == 0)
            return;
        poll.stop();
        tables->setCurrentIndex(tables->model()->index(0, 0));
        builder->SelectTable();
    });
    QObject::connect(&form, &QueryForm::saved, [&] {
        std::cout << builder->strSQL() << '\n';
        QApplication::exit(builder->SQLQueryObject()->Tables()->Count() == tablesBefore + 1 ? 0
                                                                                            : 1);
    });
    poll.start(50);
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("marovin-host"));
    const QStringList args = QApplication::arguments();
    if (args.size() < 3) {
        std::cerr << "usage: marovin-host DATABASE.sqlite QUERY.xml [--check]\n";
        return 2;
    }
    auto connection = std::make_shared<marovin::cDbConnection>();
    connection->setStrProvider(marovin::cDbConnection::kProviderSqlite);
    connection->setStrDatabase(args.at(1).toStdString());

    QueryForm form(connection, args.at(2));
    form.resize(1100, 800);
    form.show();
    if (args.contains(QStringLiteral("--check")))
        return check(form);
    return QApplication::exec();
}
