#include "TableCatalogue.h"

#include "marovin/DbCancellation.h"
#include "marovin/platform/BackgroundWork.h"

#include <QElapsedTimer>
#include <QThreadPool>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace marovin {

namespace {

// How long one turn of the event loop may spend taking over rows.
constexpr qint64 kDrainBudgetMs = 8;

std::int64_t secondsNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// The identity of a connection's catalogue: the cache's file when there is a cache, else the
// same parts the cache names its files by.
std::string keyOf(const cDbConnection& connection, const CatalogueCache* cache) {
    if (cache)
        return cache->FilePath(connection);
    return connection.strProvider() + '\n' + connection.strServer() + '\n' +
           connection.strDatabase();
}

// Closes a session on a pool thread: closing an SQLite file with a large schema frees the whole
// parsed schema (about 90 ms for 100,000 tables), which the window should not wait for. The
// global pool finishes its tasks before the program ends.
void closeInBackground(std::unique_ptr<DbSession> session) {
    if (!session)
        return;
    std::shared_ptr<DbSession> closing(std::move(session));
    QThreadPool::globalInstance()->start([closing]() mutable { closing.reset(); });
}

} // namespace

// What the worker hands to the user-interface thread, in order.
struct TableCatalogue::Event {
    enum Kind {
        CacheRead,      // rows known before the database is asked: the cache's catalogue (rows and
                        // column lists), or the names an SQLite file's pages give
        Confirmed,      // the rows in hand describe the database
        ListingStarted, // the tables are listed afresh
        Batch,          // rows of the listing, in order
        Listed,         // the listing is complete
        Failed,         // the database could not be read; text says why
        Cancelled,
        SessionReady, // an open session for column lists
    } kind;
    Rows rows;
    std::unordered_map<std::string, std::string> columns;
    std::string text; // the stamp, or the error
    std::int64_t lngListedAt = 0;
    std::unique_ptr<DbSession> session;
};

// One reading: shared by the worker and the control, so that either may go first.
struct TableCatalogue::Shared {
    std::mutex mutex;
    std::condition_variable finishedChanged;
    std::vector<Event> events; // guarded by mutex
    bool finished = false;     // guarded by mutex
    // Whether the catalogue's state is known (checked, listed, failed); the worker may go on
    // opening a session for column lists. Guarded by mutex.
    bool decided = false;
    std::atomic<bool> stop{false};
    DbCancellation cancellation;

    // Stops the worker, and at once whoever waits for it: the worker may take a moment to
    // notice, and what it still hands over is not taken.
    void stopNow() {
        cancellation.Cancel();
        std::lock_guard lock(mutex);
        stop = true;
        finishedChanged.notify_all();
    }
};

TableCatalogue::Rows TableCatalogue::Rows::prepared(std::vector<DbSession::TableRow> rows) {
    Rows result;
    result.entries.reserve(static_cast<qsizetype>(rows.size()));
    result.folded.reserve(rows.size());
    for (const DbSession::TableRow& row : rows) {
        QString entry = QString::fromStdString(row.strSchema);
        entry += QLatin1Char('.');
        entry += QString::fromStdString(row.strName);
        result.folded.push_back(entry.toCaseFolded());
        result.entries.push_back(std::move(entry));
    }
    result.rows = std::move(rows);
    return result;
}

void TableCatalogue::Rows::append(Rows&& more) {
    if (rows.empty()) {
        *this = std::move(more);
        return;
    }
    rows.insert(rows.end(), std::make_move_iterator(more.rows.begin()),
                std::make_move_iterator(more.rows.end()));
    entries.append(std::move(more.entries));
    folded.insert(folded.end(), std::make_move_iterator(more.folded.begin()),
                  std::make_move_iterator(more.folded.end()));
}

void TableCatalogue::Rows::clear() {
    rows.clear();
    entries.clear();
    folded.clear();
}

TableCatalogue::TableCatalogue(QObject* parent) : QObject(parent) {}

TableCatalogue::~TableCatalogue() {
    if (m_shared)
        m_shared->stopNow();
    closeInBackground(std::move(m_session));
    for (Worker& worker : m_workers)
        worker.thread.join();
}

void TableCatalogue::reapWorkers() {
    std::erase_if(m_workers, [](Worker& worker) {
        {
            std::lock_guard lock(worker.shared->mutex);
            if (!worker.shared->finished)
                return false;
        }
        worker.thread.join();
        return true;
    });
}

