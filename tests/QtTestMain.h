#pragma once

// The entry point of the GUI test programs. Everything a result could depend on besides the
// product is fixed here, so that the tests pass on any machine: the offscreen platform (also
// for listing the tests without a display), the C locale for Qt and the C library, UTC, Qt's
// test locations instead of the user's own settings and data folders, and a catalogue cache
// folder of the run's own. A test that needs another locale sets it itself.

#include <QApplication>
#include <QLocale>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

namespace marovin::test {

inline int RunQtTests(int argc, char** argv, const char* applicationName) {
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TZ", "UTC", 1);
    tzset();
    // Qt wants a private runtime folder; the user's may be missing (as under CI) or shared.
    QTemporaryDir runtime;
    setenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit().constData(), 1);
    QTemporaryDir catalogues;
    setenv("MAROVIN_CACHE_DIR", catalogues.path().toLocal8Bit().constData(), 1);
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    std::setlocale(LC_ALL, "C.UTF-8");
    QLocale::setDefault(QLocale::c());
    QApplication::setApplicationName(applicationName);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

} // namespace marovin::test
