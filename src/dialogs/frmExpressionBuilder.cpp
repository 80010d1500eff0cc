#include "marovin/frmExpressionBuilder.h"

#include "DialogSupport.h"
#include "DropDownComboBox.h"
#include "SqlEditor.h"
#include "marovin/BuilderText.h"
#include "marovin/QueryParameters.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cTables.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace marovin {

namespace {

const QString kWindowTitle = QStringLiteral("Expression Builder");
const QString kValueWindowTitle = QStringLiteral("Value Expression Builder");
// The close-with-changes question keeps the caption the condition builder uses.
const QString kExitCaption = QStringLiteral("Exit Condition Builder");
const QString kSaveChangesText = QStringLiteral("Do you want to save the changes?");

QLabel* makeLabel(const QString& text, const char* objectName, QWidget* buddy, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QString::fromLatin1(objectName));
    label->setBuddy(buddy);
    return label;
}

} // namespace

frmExpressionBuilder::frmExpressionBuilder(PlatformServices services, QWidget* parent)
    : QDialog(parent), m_services(services.withDefaults(this)) {
    setObjectName(QStringLiteral("frmExpressionBuilder"));
    setWindowTitle(kWindowTitle);
    setAccessibleName(kWindowTitle);
    buildControls();
    fillTables();
    fillFunctions();
    fillParameters();
    EnableButtons();
    restoreDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey),
                      QSize(820, 520));
}

frmExpressionBuilder::~frmExpressionBuilder() = default;