void TableCatalogue::open(const cDbConnection& connection, bool blnForce) {
    const std::string key = keyOf(connection, m_cache.get());
    const bool sameDatabase = m_connection && key == m_strKey;
    m_connection = std::make_unique<cDbConnection>(connection);
    if (sameDatabase && m_state == State::Reading && !blnForce)
        return; // the reading under way answers for this opening too
    if (m_shared)
        m_shared->stopNow();
    m_appendedFrom = -1;
    if (!sameDatabase) {
        m_strKey = key;
        closeInBackground(std::move(m_session));
        m_rows.clear();
        m_columns.clear();
        m_cachedColumns.clear();
        m_blnComplete = false;
        m_blnFromCache = false;
        m_strStamp.clear();
        m_lngListedAt = 0;
        emit rowsReplaced();
    }
    if (blnForce)
        m_columns.clear();
    m_strError.clear();
    startWorker(blnForce, !sameDatabase);
}

void TableCatalogue::close() {
    if (m_shared)
        m_shared->stopNow();
    m_shared.reset();
    m_appendedFrom = -1;
    closeInBackground(std::move(m_session));
    m_connection.reset();
    m_strKey.clear();
    m_rows.clear();
    m_columns.clear();
    m_cachedColumns.clear();
    m_blnComplete = false;
    m_blnFromCache = false;
    m_blnListing = false;
    m_strError.clear();
    emit rowsReplaced();
    setState(State::Empty);
}

void TableCatalogue::cancel() {
    if (m_state != State::Reading || !m_shared)
        return;
    m_shared->stopNow();
    drain(true);
    if (m_state == State::Reading) {
        m_pending.clear();
        m_blnListing = false;
        setState(State::Cancelled);
    }
}

void TableCatalogue::startWorker(bool blnForce, bool blnReadCache) {
    auto shared = std::make_shared<Shared>();
    m_shared = shared;
    m_blnListing = false;
    m_pending.clear();
    setState(State::Reading);

    // The worker reads only its own copies.
    const cDbConnection connection = *m_connection;
    const std::shared_ptr<CatalogueCache> cache = m_cache;
    const bool haveRows = m_blnComplete && !blnReadCache;
    const std::string knownStamp = m_strStamp;
    const std::int64_t knownListedAt = m_lngListedAt;
    TableCatalogue* const self = this;

    auto post = [shared, self](Event event) {
        bool wake = false;
        {
            std::lock_guard lock(shared->mutex);
            wake = shared->events.empty();
            shared->events.push_back(std::move(event));
        }
        // One wake-up drains whatever arrived by then. The catalogue joins its workers before
        // it goes, so it is alive here; a wake-up still queued is dropped with it.
        if (wake)
            QMetaObject::invokeMethod(
                self, [self] { self->drain(); }, Qt::QueuedConnection);
    };

    reapWorkers();
    std::thread thread([=] {
        auto finish = [&shared] {
            std::lock_guard lock(shared->mutex);
            shared->decided = true;
            shared->finished = true;
            shared->finishedChanged.notify_all();
        };
        auto decide = [&shared] {
            std::lock_guard lock(shared->mutex);
            shared->decided = true;
            shared->finishedChanged.notify_all();
        };
        std::optional<Catalogue> known;
        if (blnReadCache && cache) {
            known = cache->Load(connection);
            if (known) {
                Event event{Event::CacheRead,          Rows::prepared(std::move(known->tables)),
                            std::move(known->columns), known->strStamp,
                            known->lngListedAt,        nullptr};
                post(std::move(event));
            }
        } else if (haveRows) {
            known = Catalogue{knownStamp, knownListedAt, {}, {}};
        }
        // With nothing known, an SQLite file's own pages give the names long before SQLite has
        // parsed its schema; the listing below confirms or replaces them.
        if (blnReadCache && !known && !shared->stop) {
            if (std::optional<std::vector<DbSession::TableRow>> rows =
                    connection.GetTablesFromFile())
                post(Event{Event::CacheRead, Rows::prepared(std::move(*rows)), {}, {}, 0, nullptr});
        }
        if (shared->stop) {
            post(Event{Event::Cancelled, {}, {}, {}, 0, nullptr});
            finish();
            return;
        }
        const std::string stamp = connection.GetCatalogueStamp();
        if (!blnForce && known && CatalogueCache::IsCurrent(*known, stamp, secondsNow())) {
            post(Event{Event::Confirmed, {}, {}, stamp, 0, nullptr});
            decide();
            // Column lists are read on a session kept open: with SQLite, opening one reads the
            // whole schema, which takes seconds for a large catalogue.
            std::unique_ptr<DbSession> session = connection.GetConnection(&shared->cancellation);
            if (session)
                post(Event{Event::SessionReady, {}, {}, {}, 0, std::move(session)});
            finish();
            return;
        }
        post(Event{Event::ListingStarted, {}, {}, {}, 0, nullptr});
        Catalogue listed;
        listed.strStamp = stamp;
        listed.lngListedAt = secondsNow();
        std::string error;
        std::unique_ptr<DbSession> session;
        const bool ok = connection.ListTables(
            [&](std::vector<DbSession::TableRow>&& rows) {
                listed.tables.insert(listed.tables.end(), rows.begin(), rows.end());
                post(Event{Event::Batch, Rows::prepared(std::move(rows)), {}, {}, 0, nullptr});
            },
            error, &shared->cancellation, &session);
        if (!ok) {
            post(shared->stop ? Event{Event::Cancelled, {}, {}, {}, 0, nullptr}
                              : Event{Event::Failed, {}, {}, error, 0, nullptr});
            finish();
            return;
        }
        // Kept before the end is announced, so that column lists added from then on go into the
        // new file.
        if (cache)
            cache->Save(connection, listed);
        post(Event{Event::Listed, {}, {}, stamp, listed.lngListedAt, nullptr});
        decide();
        if (session)
            post(Event{Event::SessionReady, {}, {}, {}, 0, std::move(session)});
        finish();
    });
    m_workers.push_back(Worker{std::move(thread), shared});
}

