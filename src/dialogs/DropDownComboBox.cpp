#include "DropDownComboBox.h"

namespace marovin {

void DropDownComboBox::showPopup() {
    emit aboutToShowPopup();
    QComboBox::showPopup();
}

} // namespace marovin
