#include "marovin/platform/Icons.h"

#include "marovin/platform/EmptyHint.h"

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QListWidget>
#include <QPixmap>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;

namespace {

// How many pixels of the image are not fully transparent.
int inkedPixels(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return count;
}

} // namespace

TEST(IconsTest, EveryPictureIsDrawnAtAnySizeAndGreysOutWhenDisabled) {
    const IconKind kinds[] = {IconKind::Add,      IconKind::Edit,        IconKind::Remove,
                              IconKind::MoveUp,   IconKind::MoveDown,    IconKind::Table,
                              IconKind::SubQuery, IconKind::CheckSyntax, IconKind::Preview,
                              IconKind::Refresh};
    for (IconKind kind : kinds) {
        const QIcon icon = makeIcon(kind);
        const QImage small = icon.pixmap(QSize(16, 16)).toImage();
        const QImage sharp = icon.pixmap(QSize(16, 16), 2.0).toImage();
        EXPECT_EQ(small.size(), QSize(16, 16));
        EXPECT_EQ(sharp.size(), QSize(32, 32));
        // Something is drawn, but the picture does not fill its square.
        EXPECT_GT(inkedPixels(small), 10) << static_cast<int>(kind);
        EXPECT_LT(inkedPixels(small), 16 * 16) << static_cast<int>(kind);
        EXPECT_GT(inkedPixels(sharp), inkedPixels(small)) << static_cast<int>(kind);
        const QImage disabled = icon.pixmap(QSize(16, 16), QIcon::Disabled).toImage();
        EXPECT_NE(disabled, small) << static_cast<int>(kind);
    }
    // Up has its arrowhead (the widest row of ink) in the upper half, down in the lower half.
    auto widestRow = [](IconKind kind) {
        const QImage image = makeIcon(kind).pixmap(QSize(32, 32)).toImage();
        int best = 0;
        int bestCount = -1;
        for (int y = 0; y < image.height(); ++y) {
            int count = 0;
            for (int x = 0; x < image.width(); ++x)
                count += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
            if (count > bestCount) {
                best = y;
                bestCount = count;
            }
        }
        return best;
    };
    EXPECT_LT(widestRow(IconKind::MoveUp), 16);
    EXPECT_GE(widestRow(IconKind::MoveDown), 16);
}

TEST(EmptyHintTest, TheHintShowsExactlyWhileTheViewHasNoRows) {
    QListWidget list;
    list.setObjectName("lstThings");
    list.resize(300, 200);
    QLabel* hint = installEmptyHint(&list, "Add a thing");
    list.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&list));
    EXPECT_EQ(hint->objectName(), "lstThingsHint");
    EXPECT_EQ(hint->parentWidget(), list.viewport());
    EXPECT_TRUE(hint->isVisible());
    EXPECT_TRUE(hint->testAttribute(Qt::WA_TransparentForMouseEvents));

    list.addItem("one");
    EXPECT_FALSE(hint->isVisible());
    delete list.takeItem(0);
    EXPECT_TRUE(hint->isVisible());
    list.addItem("two");
    list.clear();
    EXPECT_TRUE(hint->isVisible());

    // The hint spans the viewport, less a margin on either side, when the view is resized.
    list.resize(500, 260);
    QApplication::processEvents();
    EXPECT_EQ(hint->height(), list.viewport()->height());
    EXPECT_LT(hint->width(), list.viewport()->width());
    EXPECT_GT(hint->width(), list.viewport()->width() / 2);
}
