#include "marovin/frmConditionBuilder.h"

#include "DialogSupport.h"
#include "DropDownComboBox.h"
#include "SqlEditor.h"
#include "marovin/BuilderText.h"
#include "marovin/QueryParameters.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cTables.h"
#include "marovin/frmExpressionBuilder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace marovin {

namespace {

const QString kExitCaption = QStringLiteral("Exit Condition Builder");
const QString kSaveChangesText = QStringLiteral("Do you want to save the changes?");
const QString kValueCaption = QStringLiteral("&Value");
const QString kValueWithParametersCaption = QStringLiteral("&Value, Expression, Parameter");

QLabel* makeLabel(const QString& text, const char* objectName, QWidget* buddy, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QString::fromLatin1(objectName));
    label->setBuddy(buddy);
    return label;
}

QString plain(const QString& caption) {
    QString text = caption;
    return text.remove(QLatin1Char('&'));
}

} // namespace

frmConditionBuilder::frmConditionBuilder(PlatformServices services, QWidget* parent)
    : QDialog(parent), m_services(services.withDefaults(this)) {
    setObjectName(QStringLiteral("frmConditionBuilder"));
    setWindowTitle(QString::fromLatin1(kCaption));
    setAccessibleName(QString::fromLatin1(kCaption));
    buildControls();
    setBlnIsActive(true);
    EnableButtons();
    restoreDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey),
                      QSize(740, 380));
}

frmConditionBuilder::~frmConditionBuilder() = default;

