// GoogleTest entry point for the diagram's GUI tests: they need a QApplication.
#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
