#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iMessageBox.h"

#include <QPointer>
#include <QWidget>

namespace marovin {

/// Message boxes shown with QMessageBox, modal to the given parent window.
class MAROVIN_EXPORT QtMessageBox : public iMessageBox {
public:
    explicit QtMessageBox(QWidget* parent = nullptr) : m_parent(parent) {}
    /// The window the boxes are modal to; may change when the owner is reparented.
    void setParentWidget(QWidget* parent) { m_parent = parent; }

    MessageAnswer Show(const QString& strCaption, const QString& strText, MessageIcon icon,
                       MessageButtons buttons) override;
    MessageAnswer ShowWithDetails(const QString& strCaption, const QString& strText,
                                  const QString& strDetails, MessageIcon icon,
                                  MessageButtons buttons) override;

private:
    QPointer<QWidget> m_parent; // Not owned.
};

} // namespace marovin