void frmConditionBuilder::buildControls() {
    m_cboFields = new DropDownComboBox(this);
    m_cboFields->setEditable(true);
    m_cboFields->setInsertPolicy(QComboBox::NoInsert);
    // A typed field is not completed from the list behind the user's back.
    m_cboFields->setCompleter(nullptr);
    m_cboFields->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_cboFields->setMinimumContentsLength(22);
    nameControl(m_cboFields, "cboFields", QStringLiteral("Field"));
    m_lblField = makeLabel(QStringLiteral("&Field"), "lblField", m_cboFields, this);

    m_cboOperators = new QComboBox(this);
    nameControl(m_cboOperators, "cboOperators", QStringLiteral("Operator"));
    m_cboOperators->addItems(toQStringList(conditionOperators()));
    // Comparing for equality is the usual case, so a new condition starts with "=".
    m_cboOperators->setCurrentIndex(0);
    m_lblOperator = makeLabel(QStringLiteral("O&perator"), "lblOperator", m_cboOperators, this);

    m_txtValue = new QLineEdit(this);
    nameControl(m_txtValue, "txtValue", plain(kValueCaption));
    m_cboValue = new QComboBox(this);
    m_cboValue->setEditable(true);
    m_cboValue->setInsertPolicy(QComboBox::NoInsert);
    m_cboValue->setCompleter(nullptr);
    m_cboValue->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_cboValue->setMinimumContentsLength(18);
    nameControl(m_cboValue, "cboValue", plain(kValueWithParametersCaption));
    // Without parameters the value is free text; setColParameters switches to the list.
    m_cboValue->setEnabled(false);
    m_cboValue->hide();
    m_lblValue = makeLabel(kValueCaption, "lblValue", m_txtValue, this);

    m_cmdBuildExpression = new QPushButton(QStringLiteral("Build E&xpression..."), this);
    nameControl(m_cmdBuildExpression, "cmdBuildExpression", QStringLiteral("Build Expression"));
    m_cmdBuildExpression->setToolTip(
        QStringLiteral("Compose the value from columns, functions and parameters"));
    m_cmdAddToCondition = new QPushButton(QStringLiteral("&Add at Caret"), this);
    nameControl(m_cmdAddToCondition, "cmdAddToCondition", QStringLiteral("Add at Caret"));
    m_cmdAddToCondition->setToolTip(
        QStringLiteral("Insert field, operator and value where the caret stands in the condition"));
    m_cmdAppendToCondition = new QPushButton(QStringLiteral("Appe&nd with OR"), this);
    nameControl(m_cmdAppendToCondition, "cmdAppendToCondition", QStringLiteral("Append with OR"));
    m_cmdAppendToCondition->setToolTip(
        QStringLiteral("Add field, operator and value at the end of the condition, after OR"));

    m_txtCondition = new SqlEditor(this);
    nameControl(m_txtCondition, "txtCondition", QStringLiteral("Condition"));
    m_txtCondition->setCandidateProvider([this] {
        // What the lists offer: the fields that fit the condition, the parameter markers, and
        // the functions and aggregations of the expression builder.
        QStringList candidates = toQStringList(fieldCandidates());
        if (m_colParameters) {
            for (const auto& name : *m_colParameters)
                candidates.append(QString::fromStdString(parameterMarker(name)));
        }
        candidates.append(toQStringList(allCatalogueFunctions()));
        candidates.append(toQStringList(AggregationFunctionNames()));
        return candidates;
    });
    m_lblCondition = makeLabel(QStringLiteral("Con&dition"), "lblCondition", m_txtCondition, this);

    m_chkIsActive = new QCheckBox(QStringLiteral("Ac&tive"), this);
    nameControl(m_chkIsActive, "chkIsActive", QStringLiteral("Active"));
    m_chkIsActive->setToolTip(QStringLiteral("Whether the query applies this condition"));
    m_cmdClearCondition = new QPushButton(QStringLiteral("C&lear"), this);
    nameControl(m_cmdClearCondition, "cmdClearCondition", QStringLiteral("Clear"));
    m_OKButton = new QPushButton(QStringLiteral("&OK"), this);
    nameControl(m_OKButton, "OKButton", QStringLiteral("OK"));
    m_OKButton->setDefault(true);
    m_CancelButton = new QPushButton(QStringLiteral("&Cancel"), this);
    nameControl(m_CancelButton, "CancelButton", QStringLiteral("Cancel"));
    for (QPushButton* button : {m_cmdBuildExpression, m_cmdAddToCondition, m_cmdAppendToCondition,
                                m_cmdClearCondition, m_CancelButton})
        button->setAutoDefault(false);

    // Field, operator and value side by side, the buttons that use them underneath.
    auto* pick = new QGridLayout;
    pick->setHorizontalSpacing(8);
    pick->addWidget(m_lblField, 0, 0);
    pick->addWidget(m_lblOperator, 0, 1);
    pick->addWidget(m_lblValue, 0, 2);
    pick->addWidget(m_cboFields, 1, 0);
    pick->addWidget(m_cboOperators, 1, 1);
    pick->addWidget(m_txtValue, 1, 2);
    pick->addWidget(m_cboValue, 1, 2);
    pick->addWidget(m_cmdBuildExpression, 1, 3);
    pick->setColumnStretch(0, 3);
    pick->setColumnStretch(2, 3);
    auto* use = new QHBoxLayout;
    use->setSpacing(8);
    use->addStretch(1);
    use->addWidget(m_cmdAddToCondition);
    use->addWidget(m_cmdAppendToCondition);
    pick->addLayout(use, 2, 0, 1, 4);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_chkIsActive);
    bottom->addSpacing(12);
    bottom->addWidget(m_cmdClearCondition);
    bottom->addStretch(1);
    bottom->addWidget(m_OKButton);
    bottom->addWidget(m_CancelButton);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(pick);
    layout->addSpacing(6);
    layout->addWidget(m_lblCondition);
    layout->addWidget(m_txtCondition, 1);
    layout->addLayout(bottom);

    // Tab order: reading order; only one of the two value controls is shown at a time.
    const QList<QWidget*> order = {m_cboFields,
                                   m_cboOperators,
                                   m_txtValue,
                                   m_cboValue,
                                   m_cmdBuildExpression,
                                   m_cmdAddToCondition,
                                   m_cmdAppendToCondition,
                                   m_txtCondition,
                                   m_chkIsActive,
                                   m_cmdClearCondition,
                                   m_OKButton,
                                   m_CancelButton};
    for (qsizetype i = 1; i < order.size(); ++i)
        setTabOrder(order[i - 1], order[i]);

    connect(m_txtCondition, &QPlainTextEdit::textChanged, this, [this] {
        run([this] {
            // Edits, not the text the caller gave, mark the dialog as changed.
            if (m_txtCondition->document()->isModified())
                m_blnChanged = true;
            EnableButtons();
        });
    });
    connect(m_cboFields, &QComboBox::currentTextChanged, this,
            [this] { run([this] { EnableButtons(); }); });
    connect(m_txtValue, &QLineEdit::textChanged, this,
            [this] { run([this] { EnableButtons(); }); });
    connect(m_cboValue, &QComboBox::currentTextChanged, this,
            [this] { run([this] { EnableButtons(); }); });
    // The field list is filled afresh, filtered by the condition, whenever it opens.
    connect(m_cboFields, &DropDownComboBox::aboutToShowPopup, this,
            [this] { run([this] { refillFields(); }); });

    connect(m_cmdAddToCondition, &QPushButton::clicked, this,
            [this] { run([this] { AddToCondition(); }); });
    connect(m_cmdAppendToCondition, &QPushButton::clicked, this,
            [this] { run([this] { AppendToCondition(); }); });
    connect(m_cmdBuildExpression, &QPushButton::clicked, this,
            [this] { run([this] { BuildExpression(); }); });
    connect(m_cmdClearCondition, &QPushButton::clicked, this,
            [this] { run([this] { ClearCondition(); }); });
    connect(m_OKButton, &QPushButton::clicked, this, [this] { run([this] { ConfirmOK(); }); });
    connect(m_CancelButton, &QPushButton::clicked, this,
            [this] { run([this] { CancelWithoutQuestion(); }); });
}

