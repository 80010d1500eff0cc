#pragma once

#include <QComboBox>

namespace marovin {

// A combo box that says when its list is about to drop down, so that the owner can fill the
// list afresh from the current state (the condition builder offers only fields that fit the
// condition typed so far).
class DropDownComboBox : public QComboBox {
    Q_OBJECT
public:
    using QComboBox::QComboBox;

    void showPopup() override;

signals:
    void aboutToShowPopup();
};

} // namespace marovin