void TableCatalogue::drain(bool blnAll) {
    if (!m_shared)
        return;
    std::vector<Event> events;
    {
        std::lock_guard lock(m_shared->mutex);
        events.swap(m_shared->events);
    }
    // Rows that arrive in many parts are taken a few milliseconds' worth at a time, so that the
    // window answers in between; the rest waits for the next turn of the event loop.
    QElapsedTimer budget;
    budget.start();
    for (std::size_t i = 0; i < events.size(); ++i) {
        // A reading that was stopped hands over nothing more; what it handed over stays.
        if (m_shared->stop) {
            announceAppended();
            return;
        }
        apply(events[i]);
        if (!blnAll && i + 1 < events.size() && budget.elapsed() >= kDrainBudgetMs) {
            announceAppended();
            {
                std::lock_guard lock(m_shared->mutex);
                m_shared->events.insert(m_shared->events.begin(),
                                        std::make_move_iterator(events.begin() + i + 1),
                                        std::make_move_iterator(events.end()));
            }
            QMetaObject::invokeMethod(
                this, [this] { drain(); }, Qt::QueuedConnection);
            return;
        }
    }
    announceAppended();
}

void TableCatalogue::announceAppended() {
    if (m_appendedFrom < 0)
        return;
    const int first = m_appendedFrom;
    m_appendedFrom = -1;
    emit rowsAppended(first);
}

void TableCatalogue::apply(Event& event) {
    if (event.kind != Event::Batch)
        announceAppended();
    switch (event.kind) {
    case Event::CacheRead:
        m_rows = std::move(event.rows);
        m_cachedColumns = std::move(event.columns);
        m_strStamp = event.text;
        m_lngListedAt = event.lngListedAt;
        m_blnComplete = true;
        m_blnFromCache = true;
        emit rowsReplaced();
        break;
    case Event::Confirmed:
        // A confirmed cache's column lists describe the database as well.
        for (auto& [entry, columns] : m_cachedColumns)
            m_columns.try_emplace(entry, std::move(columns));
        m_cachedColumns.clear();
        m_strStamp = event.text;
        m_blnFromCache = false;
        setState(State::Current);
        break;
    case Event::ListingStarted:
        m_blnListing = true;
        // Rows already shown stay until the new list is whole; otherwise the rows are shown as
        // they arrive.
        m_blnReplacing = m_blnComplete;
        if (!m_blnReplacing && !m_rows.empty()) {
            m_rows.clear();
            emit rowsReplaced();
        }
        break;
    case Event::Batch:
        if (m_blnReplacing) {
            m_pending.append(std::move(event.rows));
        } else {
            // Parts taken over in one turn are announced together: the list view pays for
            // every announcement in proportion to the rows it shows.
            if (m_appendedFrom < 0)
                m_appendedFrom = static_cast<int>(m_rows.size());
            m_rows.append(std::move(event.rows));
        }
        break;
    case Event::Listed: {
        // The database changed (or the user asked): column lists are asked for again.
        m_columns.clear();
        m_cachedColumns.clear();
        m_strStamp = event.text;
        m_lngListedAt = event.lngListedAt;
        m_blnComplete = true;
        m_blnFromCache = false;
        m_blnListing = false;
        if (m_blnReplacing) {
            m_rows = std::move(m_pending);
            m_pending.clear();
            m_blnReplacing = false;
            emit rowsReplaced();
        }
        setState(State::Current);
        break;
    }
    case Event::Failed:
        m_strError = QString::fromStdString(event.text);
        m_blnListing = false;
        m_pending.clear();
        if (m_blnReplacing)
            m_blnReplacing = false;
        else if (!m_blnFromCache)
            m_blnComplete = false;
        setState(State::Unchecked);
        break;
    case Event::SessionReady:
        m_session = std::move(event.session);
        break;
    case Event::Cancelled:
        m_blnListing = false;
        m_pending.clear();
        m_blnReplacing = false;
        setState(State::Cancelled);
        break;
    }
}

