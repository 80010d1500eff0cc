#include "marovin/frmSubQuery.h"

#include "DialogSupport.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace marovin {

namespace {

const QString kQuitCaption = QStringLiteral("Edit Sub-Query");
const QString kQuitText = QStringLiteral("Sub-Query has changed. Quit anyway?");

bool isAsciiLetter(QChar c) {
    return (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
}

bool isAsciiDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

frmSubQuery::frmSubQuery(PlatformServices services, QWidget* parent)
    : QDialog(parent), m_services(services.withDefaults(this)) {
    setObjectName(QStringLiteral("frmSubQuery"));
    setWindowTitle(QString::fromLatin1(kCaption));
    setAccessibleName(QString::fromLatin1(kCaption));
    buildControls();
    EnableOk();
    restoreDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey),
                      QSize(1100, 780));
}

frmSubQuery::~frmSubQuery() = default;

void frmSubQuery::buildControls() {
    m_txtName = new QLineEdit(this);
    nameControl(m_txtName, "txtName", QStringLiteral("Name of the sub-query"));
    m_txtName->setToolTip(
        QStringLiteral("The name the sub-query is offered under in the table list: letters and "
                       "digits, not starting with a digit"));
    m_txtName->installEventFilter(this);
    m_lblName = new QLabel(QStringLiteral("&Name"), this);
    m_lblName->setObjectName(QStringLiteral("lblName"));
    m_lblName->setBuddy(m_txtName);

    m_cmdOk = new QPushButton(QStringLiteral("&OK"), this);
    nameControl(m_cmdOk, "cmdOk", QStringLiteral("OK"));
    m_cmdOk->setToolTip(QStringLiteral("Keep the sub-query as edited"));
    m_cmdOk->setDefault(true);
    m_cmdCancel = new QPushButton(QStringLiteral("C&ancel"), this);
    nameControl(m_cmdCancel, "cmdCancel", QStringLiteral("Cancel"));
    m_cmdCancel->setToolTip(QStringLiteral("Leave the sub-query as it was"));
    m_cmdCancel->setAutoDefault(false);

    // Name at the top, the editor below it, the buttons along the bottom edge.
    auto* top = new QHBoxLayout;
    top->addWidget(m_lblName);
    top->addWidget(m_txtName, 1);
    top->addStretch(2);
    auto* bottom = new QHBoxLayout;
    bottom->addStretch(1);
    bottom->addWidget(m_cmdOk);
    bottom->addWidget(m_cmdCancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(bottom);

    connect(m_txtName, &QLineEdit::textChanged, this, [this] { run([this] { EnableOk(); }); });
    connect(m_cmdOk, &QPushButton::clicked, this, [this] { run([this] { ConfirmOK(); }); });
    connect(m_cmdCancel, &QPushButton::clicked, this, [this] { reject(); });
}

void frmSubQuery::setEditor(SubQueryEditor editor) {
    m_editor = std::move(editor);
    if (m_editor.widget == nullptr)
        return;
    m_editor.widget->setParent(this);
    // Between the name row and the buttons, taking all the room the dialog has.
    static_cast<QVBoxLayout*>(layout())->insertWidget(1, m_editor.widget, 1);
    // Tab runs from the name through the editor's own views, in the editor's order, to the
    // buttons. The editor's views follow it as one stretch of the focus chain; its first and
    // last views that take Tab are the ends to link.
    QWidget* first = nullptr;
    QWidget* last = nullptr;
    for (QWidget* w = m_editor.widget->nextInFocusChain();
         w != m_editor.widget && m_editor.widget->isAncestorOf(w); w = w->nextInFocusChain()) {
        if ((w->focusPolicy() & Qt::TabFocus) == 0)
            continue;
        if (first == nullptr)
            first = w;
        last = w;
    }
    if (first != nullptr) {
        setTabOrder(m_txtName, first);
        setTabOrder(last, m_cmdOk);
    }
    setTabOrder(m_cmdOk, m_cmdCancel);
}

void frmSubQuery::setObjConnection(std::shared_ptr<cDbConnection> connection) {
    m_objConnection = std::move(connection);
}

void frmSubQuery::setObjSubQuery(const std::shared_ptr<cSQLQuery>& query) {
    if (query)
        m_strXmlSubQuery = query->ToXmlText(false);
}

void frmSubQuery::run(const std::function<void()>& action) {
    guarded(m_services.messageBox.get(), QString::fromLatin1(kCaption), action);
}

void frmSubQuery::loadEditor() {
    // The editor works on a new query rebuilt from the stored document, never on the caller's.
    auto query = std::make_shared<cSQLQuery>();
    if (!m_strXmlSubQuery.empty())
        query->LoadXmlText(m_strXmlSubQuery);
    if (m_editor.setDatabaseObject)
        m_editor.setDatabaseObject(m_objConnection);
    if (m_editor.setSQLQueryObject)
        m_editor.setSQLQueryObject(query);
    if (m_editor.setBlnBuildSubQuery)
        m_editor.setBlnBuildSubQuery(true);
    m_txtName->setText(QString::fromStdString(query->strName()));
    if (m_txtName->text().isEmpty())
        m_txtName->setText(QString::fromLatin1(kDefaultName));
    EnableOk();
    m_blnChanged = false;
}

void frmSubQuery::editorChanged() {
    run([this] {
        m_blnChanged = true;
        EnableOk();
    });
}

void frmSubQuery::EnableOk() {
    m_cmdOk->setEnabled(!Trim(m_txtName->text().toStdString()).empty());
}

void frmSubQuery::ConfirmOK() {
    std::shared_ptr<cSQLQuery> query =
        m_editor.SQLQueryObject ? m_editor.SQLQueryObject() : nullptr;
    if (query)
        query->setStrName(m_txtName->text().toStdString());
    m_objSubQuery = std::move(query);
    m_blnChanged = false;
    accept();
}

void frmSubQuery::reject() {
    run([this] {
        if (m_blnChanged &&
            m_services.messageBox->Show(kQuitCaption, kQuitText, MessageIcon::Exclamation,
                                        MessageButtons::YesNo) != MessageAnswer::Yes)
            return; // The dialog stays open with the user's edits.
        m_objSubQuery.reset();
        QDialog::reject();
    });
}

void frmSubQuery::done(int result) {
    run([this] {
        saveDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey));
    });
    QDialog::done(result);
}

void frmSubQuery::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_blnLoaded)
        return;
    m_blnLoaded = true;
    run([this] { loadEditor(); });
    m_txtName->setFocus(Qt::OtherFocusReason);
}

bool frmSubQuery::refusesNameKey(const QKeyEvent& event) const {
    // Shortcuts (paste, select all, mnemonics) and keys that type nothing pass; of the typed
    // characters only letters a-z and A-Z and digits are taken, a digit not in front.
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    if (event.key() == Qt::Key_Backspace)
        return false;
    const QString text = event.text();
    if (text.isEmpty() || !text.at(0).isPrint())
        return false;
    for (const QChar c : text) {
        if (isAsciiLetter(c))
            continue;
        const int caret = m_txtName->hasSelectedText() ? m_txtName->selectionStart()
                                                       : m_txtName->cursorPosition();
        if (isAsciiDigit(c) && caret > 0)
            continue;
        return true;
    }
    return false;
}

bool frmSubQuery::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_txtName && event->type() == QEvent::KeyPress) {
        bool refused = false;
        run([&] { refused = refusesNameKey(*static_cast<QKeyEvent*>(event)); });
        if (refused)
            return true;
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace marovin
