// The query builder widget on the SQLite sample database. The input holds up to three sections
// separated by the byte 0x1E:
//   1. the stored pane proportions ("RelSizesDVPanes"/"Positions"), read when the widget is made;
//   2. a query document, loaded with cSQLQuery::LoadXmlText and given to the widget (a document
//      the model refuses is skipped: the widget then edits an empty query);
//   3. a join-request text, raised by the diagram as if the user had drawn that join; when the
//      widget accepts it and it names boxes and columns of the diagram, it is drawn.
// The last column of the first box is then chosen, so the widget assembles its query from the
// panes, and the query is written as a document and read again. Message boxes answer No (or
// OK). A crash, a sanitizer report, an exception escaping the widget or a failed check is a
// finding.

#include "SampleDatabaseGenerator.h"

#include <QApplication>
#include <QDir>
#include <QStringList>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <marovin/ModelError.h>
#include <marovin/cDbConnection.h>
#include <marovin/cSQLQuery.h>
#include <marovin/dvTablesAndJoins.h>
#include <marovin/platform/CountingBusyPointer.h>
#include <marovin/platform/MemoryClipboard.h>
#include <marovin/platform/MemorySettingsStore.h>
#include <marovin/platform/ScriptedMessageBox.h>
#include <marovin/uscMarovin.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

using namespace marovin;

namespace {

constexpr char kSectionSeparator = '\x1e';

std::string g_databasePath;

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

QString qText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "marovin_fuzz_widget";
    static char* argv[] = {name, nullptr};
    // Lives for the whole run; the fuzzer ends the process without returning here.
    new QApplication(argc, argv);

    // The sample database, written once into a folder of this process.
    const std::string folder =
        QDir::tempPath().toStdString() + "/marovin-fuzz-widget-" + std::to_string(getpid());
    QDir().mkpath(QString::fromStdString(folder));
    g_databasePath = folder + "/northwind.sqlite";
    SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
    options.orderLines = 40;
    options.customers = 6;
    options.products = 8;
    std::string error;
    if (!SampleDatabaseGenerator(options).Write(g_databasePath, error)) {
        std::fprintf(stderr, "cannot write the sample database: %s\n", error.c_str());
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string_view> parts =
        sections(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::string_view positions = parts[0];
    const std::string_view document = parts.size() > 1 ? parts[1] : std::string_view();
    const std::string_view joinText = parts.size() > 2 ? parts[2] : std::string_view();

    auto settings = std::make_shared<MemorySettingsStore>();
    settings->SaveSetting(QStringLiteral("RelSizesDVPanes"), QStringLiteral("Positions"),
                          qText(positions));
    auto box = std::make_shared<ScriptedMessageBox>();
    box->setDefaultAnswer(MessageAnswer::No);
    PlatformServices services;
    services.messageBox = box;
    services.settings = settings;
    services.clipboard = std::make_shared<MemoryClipboard>();
    services.busyPointer = std::make_shared<CountingBusyPointer>();

    auto control = std::make_unique<uscMarovin>(nullptr, services);
    for (float proportion : control->paneProportions())
        check(proportion > 0.1F && proportion < 0.99F,
              "a pane proportion lies strictly between 0.1 and 0.99");
    control->resize(1000, 700);

    auto db = std::make_shared<cDbConnection>();
    db->setStrProvider(cDbConnection::kProviderSqlite);
    db->setStrDatabase(g_databasePath);
    control->setDatabaseObject(db);

    auto query = std::make_shared<cSQLQuery>();
    try {
        query->LoadXmlText(document);
    } catch (const ModelError&) {
        query = std::make_shared<cSQLQuery>();
    }
    // The model may read a document it cannot write (a join naming a table the query lacks);
    // such a query is still given to the widget, only its unchanged state cannot be compared.
    std::string given;
    bool writable = true;
    try {
        given = query->ToXmlText();
    } catch (const ModelError&) {
        writable = false;
    }
    box->clear();
    control->setSQLQueryObject(query);
    if (control->SQLQueryObject() != query) {
        // Refused: the control keeps its previous query (none here), the given object is left
        // as it was, and the user is told why.
        check(control->SQLQueryObject() == nullptr, "a refused query leaves the previous one");
        if (writable)
            check(query->ToXmlText() == given, "a refused query is left as it was");
        check(!box->shown().empty(), "a refused query is reported");
        control.reset();
        return 0;
    }

    // The join the user would have drawn: asked for, and drawn when the widget accepts it.
    auto* diagram = control->findChild<dvTablesAndJoins*>(QStringLiteral("dvTablesAndJoins"));
    check(diagram != nullptr, "the widget has its diagram");
    const QString request = qText(joinText);
    int accept = 1;
    emit diagram->joinRequest(request, &accept);
    check(accept == 0 || accept == 1, "the accept flag stays a flag");
    const QStringList lines = request.split(u'\n');
    if (accept == 1 && lines.size() == 5)
        diagram->AddJoin(lines[0], lines[1], lines[2], lines[3], lines[4]);

    // A column chosen in the first box, as a double-click on its last row does: the widget adds
    // a selected item and assembles its query from the panes.
    const QStringList aliases = diagram->tableAliases();
    if (!aliases.isEmpty()) {
        const QStringList columns = diagram->tableColumns(aliases.front());
        if (!columns.isEmpty())
            emit diagram->columnChosen(aliases.front(), columns.back(), 0);
    }

    // The widget's query, written and read again, is a document the model reads.
    const std::string written = control->SQLQueryObject()->ToXmlText();
    cSQLQuery again;
    again.LoadXmlText(written);
    const std::string rewritten = again.ToXmlText();
    cSQLQuery third;
    third.LoadXmlText(rewritten);
    check(third.ToXmlText() == rewritten, "a document is stable after one round trip");

    control.reset();
    return 0;
}
