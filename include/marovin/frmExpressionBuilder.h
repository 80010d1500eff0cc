#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QDialog>
#include <QStringList>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace marovin {

class cDbConnection;
class cTables;
class DropDownComboBox;
class SqlEditor;

/// The modal dialog in which the user writes a calculated item: a variable name and a T-SQL
/// expression. Columns of the query's tables (optionally inside an aggregation), functions of a
/// catalogue in three groups, query parameters, digits, brackets and line breaks are inserted at
/// the caret of the expression. The condition builder also opens it to build a single value, in
/// which case no variable name is asked for.
///
/// Calling order: create, set the properties, exec(), read strVariableName and strExpression.
/// Both keep the values they were given unless the user confirms with OK.
///
/// Controls (object names): "txtVariable", "txtExpression", "cboTables", "cboFields",
/// "cboAggregations", "cmdAddField", "cboFunctionGroups", "cboFunctions", "cmdAddFunction",
/// "cboParameters", "cmdInsertParameter", ten "cmdDigit" buttons (captions 0 to 9, in that
/// order), "cmdBrackets", "cmdLeft", "cmdRight", "cmdNewLine", "cmdClear", "OKButton",
/// "CancelButton".
class MAROVIN_EXPORT frmExpressionBuilder : public QDialog {
    Q_OBJECT
public:
    /// The key under which the dialog's last size is remembered (section "DialogSizes").
    static constexpr const char* kSizeKey = "ExpressionBuilder";
    /// The caption of the dialog's messages.
    static constexpr const char* kCaption = "Build Expression";

    explicit frmExpressionBuilder(PlatformServices services, QWidget* parent = nullptr);
    ~frmExpressionBuilder() override;

    /// Write-only. The host's parameter names, or nullptr when it set none; offered in
    /// "cboParameters" and inserted as markers "<[" name "]>".
    void setColParameters(std::shared_ptr<std::vector<std::string>> parameters);
    /// Write-only. True when the dialog only builds a value for a condition: no variable name is
    /// asked for, and OK accepts an empty one.
    void setBlnUseForSpecifyingConditionValue(bool value);
    /// Write-only. The connection the tables' columns are listed from; may be nullptr.
    void setDbMetaData(std::shared_ptr<cDbConnection> connection);
    /// Write-only. The query's tables, offered in "cboTables" by alias; the fields of the chosen
    /// table in "cboFields" (a sub-query table's fields are the output names of its query).
    void setObjTables(std::shared_ptr<cTables> tables);

    /// The expression in its stored form: line breaks as "{newline}" tokens, shown in the dialog
    /// as real line breaks. OK takes the text of "txtExpression".
    const std::string& strExpression() const { return m_strExpression; }
    void setStrExpression(const std::string& value);
    /// The variable name. OK takes the text of "txtVariable".
    const std::string& strVariableName() const { return m_strVariableName; }
    void setStrVariableName(const std::string& value);

    /// Closing without OK (Escape, the window's close button) asks whether to keep the changes
    /// when the name or the expression was edited; "CancelButton" closes without asking.
    void reject() override;
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void fillTables();
    void fillFields();
    void fillFunctions();
    void fillParameters();
    const std::vector<std::string>& columnsOf(const std::string& alias);
    QStringList completionCandidates();
    void EnableButtons();
    void AddField();
    void AddFunction();
    void InsertParameter();
    bool ConfirmOK();
    void CancelWithoutQuestion();
    void run(const std::function<void()>& action);

    PlatformServices m_services;
    std::shared_ptr<cDbConnection> m_DbMetaData;
    std::shared_ptr<cTables> m_objTables;
    std::shared_ptr<std::vector<std::string>> m_colParameters;
    bool m_blnUseForSpecifyingConditionValue = false;
    std::string m_strExpression;
    std::string m_strVariableName;
    /// Set by edits of the expression, and of the name unless only a value is built.
    bool m_blnChanged = false;
    /// Whether the texts are being given by the caller (such changes are no edits).
    bool m_blnSettingTexts = false;
    bool m_blnShown = false;
    /// The columns of each table alias, asked of the database once per dialog.
    std::map<std::string, std::vector<std::string>> m_columnsByAlias;

    QLabel* m_lblVariable = nullptr;
    QLineEdit* m_txtVariable = nullptr;
    SqlEditor* m_txtExpression = nullptr;
    QComboBox* m_cboTables = nullptr;
    QComboBox* m_cboFields = nullptr;
    QComboBox* m_cboAggregations = nullptr;
    QComboBox* m_cboFunctionGroups = nullptr;
    DropDownComboBox* m_cboFunctions = nullptr;
    QComboBox* m_cboParameters = nullptr;
    QPushButton* m_cmdAddField = nullptr;
    QPushButton* m_cmdAddFunction = nullptr;
    QPushButton* m_cmdInsertParameter = nullptr;
    std::vector<QPushButton*> m_cmdDigit;
    QPushButton* m_cmdBrackets = nullptr;
    QPushButton* m_cmdLeft = nullptr;
    QPushButton* m_cmdRight = nullptr;
    QPushButton* m_cmdNewLine = nullptr;
    QPushButton* m_cmdClear = nullptr;
    QPushButton* m_OKButton = nullptr;
    QPushButton* m_CancelButton = nullptr;
};

} // namespace marovin
