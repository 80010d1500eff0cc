// The edit history: undo and redo of every edit of the control.
//
// Every edit is published through NotifyQueryChanged, which rebuilds the query from the panes;
// the history records there what the query's document (and the boxes' places) became. A step
// back loads the document as it was before the edit into the same query object and rebuilds
// the panes from it, so the query is exactly what it was, and raises Changed once. Moving or
// arranging boxes is a step of its own that changes no query and raises no Changed.

#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/uscMarovin.h"

#include <QAction>
#include <QUndoCommand>
#include <QUndoStack>

namespace marovin {

namespace {

class SnapshotCommand final : public QUndoCommand {
public:
    using Apply = std::function<void(const uscMarovin::Snapshot&, bool)>;

    SnapshotCommand(uscMarovin::Snapshot before, uscMarovin::Snapshot after, bool layoutOnly,
                    const QString& text, Apply apply)
        : QUndoCommand(text), m_before(std::move(before)), m_after(std::move(after)),
          m_layoutOnly(layoutOnly), m_apply(std::move(apply)) {}

    void undo() override { m_apply(m_before, m_layoutOnly); }

    void redo() override {
        // Pushed after the edit happened: the first redo has nothing to do.
        if (m_done) {
            m_done = false;
            return;
        }
        m_apply(m_after, m_layoutOnly);
    }

private:
    uscMarovin::Snapshot m_before;
    uscMarovin::Snapshot m_after;
    bool m_layoutOnly;
    bool m_done = true;
    Apply m_apply;
};

} // namespace

void uscMarovin::setupHistory() {
    m_undoStack = new QUndoStack(this);
    m_undoStack->setObjectName(QStringLiteral("undoStack"));
    m_undoAction = m_undoStack->createUndoAction(this, tr("&Undo"));
    m_undoAction->setObjectName(QStringLiteral("actionUndo"));
    m_undoAction->setShortcuts(QKeySequence::Undo);
    m_redoAction = m_undoStack->createRedoAction(this, tr("&Redo"));
    m_redoAction->setObjectName(QStringLiteral("actionRedo"));
    QList<QKeySequence> redoKeys = QKeySequence::keyBindings(QKeySequence::Redo);
    const QKeySequence ctrlShiftZ(Qt::CTRL | Qt::SHIFT | Qt::Key_Z);
    if (!redoKeys.contains(ctrlShiftZ))
        redoKeys.prepend(ctrlShiftZ);
    m_redoAction->setShortcuts(redoKeys);
    // The keys work wherever the focus is inside the control; a host may put the same actions
    // into its Edit menu.
    for (QAction* action : {m_undoAction, m_redoAction}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        addAction(action);
    }
}

uscMarovin::Snapshot uscMarovin::currentSnapshot() const {
    Snapshot snapshot;
    if (m_query)
        snapshot.strDocument = m_query->ToXmlText(false);
    snapshot.strLayout = m_dvTablesAndJoins->tableLayout();
    return snapshot;
}

void uscMarovin::resetHistory() {
    m_undoStack->clear();
    m_lastSnapshot = currentSnapshot();
}

void uscMarovin::recordEdit() {
    if (m_blnRestoring || m_blnLoading)
        return;
    Snapshot now = currentSnapshot();
    if (now.strDocument == m_lastSnapshot.strDocument) {
        // Nothing of the query changed; the boxes' places are kept for the next step.
        m_lastSnapshot.strLayout = now.strLayout;
        return;
    }
    pushStep(std::move(now), false);
}

void uscMarovin::recordLayoutChange() {
    if (m_blnRestoring || m_blnLoading)
        return;
    Snapshot now = currentSnapshot();
    if (now.strLayout == m_lastSnapshot.strLayout)
        return;
    m_strEditCaption = m_strLayoutCaption.isEmpty() ? tr("Move tables") : m_strLayoutCaption;
    m_strLayoutCaption.clear();
    pushStep(std::move(now), true);
}

void uscMarovin::pushStep(Snapshot after, bool blnLayoutOnly) {
    Snapshot before = m_lastSnapshot;
    m_lastSnapshot = after;
    m_undoStack->push(
        new SnapshotCommand(std::move(before), std::move(after), blnLayoutOnly, m_strEditCaption,
                            [this](const Snapshot& snapshot, bool layoutOnly) {
                                guarded(tr("Undo"), [&] { applySnapshot(snapshot, layoutOnly); });
                            }));
}

void uscMarovin::applySnapshot(const Snapshot& snapshot, bool blnLayoutOnly) {
    m_blnRestoring = true;
    try {
        if (!blnLayoutOnly) {
            // As for any edit, the host hears of it while the query is still the old one.
            emit Changed();
            if (m_query)
                m_query->LoadXmlText(snapshot.strDocument);
            refreshPanes();
        }
        m_dvTablesAndJoins->restoreTableLayout(snapshot.strLayout);
    } catch (...) {
        m_blnRestoring = false;
        m_lastSnapshot = currentSnapshot();
        throw;
    }
    m_blnRestoring = false;
    m_lastSnapshot = currentSnapshot();
}

void uscMarovin::Undo() {
    m_undoStack->undo();
}

void uscMarovin::Redo() {
    m_undoStack->redo();
}

} // namespace marovin
