#include "marovin/DbCancellation.h"

#include "marovin/DbSession.h"

namespace marovin {

void DbCancellation::Cancel() {
    const std::lock_guard lock(m_mutex);
    m_cancelled = true;
    if (m_session)
        m_session->Interrupt();
}

void DbCancellation::attach(DbSession* session) {
    const std::lock_guard lock(m_mutex);
    m_session = session;
    if (m_cancelled && m_session)
        m_session->Interrupt();
}

void DbCancellation::detach() {
    // Waits for a Cancel() running on another thread, so the session outlives its interrupt.
    const std::lock_guard lock(m_mutex);
    m_session = nullptr;
}

} // namespace marovin
