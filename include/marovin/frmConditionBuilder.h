#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QDialog>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace marovin {

class cDbConnection;
class cTables;
class DropDownComboBox;
class SqlEditor;

/// The modal dialog in which the user writes one filter condition of the query as free text,
/// helped by pick lists: a field, a comparison operator and a value make a fragment that is
/// inserted at the caret of the condition or appended to it after " OR ". A check box carries the
/// condition's active flag.
///
/// Calling order: create, set the properties, exec(), read strCondition and blnIsActive. Both
/// keep the values they were given unless the user confirms with OK.
///
/// Controls (object names): "cboFields", "cboOperators", "txtValue" (free value) or "cboValue"
/// (value, expression or parameter marker, when the host set parameters), "txtCondition",
/// "chkIsActive", "cmdAddToCondition", "cmdAppendToCondition", "cmdBuildExpression",
/// "cmdClearCondition", "OKButton", "CancelButton", and the labels "lblField", "lblOperator",
/// "lblValue", "lblCondition".
class MAROVIN_EXPORT frmConditionBuilder : public QDialog {
    Q_OBJECT
public:
    /// The key under which the dialog's last size is remembered (section "DialogSizes").
    static constexpr const char* kSizeKey = "ConditionBuilder";
    /// The window title, also the caption of unexpected failures.
    static constexpr const char* kCaption = "Condition Builder";

    explicit frmConditionBuilder(PlatformServices services, QWidget* parent = nullptr);
    ~frmConditionBuilder() override;

    /// The condition's active flag, shown in "chkIsActive"; OK takes the box's state.
    bool blnIsActive() const { return m_blnIsActive; }
    void setBlnIsActive(bool value);

    /// Write-only. The host's parameter names, or nullptr when it set none. With parameters the
    /// value is chosen in "cboValue", which offers one marker "<[" name "]>" per parameter, and
    /// OK refuses markers that name none of them.
    void setColParameters(std::shared_ptr<std::vector<std::string>> parameters);

    /// The condition in its stored form: line breaks as "{newline}" tokens, shown in the dialog
    /// as real line breaks. OK takes the text of "txtCondition".
    const std::string& strCondition() const { return m_strCondition; }
    void setStrCondition(const std::string& value);

    /// Write-only. The query's tables: every column of every table is offered as a field,
    /// "alias.column" with parts holding a blank in square brackets. A sub-query table's columns
    /// are the output names of its query.
    void setObjTables(std::shared_ptr<cTables> tables);
    /// Write-only. Further field candidates joined by "##" (the aggregated output columns and the
    /// calculated items); offered before the tables' columns.
    void setStrCalculatedOrAggregatedItems(const std::string& value);
    /// Write-only. The connection the tables' columns are listed from; may be nullptr.
    void setDbMetaData(std::shared_ptr<cDbConnection> connection);

    /// Closing without OK (Escape, the window's close button) asks whether to keep the changes
    /// when the condition was edited; "CancelButton" closes without asking.
    void reject() override;
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildControls();
    /// The field candidates that fit the condition typed so far, in order: all of them while it
    /// is blank, only aggregated ones once it holds an aggregate, only plain ones otherwise.
    std::vector<std::string> fieldCandidates() const;
    void collectFieldCandidates() const;
    void refillFields();
    QString valueText() const;
    void setValueText(const QString& text);
    QString fragment() const;
    void EnableButtons();
    void AddToCondition();
    void AppendToCondition();
    void BuildExpression();
    void ClearCondition();
    bool ConfirmOK();
    void CancelWithoutQuestion();
    void run(const std::function<void()>& action);

    PlatformServices m_services;
    std::shared_ptr<cDbConnection> m_DbMetaData;
    std::shared_ptr<cTables> m_objTables;
    std::shared_ptr<std::vector<std::string>> m_colParameters;
    std::string m_strCalculatedOrAggregatedItems;
    std::string m_strCondition;
    bool m_blnIsActive = true;
    /// Set by every edit of the condition text after the dialog was given its condition.
    bool m_blnChanged = false;
    bool m_blnShown = false;
    /// The field candidates, collected once the dialog is shown or asked for them, and again
    /// after the tables, the connection or the further candidates change.
    mutable std::vector<std::string> m_colFieldCandidates;
    mutable bool m_blnCandidatesStale = true;

    QLabel* m_lblField = nullptr;
    QLabel* m_lblOperator = nullptr;
    QLabel* m_lblValue = nullptr;
    QLabel* m_lblCondition = nullptr;
    DropDownComboBox* m_cboFields = nullptr;
    QComboBox* m_cboOperators = nullptr;
    QLineEdit* m_txtValue = nullptr;
    QComboBox* m_cboValue = nullptr;
    SqlEditor* m_txtCondition = nullptr;
    QCheckBox* m_chkIsActive = nullptr;
    QPushButton* m_cmdAddToCondition = nullptr;
    QPushButton* m_cmdAppendToCondition = nullptr;
    QPushButton* m_cmdBuildExpression = nullptr;
    QPushButton* m_cmdClearCondition = nullptr;
    QPushButton* m_OKButton = nullptr;
    QPushButton* m_CancelButton = nullptr;
};

} // namespace marovin
