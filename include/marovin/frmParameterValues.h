#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QDialog>
#include <array>
#include <memory>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QPushButton;

namespace marovin {

/// Asks for the values of the query parameters a preview uses: one row per parameter (at most
/// ten), each the parameter's name and a text field. OK is enabled once every row holds a value;
/// it returns the values as SQL literals (numbers bare, anything else in single quotes after
/// every single quote is removed) and remembers the texts as typed for the next time, where they
/// are restored by position.
///
/// Calling order: create, setColParameters, exec(), read colValues.
///
/// Controls: ten rows of "lblParameter" and "txtValue" (a control array: findChildren returns
/// them in row order), "OKButton", "CancelButton".
class MAROVIN_EXPORT frmParameterValues : public QDialog {
    Q_OBJECT
public:
    static constexpr int kRows = 10;
    /// The key under which the dialog's last size is remembered (section "DialogSizes").
    static constexpr const char* kSizeKey = "ParameterValues";

    explicit frmParameterValues(PlatformServices services, QWidget* parent = nullptr);
    ~frmParameterValues() override;

    /// Write-only. The names of the parameters to ask for, in order; rows beyond them are greyed
    /// out. nullptr disables every row and OK. Remembered values fill the rows by position.
    void setColParameters(std::shared_ptr<std::vector<std::string>> parameters);
    /// Read-only. One SQL literal per parameter after OK; nullptr before OK and after Cancel.
    std::shared_ptr<std::vector<std::string>> colValues() const { return m_colValues; }

    void done(int result) override;

private:
    void EnableOK();
    void confirm();
    int parameterCount() const;

    PlatformServices m_services;
    std::shared_ptr<std::vector<std::string>> m_colParameters;
    std::shared_ptr<std::vector<std::string>> m_colValues;

    std::array<QLabel*, kRows> m_lblParameter{};
    std::array<QLineEdit*, kRows> m_txtValue{};
    QPushButton* m_OKButton = nullptr;
    QPushButton* m_CancelButton = nullptr;
};

} // namespace marovin
