// GoogleTest entry point for the diagram's GUI tests: they need a QApplication.
#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Offscreen unless told otherwise, so that listing the tests works without a display too.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
