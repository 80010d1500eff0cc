#pragma once

#include "marovin/MarovinExport.h"

#include <atomic>
#include <mutex>

namespace marovin {

class DbSession;

/// The error text of a service call that was cancelled.
inline constexpr const char* kCancelledText = "The statement was cancelled.";

/// Lets another thread stop the database work of one service call. A call given the
/// cancellation registers the session it opens; Cancel() interrupts the statement running on it
/// (and any it would start later), and the call returns as the service's failure. Cancelling
/// before the call has opened its session stops it as soon as it has. Thread-safe; one
/// cancellation serves one call at a time.
class MAROVIN_EXPORT DbCancellation {
public:
    DbCancellation() = default;
    DbCancellation(const DbCancellation&) = delete;
    DbCancellation& operator=(const DbCancellation&) = delete;

    void Cancel();
    bool blnCancelled() const { return m_cancelled.load(); }

    /// Used by the services: the session of the running call, and its end. A session attached
    /// after Cancel() is interrupted at once.
    void attach(DbSession* session);
    void detach();

private:
    std::mutex m_mutex;
    DbSession* m_session = nullptr; // Not owned; guarded by m_mutex.
    std::atomic<bool> m_cancelled{false};
};

/// Attaches a session for the scope of a call (nothing without a cancellation).
class MAROVIN_EXPORT DbCancellationScope {
public:
    DbCancellationScope(DbCancellation* cancellation, DbSession* session)
        : m_cancellation(cancellation) {
        if (m_cancellation)
            m_cancellation->attach(session);
    }
    ~DbCancellationScope() {
        if (m_cancellation)
            m_cancellation->detach();
    }
    DbCancellationScope(const DbCancellationScope&) = delete;
    DbCancellationScope& operator=(const DbCancellationScope&) = delete;

private:
    DbCancellation* m_cancellation;
};

} // namespace marovin