void frmExpressionBuilder::buildControls() {
    // The name and the expression come first, the helpers that insert into the expression
    // below it, OK and Cancel last; the tab order follows the same reading order.
    m_txtVariable = new QLineEdit(this);
    nameControl(m_txtVariable, "txtVariable", QStringLiteral("Variable name"));
    m_txtVariable->installEventFilter(this);
    m_lblVariable = makeLabel(QStringLiteral("&Variable name"), "lblVariable", m_txtVariable, this);

    m_txtExpression = new SqlEditor(this);
    nameControl(m_txtExpression, "txtExpression", QStringLiteral("Expression"));
    auto* lblExpression =
        makeLabel(QStringLiteral("E&xpression"), "lblExpression", m_txtExpression, this);
    m_txtExpression->setCandidateProvider([this] { return completionCandidates(); });

    // The keypad row under the expression.
    auto* keypad = new QHBoxLayout;
    keypad->setSpacing(4);
    for (int digit = 0; digit <= 9; ++digit) {
        auto* button = new QPushButton(QStringLiteral("&%1").arg(digit), this);
        nameControl(button, "cmdDigit", QStringLiteral("Digit %1").arg(digit));
        button->setToolTip(QStringLiteral("Insert %1 (Alt+%1)").arg(digit));
        button->setAutoDefault(false);
        button->setFixedWidth(button->fontMetrics().horizontalAdvance(QStringLiteral("00")) + 18);
        connect(button, &QPushButton::clicked, this, [this, digit] {
            run([this, digit] { m_txtExpression->insertAtCaret(QString::number(digit)); });
        });
        m_cmdDigit.push_back(button);
        keypad->addWidget(button);
    }
    keypad->addSpacing(8);
    auto makeKey = [this](const QString& text, const char* name, const QString& accessible,
                          const QKeySequence& shortcut, const QString& tip) {
        auto* button = new QPushButton(text, this);
        nameControl(button, name, accessible);
        button->setAutoDefault(false);
        if (!shortcut.isEmpty())
            button->setShortcut(shortcut);
        button->setToolTip(tip);
        return button;
    };
    m_cmdBrackets = makeKey(QStringLiteral("( )"), "cmdBrackets", QStringLiteral("Brackets"),
                            QKeySequence(Qt::ALT | Qt::Key_B),
                            QStringLiteral("Insert brackets, the caret between them (Alt+B)"));
    m_cmdLeft =
        makeKey(QStringLiteral("\u2190"), "cmdLeft", QStringLiteral("Caret left"),
                QKeySequence(Qt::ALT | Qt::Key_Left), QStringLiteral("Caret left (Alt+Left)"));
    m_cmdRight =
        makeKey(QStringLiteral("\u2192"), "cmdRight", QStringLiteral("Caret right"),
                QKeySequence(Qt::ALT | Qt::Key_Right), QStringLiteral("Caret right (Alt+Right)"));
    m_cmdNewLine = makeKey(QStringLiteral("Ne&w Line"), "cmdNewLine", QStringLiteral("New Line"),
                           QKeySequence(), QStringLiteral("Insert a line break (Alt+W)"));
    m_cmdClear = makeKey(QStringLiteral("C&lear"), "cmdClear", QStringLiteral("Clear"),
                         QKeySequence(), QStringLiteral("Empty the expression (Alt+L)"));
    // The keys of one character are as narrow as the digits' keys, the worded ones as wide as
    // their captions.
    for (QPushButton* button : {m_cmdBrackets, m_cmdLeft, m_cmdRight})
        button->setFixedWidth(button->fontMetrics().horizontalAdvance(QStringLiteral("( )")) + 22);
    for (QPushButton* button : {m_cmdBrackets, m_cmdLeft, m_cmdRight, m_cmdNewLine, m_cmdClear})
        keypad->addWidget(button);
    keypad->addStretch(1);

    // The helpers: fields, functions and parameters, one row each.
    m_cboTables = new QComboBox(this);
    nameControl(m_cboTables, "cboTables", QStringLiteral("Table"));
    m_cboFields = new QComboBox(this);
    nameControl(m_cboFields, "cboFields", QStringLiteral("Field"));
    m_cboAggregations = new QComboBox(this);
    nameControl(m_cboAggregations, "cboAggregations", QStringLiteral("Aggregation"));
    m_cmdAddField = new QPushButton(QStringLiteral("&Add Field"), this);
    nameControl(m_cmdAddField, "cmdAddField", QStringLiteral("Add Field"));
    m_cboFunctionGroups = new QComboBox(this);
    nameControl(m_cboFunctionGroups, "cboFunctionGroups", QStringLiteral("Function group"));
    m_cboFunctions = new DropDownComboBox(this);
    nameControl(m_cboFunctions, "cboFunctions", QStringLiteral("Function"));
    m_cmdAddFunction = new QPushButton(QStringLiteral("Add F&unction"), this);
    nameControl(m_cmdAddFunction, "cmdAddFunction", QStringLiteral("Add Function"));
    m_cboParameters = new QComboBox(this);
    nameControl(m_cboParameters, "cboParameters", QStringLiteral("Parameter"));
    m_cmdInsertParameter = new QPushButton(QStringLiteral("In&sert Parameter"), this);
    nameControl(m_cmdInsertParameter, "cmdInsertParameter", QStringLiteral("Insert Parameter"));
    for (QPushButton* button : {m_cmdAddField, m_cmdAddFunction, m_cmdInsertParameter})
        button->setAutoDefault(false);

    m_cboAggregations->addItem(
        QString::fromUtf8(kNoAggregation.data(), static_cast<qsizetype>(kNoAggregation.size())));
    m_cboAggregations->addItems(toQStringList(AggregationFunctionNames()));
    m_cboFunctionGroups->addItems(toQStringList(functionGroups()));
    for (QComboBox* box : std::initializer_list<QComboBox*>{m_cboTables, m_cboFields,
                                                            m_cboFunctions, m_cboParameters})
        box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_cboTables->setMinimumContentsLength(14);
    m_cboFields->setMinimumContentsLength(16);
    m_cboFunctions->setMinimumContentsLength(12);
    m_cboParameters->setMinimumContentsLength(14);

    auto* helpers = new QGroupBox(QStringLiteral("Insert at the caret"), this);
    helpers->setObjectName(QStringLiteral("fraInsert"));
    auto* grid = new QGridLayout(helpers);
    grid->setHorizontalSpacing(8);
    grid->addWidget(makeLabel(QStringLiteral("&Table"), "lblTables", m_cboTables, this), 0, 0);
    grid->addWidget(m_cboTables, 0, 1);
    grid->addWidget(makeLabel(QStringLiteral("F&ield"), "lblFields", m_cboFields, this), 0, 2);
    grid->addWidget(m_cboFields, 0, 3);
    grid->addWidget(
        makeLabel(QStringLiteral("A&ggregation"), "lblAggregations", m_cboAggregations, this), 0,
        4);
    grid->addWidget(m_cboAggregations, 0, 5);
    grid->addWidget(m_cmdAddField, 0, 6);
    grid->addWidget(makeLabel(QStringLiteral("Function g&roup"), "lblFunctionGroups",
                              m_cboFunctionGroups, this),
                    1, 0);
    grid->addWidget(m_cboFunctionGroups, 1, 1);
    grid->addWidget(makeLabel(QStringLiteral("Functio&n"), "lblFunctions", m_cboFunctions, this), 1,
                    2);
    grid->addWidget(m_cboFunctions, 1, 3);
    grid->addWidget(m_cmdAddFunction, 1, 6);
    grid->addWidget(makeLabel(QStringLiteral("&Parameter"), "lblParameters", m_cboParameters, this),
                    2, 0);
    grid->addWidget(m_cboParameters, 2, 1);
    grid->addWidget(m_cmdInsertParameter, 2, 6);
    grid->setColumnStretch(1, 2);
    grid->setColumnStretch(3, 3);
    grid->setColumnStretch(5, 1);

    m_OKButton = new QPushButton(QStringLiteral("&OK"), this);
    nameControl(m_OKButton, "OKButton", QStringLiteral("OK"));
    m_OKButton->setDefault(true);
    m_CancelButton = new QPushButton(QStringLiteral("&Cancel"), this);
    nameControl(m_CancelButton, "CancelButton", QStringLiteral("Cancel"));
    m_CancelButton->setAutoDefault(false);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_OKButton);
    buttons->addWidget(m_CancelButton);

    auto* nameRow = new QHBoxLayout;
    nameRow->addWidget(m_lblVariable);
    nameRow->addWidget(m_txtVariable, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(nameRow);
    layout->addWidget(lblExpression);
    layout->addWidget(m_txtExpression, 1);
    layout->addLayout(keypad);
    layout->addWidget(helpers);
    layout->addLayout(buttons);

    // Tab order: reading order.
    QList<QWidget*> order = {m_txtVariable, m_txtExpression};
    for (QPushButton* digit : m_cmdDigit)
        order.append(digit);
    order << m_cmdBrackets << m_cmdLeft << m_cmdRight << m_cmdNewLine << m_cmdClear << m_cboTables
          << m_cboFields << m_cboAggregations << m_cmdAddField << m_cboFunctionGroups
          << m_cboFunctions << m_cmdAddFunction << m_cboParameters << m_cmdInsertParameter
          << m_OKButton << m_CancelButton;
    for (qsizetype i = 1; i < order.size(); ++i)
        setTabOrder(order[i - 1], order[i]);

    // Edits by the user (not texts given by the caller) mark the dialog as changed.
    connect(m_txtExpression, &QPlainTextEdit::textChanged, this, [this] {
        if (m_txtExpression->document()->isModified())
            m_blnChanged = true;
    });
    connect(m_txtVariable, &QLineEdit::textEdited, this, [this] {
        if (!m_blnUseForSpecifyingConditionValue)
            m_blnChanged = true;
    });

    connect(m_cboTables, &QComboBox::currentTextChanged, this, [this] {
        run([this] {
            fillFields();
            EnableButtons();
        });
    });
    connect(m_cboFields, &QComboBox::currentTextChanged, this,
            [this] { run([this] { EnableButtons(); }); });
    connect(m_cboFunctionGroups, &QComboBox::currentTextChanged, this, [this] {
        run([this] {
            fillFunctions();
            EnableButtons();
        });
    });
    // The functions of the chosen group are listed afresh whenever the list opens.
    connect(m_cboFunctions, &DropDownComboBox::aboutToShowPopup, this,
            [this] { run([this] { fillFunctions(); }); });
    connect(m_cboFunctions, &QComboBox::currentTextChanged, this,
            [this] { run([this] { EnableButtons(); }); });
    connect(m_cboParameters, &QComboBox::currentTextChanged, this,
            [this] { run([this] { EnableButtons(); }); });

    connect(m_cmdAddField, &QPushButton::clicked, this, [this] { run([this] { AddField(); }); });
    connect(m_cmdAddFunction, &QPushButton::clicked, this,
            [this] { run([this] { AddFunction(); }); });
    connect(m_cmdInsertParameter, &QPushButton::clicked, this,
            [this] { run([this] { InsertParameter(); }); });
    connect(m_cmdBrackets, &QPushButton::clicked, this, [this] {
        run([this] {
            m_txtExpression->insertAtCaret(QStringLiteral("()"));
            m_txtExpression->moveCaretLeft();
        });
    });
    connect(m_cmdLeft, &QPushButton::clicked, this,
            [this] { run([this] { m_txtExpression->moveCaretLeft(); }); });
    connect(m_cmdRight, &QPushButton::clicked, this,
            [this] { run([this] { m_txtExpression->moveCaretRight(); }); });
    connect(m_cmdNewLine, &QPushButton::clicked, this,
            [this] { run([this] { m_txtExpression->insertAtCaret(QStringLiteral("\n")); }); });
    connect(m_cmdClear, &QPushButton::clicked, this,
            [this] { run([this] { m_txtExpression->clearText(); }); });
    connect(m_OKButton, &QPushButton::clicked, this, [this] { run([this] { ConfirmOK(); }); });
    connect(m_CancelButton, &QPushButton::clicked, this,
            [this] { run([this] { CancelWithoutQuestion(); }); });
}