void TableCatalogue::setState(State state) {
    if (state == m_state)
        return;
    m_state = state;
    emit stateChanged();
}

TableCatalogue::Outcome TableCatalogue::waitUntilCurrent(QWidget* parent, const QString& strText) {
    if (m_state == State::Reading && m_shared) {
        const std::shared_ptr<Shared> shared = m_shared;
        const bool ran = RunInBackground(
            parent, strText,
            [shared] {
                std::unique_lock lock(shared->mutex);
                shared->finishedChanged.wait(lock,
                                             [&shared] { return shared->decided || shared->stop; });
            },
            [shared] { shared->stopNow(); });
        drain(true);
        if (!ran)
            cancel();
    }
    switch (m_state) {
    case State::Current:
        return Outcome::Current;
    case State::Cancelled:
        return Outcome::Cancelled;
    default:
        return Outcome::Failed;
    }
}

bool TableCatalogue::waitForSession(QWidget* parent, const std::string& strEntry) {
    // A session is on its way: waiting for it costs less than opening another.
    if (m_session || !m_shared || m_shared->stop)
        return true;
    const std::shared_ptr<Shared> shared = m_shared;
    {
        std::lock_guard lock(shared->mutex);
        if (shared->finished)
            return true;
    }
    const bool ran = RunInBackground(
        parent, tr("Reading the columns of %1...").arg(QString::fromStdString(strEntry)),
        [shared] {
            std::unique_lock lock(shared->mutex);
            shared->finishedChanged.wait(lock,
                                         [&shared] { return shared->finished || shared->stop; });
        },
        [shared] { shared->stopNow(); });
    drain(true);
    return ran;
}

std::vector<DbForeignKey>
TableCatalogue::foreignKeys(QWidget* parent, const cDbConnection& connection,
                            const std::string& strEntry,
                            const std::vector<std::string>& referencingEntries) {
    if (!m_connection || keyOf(connection, m_cache.get()) != m_strKey)
        return connection.GetForeignKeys(strEntry);
    // A cancelled wait joins nothing.
    if (!waitForSession(parent, strEntry))
        return {};
    if (!m_session)
        return connection.GetForeignKeys(strEntry);
    return cDbConnection::GetForeignKeys(*m_session, strEntry, referencingEntries);
}

std::string TableCatalogue::columns(QWidget* parent, const cDbConnection& connection,
                                    const std::string& strEntry) {
    if (!m_connection || keyOf(connection, m_cache.get()) != m_strKey)
        return connection.GetListOfFields(strEntry, false);
    if (const auto it = m_columns.find(strEntry); it != m_columns.end())
        return it->second;
    if (!waitForSession(parent, strEntry))
        throw std::runtime_error("Reading the columns of " + strEntry + " was cancelled.");
    std::string columns;
    if (m_session) {
        columns = cDbConnection::GetListOfFields(*m_session, strEntry, false);
        // A session that failed (a dropped server connection) is not asked again.
        if (columns.empty())
            m_session.reset();
    }
    if (columns.empty())
        columns = connection.GetListOfFields(strEntry, false);
    // An empty answer may be a failure to connect: it is asked again next time.
    if (columns.empty())
        return columns;
    if (m_cache && m_state == State::Current)
        m_cache->AppendColumns(connection, strEntry, columns);
    return m_columns.emplace(strEntry, std::move(columns)).first->second;
}

} // namespace marovin
