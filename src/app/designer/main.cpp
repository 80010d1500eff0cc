// marovin-designer: the query builder on a database, with query documents in files.
//
//   marovin-designer [--sqlite PATH | --server HOST --database DB [--user NAME]
//                     [--password-env VAR] [--windows-auth] [--driver NAME] | --connect]
//                    [--parameters NAME,NAME,...] [--colours system|light|dark]
//                    [--open FILE] [--screenshot PNG] [--print-sql] [--save-as FILE]
//
// Without a connection option it opens the bundled sample database. --parameters gives the
// query parameter names for this run in place of the saved ones (which stay as they are unless
// the user changes the list under Query > Parameters); --colours likewise picks the colours for
// this run only. --screenshot, --print-sql and --save-as
// run without a window system and exit when done.

#include "ConnectionDialog.h"
#include "DesignerWindow.h"
#include "ParametersDialog.h"
#include "StderrMessageBox.h"
#include "marovin/ModelMessages.h"
#include "marovin/Version.h"
#include "marovin/cDbConnection.h"
#include "marovin/platform/MessageBoxModelSink.h"
#include "marovin/platform/QtMessageBox.h"
#include "marovin/uscMarovin.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QInputDialog>
#include <QPixmap>
#include <cstdio>
#include <cstring>
#include <optional>

using namespace marovin;

namespace {

bool isScriptMode(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--screenshot") == 0 || std::strcmp(argv[i], "--print-sql") == 0 ||
            std::strcmp(argv[i], "--save-as") == 0)
            return true;
    }
    return false;
}

