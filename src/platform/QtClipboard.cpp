#include "marovin/platform/QtClipboard.h"

#include <QClipboard>
#include <QGuiApplication>

namespace marovin {

void QtClipboard::Clear() {
    QGuiApplication::clipboard()->clear();
}

void QtClipboard::SetText(const QString& strText) {
    QGuiApplication::clipboard()->setText(strText);
}

QString QtClipboard::Text() const {
    return QGuiApplication::clipboard()->text();
}

} // namespace marovin
