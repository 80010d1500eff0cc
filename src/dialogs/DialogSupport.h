#pragma once

#include <QSize>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QWidget;

namespace marovin {

class cDbConnection;
class cTable;
class cTables;
class iBusyPointer;
class iMessageBox;
class iSettingsStore;

// Helpers the three dialogs share.

// The settings section under which each dialog keeps its last size ("width,height").
inline constexpr const char* kDialogSizesSection = "DialogSizes";

// Runs an action of an event handler; an exception is shown in a message box under the caption
// instead of reaching the event loop.
void guarded(iMessageBox* messageBox, const QString& strCaption,
             const std::function<void()>& action) noexcept;

// Asks whether to keep the changes of a dialog that is being closed without OK (buttons Yes, No
// and Cancel, exclamation icon): Yes calls keep, No calls discard, Cancel leaves the dialog open.
void askToKeepChanges(iMessageBox& messageBox, const QString& strCaption, const QString& strText,
                      const std::function<void()>& keep, const std::function<void()>& discard);

// Sets the object name and the accessible name of a control.
void nameControl(QWidget* widget, const char* objectName, const QString& accessibleName);

// Gives the dialog its remembered size, or the fallback when none is remembered or the stored
// text is unusable; the size is kept within the screen and above the layout's minimum.
void restoreDialogSize(QWidget& dialog, const iSettingsStore* settings, const QString& strKey,
                       QSize fallback);
void saveDialogSize(const QWidget& dialog, iSettingsStore* settings, const QString& strKey);

// The columns of a table of the query: the output names of its sub-query, or the columns the
// database lists for its name. The busy pointer shows while the database is asked.
std::vector<std::string> columnsOfTable(const cTable& table, const cDbConnection* connection,
                                        iBusyPointer* busyPointer);
// Every column of every table as "alias.column", each name in square brackets where the
// statement needs them (a blank, a keyword, other characters).
std::vector<std::string> tableFieldCandidates(const cTables* tables,
                                              const cDbConnection* connection,
                                              iBusyPointer* busyPointer);

QStringList toQStringList(const std::vector<std::string>& texts);

} // namespace marovin
