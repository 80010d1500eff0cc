#pragma once

#include "marovin/platform/iMessageBox.h"

#include <QDialog>
#include <QStringList>
#include <memory>
#include <optional>

class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace marovin {

// Edits the list of query parameter names the designer hands to the query builder: a name is
// added from the name box, renamed in place in the list, removed, and moved up or down. Every
// name is checked as it is added or renamed; a name that cannot be used is refused with a
// message and the list stays as it was.
//
// Keys: Return in the name box adds the typed name (with an empty box it closes the dialog
// like OK), F2 or a double-click renames the selected name, Delete removes it, Escape cancels.
class ParametersDialog : public QDialog {
    Q_OBJECT
public:
    static constexpr const char* kCaption = "Query Parameters";
    // Names are kept in the settings and given on the command line in one text, separated by
    // this character, which is why no name may contain it.
    static constexpr char kSeparator = ',';

    // Names that cannot be used are reported through the message box.
    explicit ParametersDialog(std::shared_ptr<iMessageBox> messageBox, QWidget* parent = nullptr);

    // Shows these names (in this order) for editing.
    void setNames(const QStringList& names);
    // The names as the dialog shows them now.
    QStringList names() const;

    // Why strName cannot be a parameter name next to the names in others, or an empty text when
    // it can. The name is taken as given (blanks around it are a problem); names are compared
    // exactly, so "Country" and "country" are two parameters.
    static QString strNameProblem(const QString& strName, const QStringList& others);
    // Reads names separated by commas (blanks around each are dropped; an empty text is no
    // names). Returns nothing and sets strError when a name cannot be used.
    static std::optional<QStringList> ParseNames(const QString& strText, QString& strError);
    // The names in one text, as ParseNames reads them.
    static QString JoinNames(const QStringList& names);

    QLineEdit* nameEdit() const { return m_txtName; }
    QListWidget* list() const { return m_lstParameters; }
    QPushButton* addButton() const { return m_cmdAdd; }
    QPushButton* renameButton() const { return m_cmdRename; }
    QPushButton* removeButton() const { return m_cmdRemove; }
    QPushButton* upButton() const { return m_cmdUp; }
    QPushButton* downButton() const { return m_cmdDown; }
    QPushButton* okButton() const { return m_cmdOk; }
    QPushButton* cancelButton() const { return m_cmdCancel; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Adds the name typed in the name box at the end of the list and selects it; a name that
    // cannot be used is refused with a message. Returns true when it was added.
    bool addTypedName();
    void renameSelected();
    void removeSelected();
    void moveSelected(int step);
    // Checks a name edited in place: a name that cannot be used is refused with a message and
    // the item shows its previous name again.
    void checkRenamed(QListWidgetItem* item);
    QListWidgetItem* newItem(const QString& strName);
    void showProblem(const QString& strProblem);
    void updateButtons();

    std::shared_ptr<iMessageBox> m_messageBox;
    // The names the list holds, in its order: the previous name of an item edited in place.
    QStringList m_names;
    // Owned through their Qt parent.
    QLineEdit* m_txtName;
    QListWidget* m_lstParameters;
    QPushButton* m_cmdAdd;
    QPushButton* m_cmdRename;
    QPushButton* m_cmdRemove;
    QPushButton* m_cmdUp;
    QPushButton* m_cmdDown;
    QPushButton* m_cmdOk;
    QPushButton* m_cmdCancel;
};

} // namespace marovin
