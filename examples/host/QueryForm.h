#pragma once

#include "ui_QueryForm.h"

#include <QString>
#include <QWidget>
#include <marovin/cDbConnection.h>
#include <marovin/cSQLQuery.h>
#include <marovin/uscMarovin.h>
#include <memory>

// The host's own screen (QueryForm.ui, drawn in Qt Designer): a heading, the query builder, and a
// line that says where the query was saved. The query is kept in a file and saved after every
// edit.
class QueryForm : public QWidget {
    Q_OBJECT
public:
    QueryForm(std::shared_ptr<marovin::cDbConnection> connection, QString queryFile,
              QWidget* parent = nullptr);

    marovin::uscMarovin* builder() const { return m_ui.uscMarovin; }
    // How many times the query has been saved since the form opened.
    int saveCount() const { return m_saveCount; }

signals:
    void saved();

private:
    void save();

    Ui::QueryForm m_ui;
    QString m_queryFile;
    std::shared_ptr<marovin::cSQLQuery> m_query;
    int m_saveCount = 0;
};
