#include <QApplication>
#include <cstdlib>
#include <gtest/gtest.h>

// The dialogs need a QApplication; the build runs these tests on the offscreen platform.
int main(int argc, char** argv) {
    // Listing the tests (as CTest does to discover them) needs no display either.
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    QApplication::setApplicationName("MarovinDialogsTests");
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
