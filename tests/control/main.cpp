#include <QApplication>
#include <gtest/gtest.h>

// The control needs a QApplication; the build runs these tests on the offscreen platform.
int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("MarovinControlTests");
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
