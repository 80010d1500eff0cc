#pragma once

// The main function of the benchmarks that run Qt widgets. They run offscreen unless a platform
// is asked for, and with a catalogue cache, settings and a runtime folder of their own: every run
// writes databases of its own, whose catalogues would otherwise pile up in the user's cache.

#include <QApplication>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdlib>

namespace marovin::bench {

inline int RunQtBenchmarks(int argc, char** argv, const char* applicationName = nullptr) {
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QTemporaryDir runtime;
    if (std::getenv("XDG_RUNTIME_DIR") == nullptr)
        setenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit().constData(), 1);
    QTemporaryDir catalogues;
    setenv("MAROVIN_CACHE_DIR", catalogues.path().toLocal8Bit().constData(), 1);
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    if (applicationName)
        QApplication::setApplicationName(QString::fromUtf8(applicationName));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace marovin::bench
