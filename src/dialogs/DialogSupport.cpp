#include "DialogSupport.h"

#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/cTables.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/platform/iMessageBox.h"
#include "marovin/platform/iSettingsStore.h"

#include <QGuiApplication>
#include <QLayout>
#include <QScreen>
#include <QWidget>
#include <exception>

namespace marovin {

void guarded(iMessageBox* messageBox, const QString& strCaption,
             const std::function<void()>& action) noexcept {
    QString problem;
    try {
        action();
        return;
    } catch (const std::exception& error) {
        problem = QString::fromUtf8(error.what());
    } catch (...) {
        problem = QStringLiteral("An unexpected error occurred.");
    }
    try {
        if (messageBox != nullptr)
            messageBox->Show(strCaption,
                             QStringLiteral("The action could not be completed:\r\n\r\n") + problem,
                             MessageIcon::Critical, MessageButtons::Ok);
    } catch (...) {
        // Nothing is left to tell the user with; the event loop must not see the exception.
    }
}

void nameControl(QWidget* widget, const char* objectName, const QString& accessibleName) {
    widget->setObjectName(QString::fromLatin1(objectName));
    widget->setAccessibleName(accessibleName);
}

void restoreDialogSize(QWidget& dialog, const iSettingsStore* settings, const QString& strKey,
                       QSize fallback) {
    QSize size = fallback;
    if (settings != nullptr) {
        const QStringList parts =
            settings->GetSetting(QString::fromLatin1(kDialogSizesSection), strKey, QString())
                .split(QLatin1Char(','));
        bool okWidth = false;
        bool okHeight = false;
        if (parts.size() == 2) {
            const int width = parts[0].trimmed().toInt(&okWidth);
            const int height = parts[1].trimmed().toInt(&okHeight);
            if (okWidth && okHeight && width > 0 && height > 0)
                size = QSize(width, height);
        }
    }
    if (dialog.layout() != nullptr)
        size = size.expandedTo(dialog.layout()->minimumSize());
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        size = size.boundedTo(screen->availableSize());
    dialog.resize(size);
}

void saveDialogSize(const QWidget& dialog, iSettingsStore* settings, const QString& strKey) {
    if (settings == nullptr)
        return;
    settings->SaveSetting(QString::fromLatin1(kDialogSizesSection), strKey,
                          QString::number(dialog.width()) + QLatin1Char(',') +
                              QString::number(dialog.height()));
}

std::vector<std::string> columnsOfTable(const cTable& table, const cDbConnection* connection,
                                        iBusyPointer* busyPointer) {
    std::string columns;
    if (table.blnIsSubQuery()) {
        if (const auto query = table.SubQuery())
            columns = ListOutputNames(*query);
    } else if (connection != nullptr) {
        BusyPointerScope busy(busyPointer);
        columns = connection->GetListOfFields(table.strName(), false);
    }
    return Split(columns, ",");
}

std::vector<std::string> tableFieldCandidates(const cTables* tables,
                                              const cDbConnection* connection,
                                              iBusyPointer* busyPointer) {
    std::vector<std::string> candidates;
    if (tables == nullptr)
        return candidates;
    for (const auto& table : *tables) {
        const std::string alias = table->strAlias();
        for (const auto& column : columnsOfTable(*table, connection, busyPointer))
            candidates.push_back(BracketIdentifier(Trim(alias)) + "." +
                                 BracketIdentifier(Trim(column)));
    }
    return candidates;
}

void askToKeepChanges(iMessageBox& messageBox, const QString& strCaption, const QString& strText,
                      const std::function<void()>& keep, const std::function<void()>& discard) {
    switch (messageBox.Show(strCaption, strText, MessageIcon::Exclamation,
                            MessageButtons::YesNoCancel)) {
    case MessageAnswer::Yes:
        keep();
        break;
    case MessageAnswer::No:
        discard();
        break;
    default:
        // Cancel: the dialog stays open with the user's text.
        break;
    }
}

QStringList toQStringList(const std::vector<std::string>& texts) {
    QStringList list;
    list.reserve(static_cast<qsizetype>(texts.size()));
    for (const auto& text : texts)
        list.append(QString::fromStdString(text));
    return list;
}

} // namespace marovin
