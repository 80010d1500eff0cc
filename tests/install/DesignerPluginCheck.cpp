// Finds and loads the Marovin plugin the way Qt Designer does (every library in the "designer"
// folder of Qt's plugin paths), and checks what Designer would show: the widget in the group
// "Marovin", a form entry that uic can compile, and its designable properties.
#include <QApplication>
#include <QDir>
#include <QMetaProperty>
#include <QPluginLoader>
#include <QPushButton>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>
#include <iostream>
#include <memory>

namespace {

int fail(const QString& text) {
    std::cerr << "designer-plugin-check: " << text.toStdString() << "\n";
    return 1;
}

QDesignerCustomWidgetInterface* findMarovin(QObject* instance) {
    if (auto* single = qobject_cast<QDesignerCustomWidgetInterface*>(instance))
        return single->group() == QLatin1String("Marovin") ? single : nullptr;
    if (auto* collection = qobject_cast<QDesignerCustomWidgetCollectionInterface*>(instance))
        for (QDesignerCustomWidgetInterface* widget : collection->customWidgets())
            if (widget->group() == QLatin1String("Marovin"))
                return widget;
    return nullptr;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QDesignerCustomWidgetInterface* plugin = nullptr;
    QString loaded;
    for (const QString& path : QCoreApplication::libraryPaths()) {
        const QDir folder(path + QStringLiteral("/designer"));
        for (const QString& file : folder.entryList({QStringLiteral("*.so")}, QDir::Files)) {
            QPluginLoader loader(folder.filePath(file));
            if (QObject* instance = loader.instance()) {
                if ((plugin = findMarovin(instance)) != nullptr) {
                    loaded = loader.fileName();
                    break;
                }
            } else if (file.contains(QLatin1String("marovin"))) {
                return fail(QStringLiteral("%1 does not load: %2")
                                .arg(loader.fileName(), loader.errorString()));
            }
        }
        if (plugin != nullptr)
            break;
    }
    if (plugin == nullptr)
        return fail(QStringLiteral("no plugin of the group Marovin in ") +
                    QCoreApplication::libraryPaths().join(QLatin1Char(':')));

    if (plugin->name() != QLatin1String("marovin::uscMarovin") ||
        plugin->includeFile() != QLatin1String("marovin/uscMarovin.h") || plugin->isContainer())
        return fail(
            QStringLiteral("unexpected entry %1 (%2)").arg(plugin->name(), plugin->includeFile()));
    if (!plugin->domXml().contains(QStringLiteral("class=\"%1\"").arg(plugin->name())))
        return fail(QStringLiteral("the form entry names another class: ") + plugin->domXml());

    plugin->initialize(nullptr);
    QWidget form;
    std::unique_ptr<QWidget> widget(plugin->createWidget(&form));
    if (widget == nullptr || widget->metaObject()->className() != plugin->name())
        return fail(QStringLiteral("createWidget made no uscMarovin"));

    const QMetaObject* meta = widget->metaObject();
    const int index = meta->indexOfProperty("blnBuildSubQuery");
    if (index < 0 || !meta->property(index).isDesignable() || !meta->property(index).isWritable())
        return fail(QStringLiteral("blnBuildSubQuery is no designable property"));
    auto* subQueries = widget->findChild<QPushButton*>(QStringLiteral("cmdSubQueries"));
    if (subQueries == nullptr || subQueries->isHidden())
        return fail(QStringLiteral("the sub-query button is missing or hidden at first"));
    // What the property editor does when the box is ticked.
    if (!widget->setProperty("blnBuildSubQuery", true) ||
        !widget->property("blnBuildSubQuery").toBool() || !subQueries->isHidden())
        return fail(QStringLiteral("setting blnBuildSubQuery does not switch sub-queries off"));

    std::cout << "Qt Designer plugin " << loaded.toStdString() << ": "
              << plugin->name().toStdString() << " in " << plugin->group().toStdString() << "\n";
    return 0;
}