void frmExpressionBuilder::run(const std::function<void()>& action) {
    guarded(m_services.messageBox.get(), QString::fromLatin1(kCaption), action);
}

void frmExpressionBuilder::setColParameters(std::shared_ptr<std::vector<std::string>> parameters) {
    m_colParameters = std::move(parameters);
    fillParameters();
    EnableButtons();
}

void frmExpressionBuilder::setBlnUseForSpecifyingConditionValue(bool value) {
    m_blnUseForSpecifyingConditionValue = value;
    // A value has no name: the name row goes out of sight.
    m_lblVariable->setVisible(!value);
    m_txtVariable->setVisible(!value);
    setWindowTitle(value ? kValueWindowTitle : kWindowTitle);
    setAccessibleName(windowTitle());
}

void frmExpressionBuilder::setDbMetaData(std::shared_ptr<cDbConnection> connection) {
    m_DbMetaData = std::move(connection);
    m_columnsByAlias.clear();
    fillFields();
    EnableButtons();
}

void frmExpressionBuilder::setObjTables(std::shared_ptr<cTables> tables) {
    m_objTables = std::move(tables);
    m_columnsByAlias.clear();
    fillTables();
    EnableButtons();
}

void frmExpressionBuilder::setStrExpression(const std::string& value) {
    m_strExpression = value;
    m_txtExpression->setStoredText(value);
    m_blnChanged = false;
}

