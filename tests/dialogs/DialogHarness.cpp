#include "DialogHarness.h"

#include "marovin/cSQLQuery.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QKeyEvent>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <stdexcept>

namespace marovin::test {

std::shared_ptr<cTables> SampleTables() {
    auto tables = std::make_shared<cTables>();
    tables->Add("Customers")->setStrName("dbo.Customers");
    tables->Add("Orders")->setStrName("dbo.Orders");
    tables->Add("Order Details")->setStrName("dbo.Order Details");
    auto totals = tables->Add("Totals");
    auto query = std::make_shared<cSQLQuery>();
    auto customer = query->SelectedItems()->Add();
    customer->setStrName("Orders.CustomerID");
    auto freight = query->SelectedItems()->Add();
    freight->setStrName("Orders.Freight");
    freight->setStrAlias("TotalFreight");
    freight->setStrAggregationFunction("SUM");
    totals->setBlnIsSubQuery(true);
    totals->setSubQuery(query);
    totals->setStrName("Totals");
    return tables;
}

PlatformServices DialogTest::services() const {
    PlatformServices result;
    result.messageBox = box;
    result.settings = settings;
    result.busyPointer = busy;
    result.clipboard = std::make_shared<MemoryClipboard>();
    return result;
}

void DialogTest::show(QWidget& dialog) {
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    QApplication::setActiveWindow(&dialog);
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
}

void DialogTest::click(QAbstractButton* button) {
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, button->rect().center());
}

void DialogTest::type(QWidget* widget, const QString& text) {
    ASSERT_NE(widget, nullptr);
    for (const QChar character : text) {
        if (character.unicode() < 0x80) {
            QTest::keyClick(widget, character.toLatin1());
            continue;
        }
        // Test's key tables hold ASCII only: other characters go as the key event a keyboard
        // layout that has them would send.
        QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(character));
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_unknown, Qt::NoModifier, QString(character));
        QApplication::sendEvent(widget, &press);
        QApplication::sendEvent(widget, &release);
    }
}

void DialogTest::retype(QWidget* field, const QString& text) {
    ASSERT_NE(field, nullptr);
    field->setFocus();
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field, Qt::Key_Backspace);
    type(field, text);
}

void DialogTest::press(QWidget* widget, int key, Qt::KeyboardModifiers modifiers) {
    ASSERT_NE(widget, nullptr);
    QTest::keyClick(widget, static_cast<Qt::Key>(key), modifiers);
}

void DialogTest::pressMnemonic(QWidget* focus, int key, QAbstractButton* button) {
    ASSERT_NE(focus, nullptr);
    ASSERT_NE(button, nullptr);
    QTest::keyClick(focus, static_cast<Qt::Key>(key), Qt::AltModifier);
    ASSERT_TRUE(button->isDown()) << "the key did not reach " << button->objectName().toStdString();
    ASSERT_TRUE(QTest::qWaitFor([button] { return !button->isDown(); }));
}

void DialogTest::choose(QComboBox* box, const QString& entry) {
    ASSERT_NE(box, nullptr);
    QTest::keyClick(box, Qt::Key_F4);
    // The list's window takes the activation while it is open; the platform says so through
    // queued events, which must be handled before the list closes again.
    QApplication::processEvents();
    QAbstractItemView* view = box->view();
    ASSERT_TRUE(view->isVisible()) << "the list did not open";
    const int row = box->findText(entry);
    ASSERT_GE(row, 0) << "no entry " << entry.toStdString();
    const QModelIndex index = box->model()->index(row, box->modelColumn());
    // A long list shows only part of its entries: the entry is scrolled into sight first.
    view->scrollTo(index);
    const QRect rect = view->visualRect(index);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
    ASSERT_FALSE(view->isVisible());
    ASSERT_EQ(box->currentText(), entry);
    QApplication::processEvents();
}

QStringList DialogTest::openedEntries(QComboBox* box) {
    QTest::keyClick(box, Qt::Key_F4);
    QApplication::processEvents();
    QStringList result = entries(box);
    if (box->view()->isVisible())
        QTest::keyClick(box->view(), Qt::Key_Escape);
    box->hidePopup();
    QApplication::processEvents();
    return result;
}

QStringList DialogTest::entries(const QComboBox* box) {
    QStringList result;
    for (int i = 0; i < box->count(); ++i)
        result.append(box->itemText(i));
    return result;
}

void DialogTest::placeCaret(QPlainTextEdit* editor, int position) {
    QTest::keyClick(editor, Qt::Key_Home, Qt::ControlModifier);
    for (int i = 0; i < position; ++i)
        QTest::keyClick(editor, Qt::Key_Right);
}

QString DialogTest::focusedName() {
    QWidget* focus = QApplication::focusWidget();
    while (focus != nullptr && focus->objectName().isEmpty())
        focus = focus->parentWidget();
    if (focus != nullptr && qobject_cast<QComboBox*>(focus->parentWidget()) != nullptr &&
        !focus->parentWidget()->objectName().isEmpty())
        focus = focus->parentWidget();
    return focus != nullptr ? focus->objectName() : QString();
}

QWidget* DialogTest::visibleWidget(const QString& name) {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget->objectName() == name && widget->isVisible())
            return widget;
    }
    return nullptr;
}

QAbstractItemView* DialogTest::completionList() {
    return qobject_cast<QAbstractItemView*>(visibleWidget(QStringLiteral("lstCompletions")));
}

QStringList DialogTest::rows(const QAbstractItemView* view) {
    QStringList result;
    const QAbstractItemModel* model = view->model();
    for (int row = 0; row < model->rowCount(); ++row)
        result.append(model->index(row, 0).data().toString());
    return result;
}

QStringList DialogTest::tabWalk(QWidget* start, int steps) {
    start->setFocus();
    QStringList visited = {focusedName()};
    for (int i = 0; i < steps; ++i) {
        press(QApplication::focusWidget(), Qt::Key_Tab);
        visited.append(focusedName());
    }
    return visited;
}

void DialogTest::expectMessages(size_t count, const QString& caption, const QString& text,
                                std::optional<MessageIcon> icon,
                                std::optional<MessageButtons> buttons) const {
    ASSERT_EQ(box->shown().size(), count);
    const ScriptedMessageBox::Shown& last = box->shown().back();
    EXPECT_EQ(last.strCaption, caption);
    EXPECT_EQ(last.strText, text);
    EXPECT_TRUE(!icon || last.icon == *icon) << "icon " << static_cast<int>(last.icon);
    EXPECT_TRUE(!buttons || last.buttons == *buttons)
        << "buttons " << static_cast<int>(last.buttons);
}

bool DialogTest::everyButtonHasAKey(const QWidget& dialog) {
    bool all = true;
    for (QAbstractButton* button : dialog.findChildren<QAbstractButton*>()) {
        if (button->shortcut().isEmpty()) {
            ADD_FAILURE() << "no mnemonic or shortcut: " << button->objectName().toStdString();
            all = false;
        }
    }
    return all;
}

void DialogTest::onNextModal(std::function<void(QDialog&)> action) {
    QTimer::singleShot(0, qApp, [action] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            ADD_FAILURE() << "no modal dialog opened";
            return;
        }
        QPointer<QDialog> guard(dialog);
        action(*dialog);
        if (guard && guard->isVisible())
            guard->done(QDialog::Rejected);
    });
}

void DialogTest::noteModal(bool& opened) {
    QTimer::singleShot(0, qApp, [&opened] {
        if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
            opened = true;
            dialog->done(QDialog::Rejected);
        }
    });
}

} // namespace marovin::test
