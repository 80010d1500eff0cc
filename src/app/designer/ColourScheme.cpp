#include "ColourScheme.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace marovin {

namespace {

struct PlatformLook {
    QString styleName;
    QPalette palette;
};

const PlatformLook& platformLook() {
    static const PlatformLook look{QApplication::style()->name(), QApplication::palette()};
    return look;
}

QPalette darkPalette() {
    const QColor window(0x2b, 0x2d, 0x30);
    const QColor base(0x1e, 0x1f, 0x22);
    const QColor text(0xdf, 0xe1, 0xe5);
    const QColor disabledText(0x7f, 0x83, 0x8a);
    const QColor highlight(0x35, 0x74, 0xf0);
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x28, 0x2b));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3c, 0x3f, 0x41));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, disabledText);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x3c, 0x3f, 0x41));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, QColor(0xff, 0x6b, 0x68));
    palette.setColor(QPalette::Light, QColor(0x4e, 0x51, 0x57));
    palette.setColor(QPalette::Midlight, QColor(0x43, 0x45, 0x4a));
    palette.setColor(QPalette::Mid, QColor(0x6f, 0x73, 0x7a));
    palette.setColor(QPalette::Dark, QColor(0x1a, 0x1b, 0x1d));
    palette.setColor(QPalette::Shadow, QColor(0x0e, 0x0e, 0x10));
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x58, 0x9d, 0xf6));
    palette.setColor(QPalette::LinkVisited, QColor(0xb1, 0x8c, 0xf0));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0x4e, 0x51, 0x57));
    return palette;
}

} // namespace

std::optional<ColourScheme> ParseColourScheme(const QString& text) {
    const QString name = text.trimmed().toLower();
    if (name == QLatin1String("system"))
        return ColourScheme::System;
    if (name == QLatin1String("light"))
        return ColourScheme::Light;
    if (name == QLatin1String("dark"))
        return ColourScheme::Dark;
    return std::nullopt;
}

QString ColourSchemeName(ColourScheme scheme) {
    switch (scheme) {
    case ColourScheme::Light:
        return QStringLiteral("light");
    case ColourScheme::Dark:
        return QStringLiteral("dark");
    case ColourScheme::System:
        break;
    }
    return QStringLiteral("system");
}

void ApplyColourScheme(ColourScheme scheme) {
    const PlatformLook& look = platformLook();
    if (scheme == ColourScheme::System) {
        if (QApplication::style()->name() != look.styleName)
            QApplication::setStyle(QStyleFactory::create(look.styleName));
        QApplication::setPalette(look.palette);
        return;
    }
    if (QApplication::style()->name().compare(QLatin1String("fusion"), Qt::CaseInsensitive) != 0)
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(
        scheme == ColourScheme::Dark ? darkPalette() : QApplication::style()->standardPalette());
}

} // namespace marovin
