#pragma once

#include "SampleDatabase.h"
#include "marovin/cDbConnection.h"
#include "marovin/cTables.h"
#include "marovin/platform/CountingBusyPointer.h"
#include "marovin/platform/MemoryClipboard.h"
#include "marovin/platform/MemorySettingsStore.h"
#include "marovin/platform/PlatformServices.h"
#include "marovin/platform/ScriptedMessageBox.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDialog>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStringList>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// Readable QString values in test failure messages.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

class QAbstractItemView;

namespace marovin::test {

// The tables of "total freight per company for German customers": Customers, Orders and
// "Order Details" from the database, and a sub-query "Totals" whose output names are
// CustomerID and TotalFreight.
std::shared_ptr<cTables> SampleTables();

// A list of parameter names as the dialogs take it.
using Names = std::shared_ptr<std::vector<std::string>>;
inline Names nameList(std::vector<std::string> names) {
    return std::make_shared<std::vector<std::string>>(std::move(names));
}

// Scripted message boxes, settings in memory, a counting busy pointer; helpers that drive the
// dialogs with real key and mouse events on the offscreen platform.
class DialogTest : public ::testing::Test {
protected:
    PlatformServices services() const;

    // The named child, failing the test when there is none.
    template <class T> static T* child(const QWidget& parent, const char* name) {
        T* found = parent.findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << "no child " << name;
        return found;
    }

    static QPushButton* button(const QWidget& parent, const char* name) {
        return child<QPushButton>(parent, name);
    }

    // Shows the dialog (not modally) and makes it the active window, so that mnemonics and
    // shortcuts reach it.
    static void show(QWidget& dialog);
    static void click(QAbstractButton* button);
    static void type(QWidget* widget, const QString& text);
    // Replaces the text of a field the way a user does: focus, Ctrl+A, Backspace, then type.
    static void retype(QWidget* field, const QString& text);
    static void press(QWidget* widget, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // Presses Alt and the key where the focus is and checks that the button takes it: a
    // mnemonic presses the button at once and releases (clicks) it a moment later, which is
    // waited for.
    static void pressMnemonic(QWidget* focus, int key, QAbstractButton* button);
    // Opens the combo box's list with F4 and clicks the entry with the mouse.
    static void choose(QComboBox* box, const QString& entry);
    // The entries the list shows once opened with F4 (closed again with Escape).
    static QStringList openedEntries(QComboBox* box);
    static QStringList entries(const QComboBox* box);
    // The plain text of an editor with its caret position.
    static QString text(const QPlainTextEdit* editor) { return editor->toPlainText(); }
    static int caret(const QPlainTextEdit* editor) { return editor->textCursor().position(); }
    // Puts the caret of an editor at a position with the mouse-free way a user would: Ctrl+Home
    // and then the Right key.
    static void placeCaret(QPlainTextEdit* editor, int position);

    // The object name of the focused control (of the combo box when its line edit has the
    // focus).
    static QString focusedName();
    // The shown widget with that object name in any window, else nullptr.
    static QWidget* visibleWidget(const QString& name);
    // The completion list of an editor while it is shown, else nullptr.
    static QAbstractItemView* completionList();
    static QStringList rows(const QAbstractItemView* view);
    // True when every button of the dialog can be reached from the keyboard: a mnemonic in its
    // caption or a shortcut.
    static bool everyButtonHasAKey(const QWidget& dialog);
    // The names of the controls the focus visits from start on as Tab is pressed steps times.
    static QStringList tabWalk(QWidget* start, int steps);

    // Checks that count message boxes were shown and that the last one had this caption and
    // text (and this icon and these buttons when given).
    void expectMessages(size_t count, const QString& caption, const QString& text,
                        std::optional<MessageIcon> icon = std::nullopt,
                        std::optional<MessageButtons> buttons = std::nullopt) const;

    // Runs the action on the modal dialog that the next exec() opens, from inside its event
    // loop; a dialog the action leaves open is closed with Cancel afterwards so no test hangs.
    static void onNextModal(std::function<void(QDialog&)> action);
    // Notes whether a modal dialog is open once the events queued now are handled, and closes
    // it (for code that must not open one).
    static void noteModal(bool& opened);

    std::shared_ptr<ScriptedMessageBox> box = std::make_shared<ScriptedMessageBox>();
    std::shared_ptr<MemorySettingsStore> settings = std::make_shared<MemorySettingsStore>();
    std::shared_ptr<CountingBusyPointer> busy = std::make_shared<CountingBusyPointer>();
};

} // namespace marovin::test
