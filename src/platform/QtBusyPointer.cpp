#include "marovin/platform/QtBusyPointer.h"

#include <QCursor>
#include <QGuiApplication>

namespace marovin {

void QtBusyPointer::Begin() {
    QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
}

void QtBusyPointer::End() {
    QGuiApplication::restoreOverrideCursor();
}

} // namespace marovin