void frmConditionBuilder::run(const std::function<void()>& action) {
    guarded(m_services.messageBox.get(), QString::fromLatin1(kCaption), action);
}

void frmConditionBuilder::setBlnIsActive(bool value) {
    m_blnIsActive = value;
    m_chkIsActive->setChecked(value);
}

void frmConditionBuilder::setColParameters(std::shared_ptr<std::vector<std::string>> parameters) {
    m_colParameters = std::move(parameters);
    const bool withParameters = m_colParameters != nullptr;
    // With parameters the value is chosen from (or typed into) a list of markers.
    m_txtValue->setEnabled(!withParameters);
    m_txtValue->setVisible(!withParameters);
    m_cboValue->setEnabled(withParameters);
    m_cboValue->setVisible(withParameters);
    m_lblValue->setText(withParameters ? kValueWithParametersCaption : kValueCaption);
    m_lblValue->setBuddy(withParameters ? static_cast<QWidget*>(m_cboValue) : m_txtValue);
    {
        const QSignalBlocker block(m_cboValue);
        m_cboValue->clear();
        if (withParameters) {
            for (const auto& name : *m_colParameters)
                m_cboValue->addItem(QString::fromStdString(parameterMarker(name)));
        }
        m_cboValue->setCurrentIndex(-1);
        m_cboValue->setEditText(QString());
    }
    EnableButtons();
}

void frmConditionBuilder::setStrCondition(const std::string& value) {
    m_strCondition = value;
    m_txtCondition->setStoredText(value);
    m_blnChanged = false;
    EnableButtons();
}

void frmConditionBuilder::setObjTables(std::shared_ptr<cTables> tables) {
    m_objTables = std::move(tables);
    m_blnCandidatesStale = true;
}

void frmConditionBuilder::setStrCalculatedOrAggregatedItems(const std::string& value) {
    m_strCalculatedOrAggregatedItems = value;
    m_blnCandidatesStale = true;
}

void frmConditionBuilder::setDbMetaData(std::shared_ptr<cDbConnection> connection) {
    m_DbMetaData = std::move(connection);
    m_blnCandidatesStale = true;
}

void frmConditionBuilder::collectFieldCandidates() const {
    if (!m_blnCandidatesStale)
        return;
    // The further candidates first, then every column of every table.
    std::vector<std::string> candidates =
        splitCalculatedOrAggregatedItems(m_strCalculatedOrAggregatedItems);
    for (auto& field :
         tableFieldCandidates(m_objTables.get(), m_DbMetaData.get(), m_services.busyPointer.get()))
        candidates.push_back(std::move(field));
    m_colFieldCandidates = std::move(candidates);
    m_blnCandidatesStale = false;
}

std::vector<std::string> frmConditionBuilder::fieldCandidates() const {
    collectFieldCandidates();
    return filterFieldCandidates(m_colFieldCandidates, m_txtCondition->storedText());
}

void frmConditionBuilder::refillFields() {
    // The list changes under the text the user may have typed; the text stays.
    const QString typed = m_cboFields->currentText();
    const QSignalBlocker block(m_cboFields);
    m_cboFields->clear();
    m_cboFields->addItems(toQStringList(fieldCandidates()));
    const int index = m_cboFields->findText(typed);
    m_cboFields->setCurrentIndex(index);
    m_cboFields->setEditText(typed);
}

QString frmConditionBuilder::valueText() const {
    return m_txtValue->isVisibleTo(this) ? m_txtValue->text() : m_cboValue->currentText();
}

