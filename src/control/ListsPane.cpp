// The conditions list and the calculated-items list: how entries are shown, their removal, and
// switching a condition on and off.

#include "marovin/Utilities.h"
#include "marovin/uscMarovin.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPalette>
#include <QTreeWidget>

namespace marovin {

namespace {

// The stored text (condition or expression) an item carries.
constexpr int kTagRole = Qt::UserRole;

QString shownText(const std::string& stored) {
    return QString::fromStdString(ReplaceAll(stored, kNewlineToken, " "));
}

} // namespace

void uscMarovin::setConditionActive(QTreeWidgetItem* item, bool blnIsActive) {
    item->setCheckState(0, blnIsActive ? Qt::Checked : Qt::Unchecked);
    if (blnIsActive)
        item->setData(0, Qt::ForegroundRole, QVariant());
    else
        item->setForeground(0,
                            QGuiApplication::palette().brush(QPalette::Disabled, QPalette::Text));
}

bool uscMarovin::conditionIsActive(const QTreeWidgetItem* item) {
    return item->checkState(0) == Qt::Checked;
}

QTreeWidgetItem* uscMarovin::addConditionItem(const std::string& strCondition, bool blnIsActive) {
    auto* item = new QTreeWidgetItem(m_lvConditions);
    // Shown with its check box, which only Ctrl+Q switches.
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setText(0, shownText(strCondition));
    item->setData(0, kTagRole, QString::fromStdString(strCondition));
    item->setToolTip(0, QString::fromStdString(strCondition));
    setConditionActive(item, blnIsActive);
    return item;
}

QTreeWidgetItem* uscMarovin::addExpressionItem(const std::string& strName,
                                               const std::string& strExpression,
                                               const std::string& strToolTip) {
    auto* item = new QTreeWidgetItem(m_lvExpressions);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setText(0, QString::fromStdString(strName));
    item->setText(1, QStringLiteral("="));
    item->setText(2, shownText(strExpression));
    item->setData(0, kTagRole, QString::fromStdString(strExpression));
    if (!strToolTip.empty()) {
        for (int c = 0; c < 3; ++c)
            item->setToolTip(c, QString::fromStdString(strToolTip));
    }
    return item;
}

void uscMarovin::RemoveCondition() {
    guarded(tr("Remove Condition"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvConditions->selectedItems();
        if (!selected.isEmpty()) {
            QTreeWidgetItem* item = selected.first();
            const MessageAnswer answer = m_services.messageBox->Show(
                QStringLiteral("Remove Condition"),
                QStringLiteral("Do you really want to remove Condition\r\n\r\n") + item->text(0),
                MessageIcon::Exclamation, MessageButtons::YesNo);
            if (answer == MessageAnswer::Yes) {
                delete m_lvConditions->takeTopLevelItem(m_lvConditions->indexOfTopLevelItem(item));
                NotifyQueryChanged();
            }
        }
        EnableButtons();
    });
}

void uscMarovin::RemoveExpression() {
    guarded(tr("Remove Expression"), [this] {
        const QList<QTreeWidgetItem*> selected = m_lvExpressions->selectedItems();
        if (!selected.isEmpty()) {
            QTreeWidgetItem* item = selected.first();
            const MessageAnswer answer = m_services.messageBox->Show(
                QStringLiteral("Remove Expression"),
                QStringLiteral("Do you really want to remove the expression for variable ") +
                    item->text(0) + QStringLiteral("?"),
                MessageIcon::Exclamation, MessageButtons::YesNo);
            if (answer == MessageAnswer::Yes) {
                delete m_lvExpressions->takeTopLevelItem(
                    m_lvExpressions->indexOfTopLevelItem(item));
                NotifyQueryChanged();
            }
        }
        EnableButtons();
    });
}

bool uscMarovin::handleListKey(QTreeWidget* list, QEvent* event) {
    const bool press = event->type() == QEvent::KeyPress;
    if ((!press && event->type() != QEvent::ShortcutOverride) || list != m_lvConditions)
        return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Q || !(key->modifiers() & Qt::ControlModifier))
        return false;
    if (!press) {
        // The key is this list's while it has the focus: a host's Ctrl+Q shortcut (Quit, say)
        // must not take it away, whether or not the key switches anything here.
        event->accept();
        return true;
    }
    // Switching conditions on and off is offered only to hosts that work with parameters.
    if (!m_colParameters)
        return true;
    const QList<QTreeWidgetItem*> selected = m_lvConditions->selectedItems();
    if (!selected.isEmpty())
        setConditionActive(selected.first(), !conditionIsActive(selected.first()));
    NotifyQueryChanged();
    return true;
}

} // namespace marovin
