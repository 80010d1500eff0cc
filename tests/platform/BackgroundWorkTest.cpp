// Work on a worker thread while the event loop goes on: the busy indicator, cancelling with the
// mouse and with Escape, and failures handed back to the caller.

#include "marovin/platform/BackgroundWork.h"

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

using namespace marovin;

namespace {

// Work that runs until it is cancelled (or, as a safety net, for a minute).
struct StoppableWork {
    std::atomic<bool> stop{false};
    void run() {
        for (int i = 0; i < 6000 && !stop; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
};

// Calls the action on the busy indicator once it is up.
void whenBusyShown(QWidget* context, const std::function<void(QDialog&)>& action) {
    auto* timer = new QTimer(context);
    QObject::connect(timer, &QTimer::timeout, [timer, action] {
        auto* busy = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!busy || busy->objectName() != "dlgBusy")
            return;
        timer->stop();
        timer->deleteLater();
        action(*busy);
    });
    timer->start(10);
}

} // namespace

TEST(BackgroundWorkTest, ShortWorkReturnsItsResultWithoutAnIndicator) {
    QWidget window;
    window.show();
    int result = 0;
    const auto worker = std::this_thread::get_id();
    std::thread::id ranOn;
    EXPECT_TRUE(RunInBackground(
        &window, "Adding",
        [&] {
            result = 40 + 2;
            ranOn = std::this_thread::get_id();
        },
        [] {}));
    EXPECT_EQ(result, 42);
    EXPECT_NE(ranOn, worker);
    EXPECT_EQ(window.findChild<QDialog*>("dlgBusy"), nullptr);
}

TEST(BackgroundWorkTest, TheCancelButtonStopsLongWorkWhileTheLoopKeepsRunning) {
    QWidget window;
    auto* field = new QLineEdit(&window);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    field->setFocus();
    StoppableWork work;
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
    ticker.start(20);
    bool indicatorSeen = false;
    QString shownText;
    whenBusyShown(&window, [&](QDialog& busy) {
        indicatorSeen = true;
        shownText = busy.accessibleName();
        QTest::mouseClick(busy.findChild<QPushButton*>("cmdCancelWork"), Qt::LeftButton);
    });
    const bool finished = RunInBackground(
        &window, "Running the query", [&work] { work.run(); }, [&work] { work.stop = true; });
    EXPECT_FALSE(finished);
    EXPECT_TRUE(indicatorSeen);
    EXPECT_EQ(shownText, "Running the query");
    EXPECT_TRUE(work.stop);
    // Timers fired while the work ran: the windows went on being served.
    EXPECT_GT(ticks, 5);
    EXPECT_EQ(window.findChild<QDialog*>("dlgBusy"), nullptr);
    // The window and the field the user was in have the keyboard again.
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_EQ(QApplication::focusWidget(), field);
}

TEST(BackgroundWorkTest, EscapeCancelsToo) {
    QWidget window;
    window.show();
    StoppableWork work;
    whenBusyShown(&window, [](QDialog& busy) { QTest::keyClick(&busy, Qt::Key_Escape); });
    EXPECT_FALSE(RunInBackground(
        &window, "Checking", [&work] { work.run(); }, [&work] { work.stop = true; }));
    EXPECT_TRUE(work.stop);
}

TEST(BackgroundWorkTest, AFailureOfTheWorkReachesTheCaller) {
    QWidget window;
    EXPECT_THROW(RunInBackground(
                     &window, "Failing", [] { throw std::runtime_error("disk on fire"); }, [] {}),
                 std::runtime_error);
    // The next call works as usual.
    EXPECT_TRUE(RunInBackground(
        &window, "Fine", [] {}, [] {}));
}
