#include "uscMarovinPlugin.h"

#include "marovin/platform/Icons.h"
#include "marovin/uscMarovin.h"

namespace marovin {

uscMarovinPlugin::uscMarovinPlugin(QObject* parent) : QObject(parent) {}

// The class name uic writes into the generated form code, namespace included.
QString uscMarovinPlugin::name() const {
    return QStringLiteral("marovin::uscMarovin");
}

QString uscMarovinPlugin::group() const {
    return QStringLiteral("Marovin");
}

QString uscMarovinPlugin::toolTip() const {
    return QStringLiteral("Visual SQL query builder");
}

QString uscMarovinPlugin::whatsThis() const {
    return QStringLiteral("Composes a SELECT statement for SQL Server without writing SQL: tables "
                          "and joins in a diagram, output columns, filters and sort order. Give "
                          "it a connection with setDatabaseObject and a query with "
                          "setSQLQueryObject; it raises Changed on every edit.");
}

QString uscMarovinPlugin::includeFile() const {
    return QStringLiteral("marovin/uscMarovin.h");
}

QIcon uscMarovinPlugin::icon() const {
    return makeIcon(IconKind::Table);
}

bool uscMarovinPlugin::isContainer() const {
    return false;
}

// Designer shows the widget as a form would: without a connection it is an empty builder.
QWidget* uscMarovinPlugin::createWidget(QWidget* parent) {
    return new uscMarovin(parent);
}

bool uscMarovinPlugin::isInitialized() const {
    return m_blnInitialized;
}

void uscMarovinPlugin::initialize(QDesignerFormEditorInterface* /*core*/) {
    m_blnInitialized = true;
}

// A new instance on a form is named after the class and starts at the control's usual size.
QString uscMarovinPlugin::domXml() const {
    return QStringLiteral("<ui language=\"c++\">\n"
                          " <widget class=\"marovin::uscMarovin\" name=\"uscMarovin\">\n"
                          "  <property name=\"geometry\">\n"
                          "   <rect><x>0</x><y>0</y><width>800</width><height>600</height></rect>\n"
                          "  </property>\n"
                          " </widget>\n"
                          "</ui>\n");
}

} // namespace marovin