// In the script modes the platform plugin's notes about what an offscreen window cannot do
// (size hints, no runtime directory) are noise on standard error; other messages pass.
QtMessageHandler g_defaultHandler = nullptr;
void scriptMessageHandler(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (text.startsWith(QLatin1String("This plugin does not support")) ||
        text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set")))
        return;
    if (g_defaultHandler != nullptr)
        g_defaultHandler(type, context, text);
}

void printError(const QString& text) {
    const QByteArray line = (QStringLiteral("marovin-designer: ") + text + "\n").toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

// The sample database: MAROVIN_SAMPLE_DB, else the one installed with the program, else the one
// the build made, else one beside the program's build tree.
QString sampleDatabase() {
    const QString fromEnvironment = qEnvironmentVariable("MAROVIN_SAMPLE_DB");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const QDir programDir(QCoreApplication::applicationDirPath());
    const QString installed = programDir.filePath(QStringLiteral(MAROVIN_INSTALLED_SAMPLE_DB));
    if (QFileInfo::exists(installed))
        return QDir::cleanPath(installed);
    const QString built = QStringLiteral(MAROVIN_DEFAULT_SAMPLE_DB);
    if (QFileInfo::exists(built))
        return built;
    const QString beside = programDir.filePath("../../../sample/northwind.sqlite");
    return QFileInfo::exists(beside) ? QDir::cleanPath(beside) : built;
}

} // namespace

int main(int argc, char** argv) {
    const bool script = isScriptMode(argc, argv);
    if (script && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (script)
        g_defaultHandler = qInstallMessageHandler(scriptMessageHandler);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QString::fromLatin1(DesignerWindow::kCaption));
    QApplication::setApplicationVersion(QStringLiteral(MAROVIN_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The Marovin visual query designer."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption sqlite("sqlite", "Work on the SQLite database file PATH.", "PATH");
    const QCommandLineOption server("server", "Work on the SQL Server HOST.", "HOST");
    const QCommandLineOption database("database", "The database on the server.", "DB");
    const QCommandLineOption user("user", "The login name on the server.", "NAME");
    const QCommandLineOption passwordEnv(
        "password-env",
        "Read the password from the environment variable VAR (default "
        "MAROVIN_PASSWORD); asked for in a dialog when it is not set.",
        "VAR", "MAROVIN_PASSWORD");
    const QCommandLineOption windowsAuth("windows-auth", "Log in with the Windows account.");
    const QCommandLineOption driver("driver", "The ODBC driver for SQL Server.", "NAME");
    const QCommandLineOption connectDialog("connect", "Choose the database in a dialog.");
    const QCommandLineOption parameters(
        "parameters",
        "The query parameter names for this run, separated by commas (an empty text: none), in "
        "place of the saved ones.",
        "NAME,NAME,...");
    const QCommandLineOption colours(
        "colours", "The colours for this run: system, light or dark (View > Colours saves one).",
        "SCHEME");
    const QCommandLineOption open("open", "Open the query document FILE.", "FILE");
    const QCommandLineOption screenshot("screenshot", "Render the window to PNG and exit.", "PNG");
    const QCommandLineOption printSql("print-sql", "Write the query's SQL text and exit.");
    const QCommandLineOption saveAs("save-as", "Write the query document to FILE and exit.",
                                    "FILE");
    parser.addOptions({sqlite, server, database, user, passwordEnv, windowsAuth, driver,
                       connectDialog, parameters, colours, open, screenshot, printSql, saveAs});
    parser.process(app);

    // The names are checked before anything else happens, as the other options are.
    std::optional<QStringList> parameterNames;
    if (parser.isSet(parameters)) {
        QString error;
        parameterNames = ParametersDialog::ParseNames(parser.value(parameters), error);
        if (!parameterNames) {
            printError(QStringLiteral("--parameters: ") + error);
            return 2;
        }
    }

    std::optional<ColourScheme> colourScheme;
    if (parser.isSet(colours)) {
        colourScheme = ParseColourScheme(parser.value(colours));
        if (!colourScheme) {
            printError(QStringLiteral("--colours: \"%1\" is not one of system, light, dark.")
                           .arg(parser.value(colours)));
            return 2;
        }
    }

    PlatformServices services;
    auto scriptBox = std::make_shared<StderrMessageBox>();
    if (script)
        services.messageBox = scriptBox;
    else
        services.messageBox = std::make_shared<QtMessageBox>();
    services = services.withDefaults();
    SetModelMessageSink(std::make_shared<MessageBoxModelSink>(services.messageBox));

    DesignerWindow window(services);
    if (parameterNames)
        window.setParameters(*parameterNames);
    if (colourScheme)
        window.setColourScheme(*colourScheme, false);
    if (auto* box = dynamic_cast<QtMessageBox*>(services.messageBox.get()))
        box->setParentWidget(&window);

    // The server's options mean nothing without a server. Ignoring them would open the sample
    // database (or none) while the user believes they named another one.
    if (parser.isSet(sqlite) && parser.isSet(server)) {
        printError(QStringLiteral("give only one of --sqlite and --server"));
        return 2;
    }
    for (const QCommandLineOption* option :
         {&database, &user, &passwordEnv, &windowsAuth, &driver}) {
        if (parser.isSet(*option) && !parser.isSet(server)) {
            printError(QStringLiteral("--%1 needs --server (an SQLite file is opened with "
                                      "--sqlite PATH)")
                           .arg(option->names().constFirst()));
            return 2;
        }
    }

    std::shared_ptr<cDbConnection> connection;
    if (parser.isSet(sqlite)) {
        const QString path = parser.value(sqlite);
        if (!QFileInfo(path).isFile()) {
            printError(QStringLiteral("the SQLite database %1 does not exist").arg(path));
            return 2;
        }
        connection = std::make_shared<cDbConnection>();
        connection->setStrProvider(cDbConnection::kProviderSqlite);
        connection->setStrDatabase(path.toStdString());
    } else if (parser.isSet(server)) {
        if (!parser.isSet(database)) {
            printError(QStringLiteral("--server needs --database"));
            return 2;
        }
        connection = std::make_shared<cDbConnection>();
        connection->setStrProvider(cDbConnection::kProviderSqlServer);
        connection->setStrServer(parser.value(server).toStdString());
        connection->setStrDatabase(parser.value(database).toStdString());
        connection->setStrDriver(parser.value(driver).toStdString());
        if (parser.isSet(windowsAuth)) {
            connection->setBlnWindowsAuthentication(true);
        } else {
            connection->setStrUserName(parser.value(user).toStdString());
            const QString variable = parser.value(passwordEnv);
            if (qEnvironmentVariableIsSet(variable.toLocal8Bit().constData())) {
                connection->setStrPassword(
                    qEnvironmentVariable(variable.toLocal8Bit().constData()).toStdString());
            } else if (!script) {
                bool ok = false;
                const QString password =
                    QInputDialog::getText(nullptr, QString::fromLatin1(DesignerWindow::kCaption),
                                          QStringLiteral("Password for %1 on %2:")
                                              .arg(parser.value(user), parser.value(server)),
                                          QLineEdit::Password, QString(), &ok);
                if (!ok)
                    return 1;
                connection->setStrPassword(password.toStdString());
            }
        }
    } else if (!parser.isSet(connectDialog)) {
        const QString path = sampleDatabase();
        if (QFileInfo(path).isFile()) {
            connection = std::make_shared<cDbConnection>();
            connection->setStrProvider(cDbConnection::kProviderSqlite);
            connection->setStrDatabase(path.toStdString());
        } else if (script) {
            printError(QStringLiteral("the sample database %1 does not exist (build the target "
                                      "marovin_sample_db, or pass --sqlite PATH)")
                           .arg(path));
            return 2;
        }
    }
    // A database that cannot be opened (a file that is no database, a server that does not
    // answer, a wrong password) is said so at once rather than showing an empty table list.
    if (connection) {
        QString error;
        if (!DesignerWindow::ProbeConnection(*connection, error)) {
            if (script) {
                printError(QStringLiteral("cannot connect to %1: %2")
                               .arg(QString::fromStdString(connection->strDatabase()), error));
                return 1;
            }
            services.messageBox->Show(
                QString::fromLatin1(DesignerWindow::kCaption),
                QStringLiteral("Cannot connect to %1: %2")
                    .arg(QString::fromStdString(connection->strDatabase()), error),
                MessageIcon::Critical, MessageButtons::Ok);
            connection.reset();
        }
    }
    while (!connection && !script) {
        ConnectionDialog dialog(services.messageBox);
        if (dialog.exec() != QDialog::Accepted)
            return 0;
        connection = dialog.connection();
        QString error;
        if (!DesignerWindow::ProbeConnection(*connection, error)) {
            services.messageBox->Show(
                QString::fromLatin1(DesignerWindow::kCaption),
                QStringLiteral("Cannot connect to %1: %2")
                    .arg(QString::fromStdString(connection->strDatabase()), error),
                MessageIcon::Critical, MessageButtons::Ok);
            connection.reset();
        }
    }
    window.setConnection(connection);

    if (parser.isSet(open) && !window.OpenDocument(parser.value(open))) {
        if (script)
            return 1;
    }

    if (!script) {
        window.show();
        return QApplication::exec();
    }

    int result = 0;
    if (parser.isSet(saveAs) && !window.SaveDocumentAs(parser.value(saveAs)))
        result = 1;
    if (parser.isSet(printSql)) {
        const std::string& sql = window.control()->strSQL();
        std::fwrite(sql.data(), 1, sql.size(), stdout);
        std::fflush(stdout);
    }
    if (parser.isSet(screenshot)) {
        window.show();
        for (int i = 0; i < 5; ++i)
            QApplication::processEvents();
        if (!window.grab().save(parser.value(screenshot), "PNG")) {
            printError(QStringLiteral("cannot write %1").arg(parser.value(screenshot)));
            result = 1;
        }
    }
    return result;
}