void frmExpressionBuilder::setStrVariableName(const std::string& value) {
    m_strVariableName = value;
    m_txtVariable->setText(QString::fromStdString(value));
    m_blnChanged = false;
}

void frmExpressionBuilder::fillTables() {
    const QSignalBlocker block(m_cboTables);
    m_cboTables->clear();
    if (m_objTables) {
        for (const auto& table : *m_objTables)
            m_cboTables->addItem(QString::fromStdString(table->strAlias()));
    }
    m_cboTables->setEnabled(m_cboTables->count() > 0);
    fillFields();
}

const std::vector<std::string>& frmExpressionBuilder::columnsOf(const std::string& alias) {
    auto found = m_columnsByAlias.find(alias);
    if (found != m_columnsByAlias.end())
        return found->second;
    std::vector<std::string> columns;
    if (m_objTables) {
        if (const auto table = FindTableByAlias(*m_objTables, alias))
            columns = columnsOfTable(*table, m_DbMetaData.get(), m_services.busyPointer.get());
    }
    return m_columnsByAlias.emplace(alias, std::move(columns)).first->second;
}

void frmExpressionBuilder::fillFields() {
    const QSignalBlocker block(m_cboFields);
    m_cboFields->clear();
    const QString alias = m_cboTables->currentText();
    if (!alias.isEmpty())
        m_cboFields->addItems(toQStringList(columnsOf(alias.toStdString())));
    m_cboFields->setEnabled(m_cboFields->count() > 0);
}

void frmExpressionBuilder::fillFunctions() {
    const QString current = m_cboFunctions->currentText();
    const QSignalBlocker block(m_cboFunctions);
    m_cboFunctions->clear();
    m_cboFunctions->addItems(
        toQStringList(functionsOfGroup(m_cboFunctionGroups->currentText().toStdString())));
    const int index = m_cboFunctions->findText(current);
    m_cboFunctions->setCurrentIndex(index >= 0 ? index : (m_cboFunctions->count() > 0 ? 0 : -1));
}

void frmExpressionBuilder::fillParameters() {
    const QSignalBlocker block(m_cboParameters);
    m_cboParameters->clear();
    if (m_colParameters)
        m_cboParameters->addItems(toQStringList(*m_colParameters));
    const bool any = m_cboParameters->count() > 0;
    m_cboParameters->setEnabled(any);
    if (QWidget* label = findChild<QWidget*>(QStringLiteral("lblParameters")))
        label->setEnabled(any);
}

QStringList frmExpressionBuilder::completionCandidates() {
    // What the lists offer: every column of every table, the catalogue's functions, the
    // aggregations and the parameter markers.
    QStringList candidates;
    if (m_objTables) {
        for (const auto& table : *m_objTables) {
            const std::string alias = table->strAlias();
            for (const auto& column : columnsOf(alias))
                candidates.append(QString::fromStdString(QuoteIdentifier(alias + "." + column)));
        }
    }
    candidates.append(toQStringList(allCatalogueFunctions()));
    candidates.append(toQStringList(AggregationFunctionNames()));
    if (m_colParameters) {
        for (const auto& name : *m_colParameters)
            candidates.append(QString::fromStdString(parameterMarker(name)));
    }
    return candidates;
}

