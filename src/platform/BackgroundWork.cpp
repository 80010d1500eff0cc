#include "marovin/platform/BackgroundWork.h"

#include <QApplication>
#include <QDialog>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <atomic>
#include <exception>
#include <thread>

namespace marovin {

namespace {

// The modal indicator: a text, a running bar and Cancel. Closing it in any way cancels.
class BusyDialog : public QDialog {
public:
    BusyDialog(QWidget* parent, const QString& strText, std::function<void()> onCancel)
        : QDialog(parent), m_onCancel(std::move(onCancel)) {
        setObjectName(QStringLiteral("dlgBusy"));
        setWindowTitle(QApplication::applicationDisplayName().isEmpty()
                           ? QApplication::applicationName()
                           : QApplication::applicationDisplayName());
        setAccessibleName(strText);
        setModal(true);
        m_label = new QLabel(strText, this);
        m_label->setObjectName(QStringLiteral("lblBusy"));
        auto* bar = new QProgressBar(this);
        bar->setObjectName(QStringLiteral("prgBusy"));
        bar->setAccessibleName(tr("Working"));
        bar->setRange(0, 0);
        bar->setTextVisible(false);
        m_cancel = new QPushButton(tr("&Cancel"), this);
        m_cancel->setObjectName(QStringLiteral("cmdCancelWork"));
        m_cancel->setAccessibleName(tr("Cancel"));
        connect(m_cancel, &QPushButton::clicked, this, [this] { requestCancel(); });
        auto* buttons = new QHBoxLayout;
        buttons->addStretch(1);
        buttons->addWidget(m_cancel);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(m_label);
        layout->addWidget(bar);
        layout->addLayout(buttons);
        setMinimumWidth(320);
    }

    // Escape and the window's close button cancel; the dialog stays up until the work is back.
    void reject() override { requestCancel(); }

    // Closes for good once the work has returned.
    void finish() { QDialog::done(QDialog::Accepted); }

private:
    void requestCancel() {
        if (m_cancelled)
            return;
        m_cancelled = true;
        m_cancel->setEnabled(false);
        m_label->setText(tr("Cancelling..."));
        m_onCancel();
    }

    std::function<void()> m_onCancel;
    QLabel* m_label;
    QPushButton* m_cancel;
    bool m_cancelled = false;
};

} // namespace

bool RunInBackground(QWidget* parent, const QString& strText, const std::function<void()>& work,
                     const std::function<void()>& cancel) {
    std::atomic<bool> done{false};
    bool cancelled = false;
    // Where the user was: the indicator takes the activation, and gives it back when it goes.
    const QPointer<QWidget> activeWindow = QApplication::activeWindow();
    const QPointer<QWidget> focusWidget = QApplication::focusWidget();
    std::exception_ptr failure;

    QPointer<BusyDialog> busy = new BusyDialog(parent, strText, [&cancelled, &cancel] {
        cancelled = true;
        cancel();
    });
    QTimer showTimer;
    showTimer.setSingleShot(true);
    QObject::connect(&showTimer, &QTimer::timeout, [&busy, &done] {
        if (busy && !done)
            busy->show();
    });
    showTimer.start(kBusyIndicatorDelayMs);

    std::thread worker([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        done = true;
        // Wakes the waiting loop below.
        QMetaObject::invokeMethod(
            qApp, [] {}, Qt::QueuedConnection);
    });

    while (!done) {
        QEventLoop::ProcessEventsFlags flags = QEventLoop::WaitForMoreEvents;
        // Before the indicator is up, clicks and keys wait: nothing may change under the work.
        if (!busy || !busy->isVisible())
            flags |= QEventLoop::ExcludeUserInputEvents;
        QCoreApplication::processEvents(flags);
    }
    worker.join();
    showTimer.stop();
    if (busy) {
        const bool shown = busy->isVisible();
        busy->finish();
        delete busy;
        if (shown && activeWindow) {
            activeWindow->activateWindow();
            if (focusWidget)
                focusWidget->setFocus(Qt::OtherFocusReason);
        }
    }
    if (failure)
        std::rethrow_exception(failure);
    return !cancelled;
}

} // namespace marovin