void frmConditionBuilder::setValueText(const QString& text) {
    if (m_txtValue->isVisibleTo(this))
        m_txtValue->setText(text);
    else
        m_cboValue->setEditText(text);
}

QString frmConditionBuilder::fragment() const {
    // A value built with line breaks keeps them as real line breaks in the condition.
    return QString::fromStdString(newlineTokensToLineBreaks(
        conditionFragment(m_cboFields->currentText().toStdString(),
                          m_cboOperators->currentText().toStdString(), valueText().toStdString()),
        "\n"));
}

void frmConditionBuilder::EnableButtons() {
    const bool hasField = !Trim(m_cboFields->currentText().toStdString()).empty();
    const bool hasValue = !Trim(valueText().toStdString()).empty();
    const bool hasCondition = !isBlankText(m_txtCondition->toPlainText().toStdString());
    m_cmdAddToCondition->setEnabled(hasField && hasValue);
    m_cmdAppendToCondition->setEnabled(hasField && hasValue && hasCondition);
    m_cmdClearCondition->setEnabled(hasCondition);
    m_OKButton->setEnabled(hasCondition);
}

void frmConditionBuilder::AddToCondition() {
    m_txtCondition->insertAtCaret(fragment());
    m_txtValue->clear();
    EnableButtons();
}

void frmConditionBuilder::AppendToCondition() {
    const std::string condition = m_txtCondition->toPlainText().toStdString();
    const std::string piece = fragment().toStdString();
    // Only what appendToCondition adds after the condition goes in, so the edit can be undone.
    const std::string whole = appendToCondition(condition, piece);
    m_txtCondition->appendAtEnd(QString::fromStdString(whole.substr(condition.size())));
    m_txtCondition->setFocus(Qt::OtherFocusReason);
    m_txtValue->clear();
    EnableButtons();
}

void frmConditionBuilder::BuildExpression() {
    frmExpressionBuilder builder(m_services, this);
    builder.setBlnUseForSpecifyingConditionValue(true);
    builder.setStrExpression(valueText().toStdString());
    builder.setObjTables(m_objTables);
    builder.setDbMetaData(m_DbMetaData);
    if (m_colParameters)
        builder.setColParameters(m_colParameters);
    builder.exec();
    // The builder hands back the value it was given unless the user confirmed a new one.
    setValueText(QString::fromStdString(builder.strExpression()));
    EnableButtons();
}

void frmConditionBuilder::ClearCondition() {
    m_txtCondition->clearText();
    EnableButtons();
}

bool frmConditionBuilder::ConfirmOK() {
    const std::string condition = m_txtCondition->storedText();
    if (m_colParameters && !m_colParameters->empty()) {
        if (const auto unknown = firstUnknownParameter(condition, *m_colParameters)) {
            m_services.messageBox->Show(
                QStringLiteral("Parameters"),
                QStringLiteral("Parameter '") + QString::fromStdString(*unknown) +
                    QStringLiteral("' does not exist. Please modify condition"),
                MessageIcon::Exclamation, MessageButtons::Ok);
            m_txtCondition->setFocus(Qt::OtherFocusReason);
            return false;
        }
    }
    m_strCondition = condition;
    m_blnIsActive = m_chkIsActive->isChecked();
    m_blnChanged = false;
    accept();
    return true;
}

void frmConditionBuilder::CancelWithoutQuestion() {
    m_blnChanged = false;
    QDialog::reject();
}

void frmConditionBuilder::reject() {
    run([this] {
        if (!m_blnChanged || isBlankText(m_txtCondition->toPlainText().toStdString())) {
            CancelWithoutQuestion();
            return;
        }
        askToKeepChanges(
            *m_services.messageBox, kExitCaption, kSaveChangesText, [this] { ConfirmOK(); },
            [this] { CancelWithoutQuestion(); });
    });
}

void frmConditionBuilder::done(int result) {
    run([this] {
        saveDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey));
    });
    QDialog::done(result);
}

void frmConditionBuilder::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_blnShown)
        return;
    m_blnShown = true;
    run([this] {
        refillFields();
        m_cboFields->setEditText(QString());
        // A new condition starts at the field, an existing one at the end of its text.
        if (isBlankText(m_txtCondition->toPlainText().toStdString()))
            m_cboFields->setFocus(Qt::OtherFocusReason);
        else
            m_txtCondition->setFocus(Qt::OtherFocusReason);
        EnableButtons();
    });
}

} // namespace marovin
