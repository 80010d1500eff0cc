// The SQL pane: the statement as assembled, its syntax check on the server and the preview of
// its first rows. Both send the statement from a worker thread, so the window keeps repainting
// and the user can cancel a long wait.

#include "marovin/DbCancellation.h"
#include "marovin/QueryParameters.h"
#include "marovin/cDbConnection.h"
#include "marovin/frmViewQueryResults.h"
#include "marovin/platform/BackgroundWork.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/uscMarovin.h"

#include <QCoreApplication>

namespace marovin {

namespace {

constexpr const char* kCheckCaption = "Check syntax SQL Query";
constexpr const char* kFireCaption = "Fire Query";
constexpr const char* kFireFailedCaption = "Fire query to database";
constexpr const char* kSelectLacking = "SELECT clause lacking";
// The viewer is always handed this limit; the fetch itself follows the setting.
constexpr std::int32_t kViewerRowLimit = 50;
constexpr std::int32_t kDefaultPreviewRows = 50;

} // namespace

bool uscMarovin::runOnServer(
    const QString& strText,
    const std::function<void(const cDbConnection&, DbCancellation*)>& work) {
    // The worker reads its own copy: the host may change its object meanwhile.
    auto db = std::make_shared<cDbConnection>(*m_db);
    auto cancellation = std::make_shared<DbCancellation>();
    BusyPointerScope busy(m_services.busyPointer.get());
    return RunInBackground(
        this, strText, [db, cancellation, work] { work(*db, cancellation.get()); },
        [cancellation] { cancellation->Cancel(); });
}

std::int32_t uscMarovin::previewRowLimit() const {
    const QString stored =
        m_services.settings->GetSetting(QStringLiteral("QueryPreview"), QStringLiteral("NrRecords"),
                                        QString::number(kDefaultPreviewRows));
    // A text that is not a whole number counts as 0, which means the default.
    const std::int32_t limit = stored.trimmed().toInt();
    return limit == 0 ? kDefaultPreviewRows : limit;
}

void uscMarovin::CheckSQLSyntax() {
    guarded(tr(kCheckCaption), [this] {
        {
            BusyPointerScope busy(m_services.busyPointer.get());
            showAssemblyResult();
        }
        if (m_strSQL.find("SELECT") == std::string::npos) {
            m_services.messageBox->Show(tr(kCheckCaption), tr(kSelectLacking),
                                        MessageIcon::Exclamation, MessageButtons::Ok);
            return;
        }
        // Each parameter marker becomes a string literal holding the parameter's name.
        const std::string statement = markersAsStringLiterals(m_strSQL);
        auto result = std::make_shared<std::string>();
        if (m_db && !runOnServer(
                        tr("Checking the syntax on the server..."),
                        [statement, result](const cDbConnection& db, DbCancellation* cancellation) {
                            *result = db.CheckSQLSyntax(statement, cancellation);
                        }))
            return;
        // Without a connection the answer is empty, and so is the message.
        m_services.messageBox->Show(tr(kCheckCaption), QString::fromStdString(*result),
                                    MessageIcon::Exclamation, MessageButtons::Ok);
    });
}

void uscMarovin::FireQuery() {
    guarded(tr(kFireFailedCaption), [this] {
        showAssemblyResult();
        std::string statement = m_strSQL;
        if (statement.find("CROSS JOIN") != std::string::npos &&
            m_services.messageBox->Show(
                tr(kFireCaption),
                tr("There are CROSS JOIN's in the query. Do you want to continue?"),
                MessageIcon::Exclamation, MessageButtons::YesNo) != MessageAnswer::Yes)
            return;
        if (m_colParameters && statement.find("<[") != std::string::npos)
            statement = SubstituteParameters(statement, m_colParameters, m_services, this);
        // Cancelled values, or too many parameters (already said): nothing more.
        if (statement.empty())
            return;
        if (statement.find("SELECT") == std::string::npos) {
            m_services.messageBox->Show(tr(kCheckCaption), tr(kSelectLacking),
                                        MessageIcon::Exclamation, MessageButtons::Ok);
            return;
        }

        frmViewQueryResults viewer(m_services, this);
        viewer.setDbConnection(m_db);
        viewer.setStrSQLQuery(statement);
        viewer.setLngNrRecordsToShow(kViewerRowLimit);

        const std::int32_t limit = previewRowLimit();
        auto error = std::make_shared<std::string>();
        auto rows = std::make_shared<std::shared_ptr<cRecordset>>();
        if (!m_db) {
            *error = "Problems connecting to database";
        } else if (!runOnServer(tr("Running the query on the server..."),
                                [statement, limit, error, rows](const cDbConnection& db,
                                                                DbCancellation* cancellation) {
                                    *rows = db.FireQuery(statement, *error, limit, cancellation);
                                })) {
            // A cancelled preview shows nothing and says nothing more.
            return;
        }
        if (!error->empty()) {
            m_services.messageBox->Show(tr(kFireFailedCaption), QString::fromStdString(*error),
                                        MessageIcon::Critical, MessageButtons::Ok);
            return;
        }
        {
            BusyPointerScope busy(m_services.busyPointer.get());
            viewer.setRecordSet(*rows);
        }
        viewer.exec();
    });
}

} // namespace marovin
