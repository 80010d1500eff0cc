#include <QApplication>
#include <gtest/gtest.h>

// The widgets under test need a QApplication; the offscreen platform is set by the build.
int main(int argc, char** argv) {
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
