#include "QueryForm.h"

#include <QFile>
#include <exception>
#include <string>
#include <vector>

QueryForm::QueryForm(std::shared_ptr<marovin::cDbConnection> connection, QString queryFile,
                     QWidget* parent)
    : QWidget(parent), m_queryFile(std::move(queryFile)),
      m_query(std::make_shared<marovin::cSQLQuery>()) {
    m_ui.setupUi(this);
    marovin::uscMarovin* builder = m_ui.uscMarovin;

    // The host's parameters: the user may write <[FromDate]> and <[ToDate]> into conditions.
    builder->setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"FromDate", "ToDate"}));
    builder->setDatabaseObject(std::move(connection));

    // The query saved last time, if any; the builder checks it against the database.
    QFile file(m_queryFile);
    if (file.open(QIODevice::ReadOnly)) {
        try {
            m_query->LoadXmlText(file.readAll().toStdString());
        } catch (const std::exception& error) {
            m_ui.lblStatus->setText(
                tr("The saved query could not be read: %1").arg(QString::fromUtf8(error.what())));
            m_query = std::make_shared<marovin::cSQLQuery>();
        }
    }
    builder->setSQLQueryObject(m_query);
    builder->Refresh();

    // Changed comes before the builder has rebuilt its query, so the save waits for the event
    // loop's next turn.
    connect(builder, &marovin::uscMarovin::Changed, this, &QueryForm::save, Qt::QueuedConnection);
}

void QueryForm::save() {
    QFile file(m_queryFile);
    const std::string document = m_ui.uscMarovin->SQLQueryObject()->ToXmlText(true);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(document.data(), static_cast<qint64>(document.size())) < 0) {
        m_ui.lblStatus->setText(tr("The query could not be saved to %1.").arg(m_queryFile));
        return;
    }
    ++m_saveCount;
    m_ui.lblStatus->setText(tr("Saved to %1.").arg(m_queryFile));
    emit saved();
}