void frmExpressionBuilder::EnableButtons() {
    m_cmdAddField->setEnabled(!m_cboTables->currentText().isEmpty() &&
                              !m_cboFields->currentText().isEmpty());
    m_cmdAddFunction->setEnabled(!m_cboFunctions->currentText().isEmpty());
    m_cmdInsertParameter->setEnabled(m_cboParameters->currentIndex() >= 0);
}

void frmExpressionBuilder::AddField() {
    if (m_cboTables->currentText().isEmpty() || m_cboFields->currentText().isEmpty())
        return;
    m_txtExpression->insertAtCaret(QString::fromStdString(fieldOperand(
        m_cboTables->currentText().toStdString(), m_cboFields->currentText().toStdString(),
        m_cboAggregations->currentText().toStdString())));
}

void frmExpressionBuilder::AddFunction() {
    const QString function = m_cboFunctions->currentText();
    if (function.isEmpty())
        return;
    const FunctionTemplate entry = functionTemplate(function.toStdString());
    m_txtExpression->insertAtCaret(QString::fromStdString(entry.strText));
    for (int i = 0; i < entry.lngCaretLeft; ++i)
        m_txtExpression->moveCaretLeft();
}

void frmExpressionBuilder::InsertParameter() {
    if (m_cboParameters->currentIndex() < 0)
        return;
    m_txtExpression->insertAtCaret(
        QString::fromStdString(parameterMarker(m_cboParameters->currentText().toStdString())));
}

bool frmExpressionBuilder::ConfirmOK() {
    const QString caption = QString::fromLatin1(kCaption);
    if (!m_blnUseForSpecifyingConditionValue && Trim(m_txtVariable->text().toStdString()).empty()) {
        m_services.messageBox->Show(caption, QStringLiteral("Enter (valid) variable name"),
                                    MessageIcon::Exclamation, MessageButtons::Ok);
        m_txtVariable->setFocus(Qt::OtherFocusReason);
        return false;
    }
    if (isBlankText(m_txtExpression->toPlainText().toStdString())) {
        m_services.messageBox->Show(caption, QStringLiteral("Enter expression"),
                                    MessageIcon::Exclamation, MessageButtons::Ok);
        m_txtExpression->setFocus(Qt::OtherFocusReason);
        return false;
    }
    m_strExpression = m_txtExpression->storedText();
    m_strVariableName = m_txtVariable->text().toStdString();
    m_blnChanged = false;
    accept();
    return true;
}

void frmExpressionBuilder::CancelWithoutQuestion() {
    m_blnChanged = false;
    QDialog::reject();
}

void frmExpressionBuilder::reject() {
    run([this] {
        if (!m_blnChanged) {
            QDialog::reject();
            return;
        }
        askToKeepChanges(
            *m_services.messageBox, kExitCaption, kSaveChangesText, [this] { ConfirmOK(); },
            [this] { CancelWithoutQuestion(); });
    });
}

void frmExpressionBuilder::done(int result) {
    run([this] {
        saveDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey));
    });
    QDialog::done(result);
}

void frmExpressionBuilder::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_blnShown)
        return;
    m_blnShown = true;
    // A new item starts at its name; an existing one (or a value) at the end of its expression.
    if (!m_blnUseForSpecifyingConditionValue && m_txtVariable->text().isEmpty())
        m_txtVariable->setFocus(Qt::OtherFocusReason);
    else
        m_txtExpression->setFocus(Qt::OtherFocusReason);
}

bool frmExpressionBuilder::eventFilter(QObject* watched, QEvent* event) {
    // The variable name takes letters, backspace, digits after the first place and "_" once the
    // name has begun; every other typed character, the blank included, is swallowed. Keys that
    // type nothing (arrows, Delete), shortcuts and control keys (Enter, Escape, Tab) pass.
    if (watched == m_txtVariable && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const QString typed = key->text();
        if (typed.isEmpty() || (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0)
            return QDialog::eventFilter(watched, event);
        const QChar character = typed.at(0);
        if (!character.isPrint() && character != QLatin1Char('\b'))
            return QDialog::eventFilter(watched, event);
        const int caret = m_txtVariable->hasSelectedText() ? m_txtVariable->selectionStart()
                                                           : m_txtVariable->cursorPosition();
        bool accepted = false;
        try {
            accepted = acceptsVariableNameCharacter(character.unicode(), caret,
                                                    m_txtVariable->text().toStdString());
        } catch (...) {
            accepted = false;
        }
        if (!accepted)
            return true;
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace marovin
