#include "ParametersDialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace marovin {

namespace {

// A push button with its object name and the accessible name its text says without the
// mnemonic mark.
QPushButton* makeButton(const QString& text, const char* objectName) {
    auto* button = new QPushButton(text);
    button->setObjectName(QString::fromLatin1(objectName));
    button->setAccessibleName(QString(text).remove(QLatin1Char('&')));
    return button;
}

// A label for a control: its mnemonic moves the focus there, and the control is announced by
// the label's text.
QLabel* makeLabel(const QString& text, const char* objectName, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setObjectName(QString::fromLatin1(objectName));
    label->setBuddy(buddy);
    QString plain = QString(text).remove(QLatin1Char('&'));
    if (plain.endsWith(QLatin1Char(':')))
        plain.chop(1);
    buddy->setAccessibleName(plain);
    return label;
}

} // namespace

ParametersDialog::ParametersDialog(std::shared_ptr<iMessageBox> messageBox, QWidget* parent)
    : QDialog(parent), m_messageBox(std::move(messageBox)), m_txtName(new QLineEdit),
      m_lstParameters(new QListWidget), m_cmdAdd(makeButton(tr("&Add"), "cmdAddParameter")),
      m_cmdRename(makeButton(tr("&Rename"), "cmdRenameParameter")),
      m_cmdRemove(makeButton(tr("Re&move"), "cmdRemoveParameter")),
      m_cmdUp(makeButton(tr("Move &Up"), "cmdMoveParameterUp")),
      m_cmdDown(makeButton(tr("Move &Down"), "cmdMoveParameterDown")), m_cmdOk(nullptr),
      m_cmdCancel(nullptr) {
    setObjectName(QStringLiteral("parametersDialog"));
    setWindowTitle(tr(kCaption));
    setAccessibleName(tr(kCaption));

    m_txtName->setObjectName(QStringLiteral("txtParameterName"));
    m_txtName->setPlaceholderText(tr("a new parameter name"));
    m_lstParameters->setObjectName(QStringLiteral("lstParameters"));
    m_lstParameters->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lstParameters->setEditTriggers(QAbstractItemView::EditKeyPressed |
                                     QAbstractItemView::DoubleClicked);
    m_lstParameters->setAccessibleDescription(
        tr("F2 renames the selected parameter, Delete removes it."));
    m_cmdAdd->setToolTip(tr("Add the name typed beside it (Return in the name box)"));
    m_cmdRename->setToolTip(tr("Rename the selected parameter in the list (F2)"));
    m_cmdRemove->setToolTip(tr("Remove the selected parameter (Delete)"));

    auto* hint = new QLabel(tr("A condition or calculated item names a parameter as "
                               "<[Name]>. Without parameters the query builder offers free "
                               "text for values."));
    hint->setObjectName(QStringLiteral("lblParametersHint"));
    hint->setTextFormat(Qt::PlainText);
    hint->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->setObjectName(QStringLiteral("buttonBox"));
    m_cmdOk = buttons->button(QDialogButtonBox::Ok);
    m_cmdOk->setObjectName(QStringLiteral("cmdOK"));
    m_cmdOk->setAccessibleName(tr("OK"));
    m_cmdCancel = buttons->button(QDialogButtonBox::Cancel);
    m_cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    m_cmdCancel->setAccessibleName(tr("Cancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, &ParametersDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ParametersDialog::reject);

    auto* grid = new QGridLayout;
    grid->addWidget(makeLabel(tr("&Name:"), "lblParameterName", m_txtName), 0, 0);
    grid->addWidget(m_txtName, 0, 1);
    grid->addWidget(m_cmdAdd, 0, 2);
    grid->addWidget(makeLabel(tr("&Parameters:"), "lblParameters", m_lstParameters), 1, 0, 1, 2);
    auto* side = new QVBoxLayout;
    side->addWidget(m_cmdRename);
    side->addWidget(m_cmdRemove);
    side->addSpacing(8);
    side->addWidget(m_cmdUp);
    side->addWidget(m_cmdDown);
    side->addStretch(1);
    grid->addWidget(m_lstParameters, 2, 0, 1, 2);
    grid->addLayout(side, 2, 2);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(2, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    layout->addLayout(grid, 1);
    layout->addWidget(buttons);

    // The keys follow the visual order: name, Add, list, the list's buttons, OK, Cancel.
    setTabOrder(m_txtName, m_cmdAdd);
    setTabOrder(m_cmdAdd, m_lstParameters);
    setTabOrder(m_lstParameters, m_cmdRename);
    setTabOrder(m_cmdRename, m_cmdRemove);
    setTabOrder(m_cmdRemove, m_cmdUp);
    setTabOrder(m_cmdUp, m_cmdDown);
    setTabOrder(m_cmdDown, m_cmdOk);
    setTabOrder(m_cmdOk, m_cmdCancel);

    m_txtName->installEventFilter(this);
    m_lstParameters->installEventFilter(this);
    connect(m_cmdAdd, &QPushButton::clicked, this, [this] { addTypedName(); });
    connect(m_cmdRename, &QPushButton::clicked, this, [this] { renameSelected(); });
    connect(m_cmdRemove, &QPushButton::clicked, this, [this] { removeSelected(); });
    connect(m_cmdUp, &QPushButton::clicked, this, [this] { moveSelected(-1); });
    connect(m_cmdDown, &QPushButton::clicked, this, [this] { moveSelected(1); });
    connect(m_lstParameters, &QListWidget::itemChanged, this,
            [this](QListWidgetItem* item) { checkRenamed(item); });
    connect(m_lstParameters, &QListWidget::currentRowChanged, this, [this] { updateButtons(); });
    connect(m_lstParameters, &QListWidget::itemSelectionChanged, this, [this] { updateButtons(); });

    m_txtName->setFocus();
    updateButtons();
    resize(420, 340);
}

void ParametersDialog::setNames(const QStringList& names) {
    const QSignalBlocker blocker(m_lstParameters);
    m_lstParameters->clear();
    m_names = names;
    for (const QString& name : names)
        m_lstParameters->addItem(newItem(name));
    if (m_lstParameters->count() > 0)
        m_lstParameters->setCurrentRow(0);
    updateButtons();
}

QStringList ParametersDialog::names() const {
    return m_names;
}

QString ParametersDialog::strNameProblem(const QString& strName, const QStringList& others) {
    if (strName.trimmed().isEmpty())
        return tr("A parameter name cannot be blank.");
    if (strName.trimmed() != strName)
        return tr("The parameter name \"%1\" begins or ends with a blank.").arg(strName);
    if (strName.contains(QLatin1String("<[")) || strName.contains(QLatin1String("]>")))
        return tr("The parameter name %1 contains \"<[\" or \"]>\": these mark where a "
                  "parameter's name begins and ends in a condition or calculated item.")
            .arg(strName);
    if (strName.contains(QLatin1Char(kSeparator)))
        return tr("The parameter name %1 contains a comma: commas separate the names in the "
                  "designer's settings and on its command line.")
            .arg(strName);
    if (others.contains(strName, Qt::CaseSensitive))
        return tr("There is a parameter named %1 already.").arg(strName);
    return QString();
}

std::optional<QStringList> ParametersDialog::ParseNames(const QString& strText, QString& strError) {
    QStringList names;
    if (strText.trimmed().isEmpty())
        return names;
    for (const QString& part : strText.split(QLatin1Char(kSeparator))) {
        const QString name = part.trimmed();
        strError = strNameProblem(name, names);
        if (!strError.isEmpty())
            return std::nullopt;
        names.append(name);
    }
    return names;
}

QString ParametersDialog::JoinNames(const QStringList& names) {
    return names.join(QLatin1Char(kSeparator));
}

bool ParametersDialog::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const bool plain = (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
        // Return in a name box with text adds the name; with an empty box it reaches the
        // dialog, which closes it like OK.
        if (watched == m_txtName && plain &&
            (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
            !m_txtName->text().isEmpty()) {
            addTypedName();
            return true;
        }
        if (watched == m_lstParameters && plain && key->key() == Qt::Key_Delete &&
            QApplication::focusWidget() == m_lstParameters) {
            // Only while the list itself has the focus: not a key passed on from the editor
            // of a name being renamed.
            removeSelected();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

bool ParametersDialog::addTypedName() {
    const QString name = m_txtName->text().trimmed();
    const QString problem = strNameProblem(name, m_names);
    if (!problem.isEmpty()) {
        showProblem(problem);
        m_txtName->setFocus();
        m_txtName->selectAll();
        return false;
    }
    m_names.append(name);
    {
        const QSignalBlocker blocker(m_lstParameters);
        m_lstParameters->addItem(newItem(name));
        m_lstParameters->setCurrentRow(m_lstParameters->count() - 1);
    }
    m_lstParameters->scrollToItem(m_lstParameters->currentItem());
    // Ready for the next name.
    m_txtName->clear();
    m_txtName->setFocus();
    updateButtons();
    return true;
}

void ParametersDialog::renameSelected() {
    QListWidgetItem* item = m_lstParameters->currentItem();
    if (item == nullptr || !item->isSelected())
        return;
    m_lstParameters->setFocus();
    m_lstParameters->editItem(item);
}

void ParametersDialog::removeSelected() {
    const int row = m_lstParameters->currentRow();
    if (row < 0 || !m_lstParameters->item(row)->isSelected())
        return;
    {
        const QSignalBlocker blocker(m_lstParameters);
        delete m_lstParameters->takeItem(row);
        m_names.removeAt(row);
        // The next name (or the last one) is selected, so Delete can be pressed again.
        if (m_lstParameters->count() > 0)
            m_lstParameters->setCurrentRow(std::min(row, m_lstParameters->count() - 1));
    }
    updateButtons();
}

void ParametersDialog::moveSelected(int step) {
    const int row = m_lstParameters->currentRow();
    const int target = row + step;
    if (row < 0 || target < 0 || target >= m_lstParameters->count() ||
        !m_lstParameters->item(row)->isSelected())
        return;
    {
        const QSignalBlocker blocker(m_lstParameters);
        QListWidgetItem* item = m_lstParameters->takeItem(row);
        m_lstParameters->insertItem(target, item);
        m_names.move(row, target);
        m_lstParameters->setCurrentRow(target);
    }
    updateButtons();
}

void ParametersDialog::checkRenamed(QListWidgetItem* item) {
    const int row = m_lstParameters->row(item);
    if (row < 0 || row >= m_names.size())
        return;
    const QString previous = m_names.at(row);
    const QString name = item->text().trimmed();
    QStringList others = m_names;
    others.removeAt(row);
    const QString problem = strNameProblem(name, others);
    {
        const QSignalBlocker blocker(m_lstParameters);
        item->setText(problem.isEmpty() ? name : previous);
    }
    if (problem.isEmpty()) {
        m_names[row] = name;
        return;
    }
    // The item shows its previous name at once; the message waits until the editor has
    // closed, so that the box does not come up while the editor still holds the focus. Then
    // the name is offered for editing again.
    QPointer<ParametersDialog> self(this);
    QTimer::singleShot(0, this, [self, problem, previous] {
        if (!self)
            return;
        self->showProblem(problem);
        const QList<QListWidgetItem*> found =
            self->m_lstParameters->findItems(previous, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (found.isEmpty() || !self->isVisible())
            return;
        self->m_lstParameters->setCurrentItem(found.constFirst());
        self->m_lstParameters->setFocus();
        self->m_lstParameters->editItem(found.constFirst());
    });
}

QListWidgetItem* ParametersDialog::newItem(const QString& strName) {
    auto* item = new QListWidgetItem(strName);
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable);
    return item;
}

void ParametersDialog::showProblem(const QString& strProblem) {
    m_messageBox->Show(windowTitle(), strProblem, MessageIcon::Exclamation, MessageButtons::Ok);
}

void ParametersDialog::updateButtons() {
    const int row = m_lstParameters->currentRow();
    const bool selected = row >= 0 && m_lstParameters->item(row)->isSelected();
    m_cmdRename->setEnabled(selected);
    m_cmdRemove->setEnabled(selected);
    m_cmdUp->setEnabled(selected && row > 0);
    m_cmdDown->setEnabled(selected && row < m_lstParameters->count() - 1);
}

} // namespace marovin
