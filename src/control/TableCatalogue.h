#pragma once

#include "marovin/CatalogueCache.h"
#include "marovin/DbSession.h"
#include "marovin/cDbConnection.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

class QWidget;

namespace marovin {

// The catalogue of the control's database, read off the user-interface thread. Opening a
// connection shows what is known at once (the rows in hand, the cache on disk, or else the names
// an SQLite file's pages give without parsing its schema) and then, on a worker thread, checks
// it against the database's stamp and lists the tables again when the database changed, handing
// the rows over as they arrive. The rows are every table and view of the database; the table
// list applies its options to them. Column lists are fetched once per table and connection and
// kept (in memory and in the cache file).
class TableCatalogue : public QObject {
    Q_OBJECT
public:
    enum class State {
        Empty,     // no connection opened
        Reading,   // the worker runs; rows may be those of the cache
        Current,   // the rows are the database's catalogue, checked or listed since opened
        Unchecked, // the database could not be reached: the rows are the cache's, if any
        Cancelled, // the user stopped the reading; the rows are what arrived
    };

    explicit TableCatalogue(QObject* parent = nullptr);
    // Stops the worker and waits for it.
    ~TableCatalogue() override;

    // Where catalogues are kept between sessions; nullptr keeps none.
    void setCache(std::shared_ptr<CatalogueCache> cache) { m_cache = std::move(cache); }
    const std::shared_ptr<CatalogueCache>& cache() const { return m_cache; }

    // Starts on the connection's catalogue. The same connection as before keeps its rows and is
    // only checked again; blnForce lists the tables again whatever the stamp says.
    void open(const cDbConnection& connection, bool blnForce);
    // Forgets the connection and its rows.
    void close();
    // Stops the worker; the rows that arrived stay.
    void cancel();

    State state() const { return m_state; }
    bool blnReading() const { return m_state == State::Reading; }
    // Whether the rows in hand are the whole catalogue (of the database or of its cache).
    bool blnComplete() const { return m_blnComplete; }
    // Whether the rows were known before the database was asked (from the cache, or read from
    // an SQLite file's pages) and have not been confirmed yet.
    bool blnFromCache() const { return m_blnFromCache; }
    const std::vector<DbSession::TableRow>& rows() const { return m_rows.rows; }
    // Each row's table-list entry ("schema.name") and its case-folded form, made on the worker
    // so that showing 100,000 of them costs the user-interface thread little.
    const QStringList& entries() const { return m_rows.entries; }
    const std::vector<QString>& foldedEntries() const { return m_rows.folded; }
    // Why the last reading failed; empty when it did not.
    const QString& strError() const { return m_strError; }

    enum class Outcome { Current, Failed, Cancelled };
    // Waits, with the event loop running and a busy indicator with Cancel, until the reading
    // under way has ended, and says how the catalogue stands then.
    Outcome waitUntilCurrent(QWidget* parent, const QString& strText);

    // The columns of a table-list entry as connection.GetListOfFields(entry, false) answers
    // them, asked of the database once per table while the connection is the one opened.
    // A session for them is opened on the worker once the catalogue is read; a request that
    // comes before waits for it (busy indicator over parent); a cancelled wait throws.
    std::string columns(QWidget* parent, const cDbConnection& connection,
                        const std::string& strEntry);
    // The declared foreign keys of a table-list entry, as connection.GetForeignKeys answers
    // them, read on the same session, the keys of other tables sought only among
    // referencingEntries (a database of many tables is not searched whole for each one).
    std::vector<DbForeignKey> foreignKeys(QWidget* parent, const cDbConnection& connection,
                                          const std::string& strEntry,
                                          const std::vector<std::string>& referencingEntries);

signals:
    // The rows in hand were replaced (the cache was read, or a new listing replaced it).
    void rowsReplaced();
    // Rows were added at the end, from position first on.
    void rowsAppended(int first);
    // The state changed (reading started or ended).
    void stateChanged();

private:
    struct Rows {
        std::vector<DbSession::TableRow> rows;
        QStringList entries;
        std::vector<QString> folded;

        static Rows prepared(std::vector<DbSession::TableRow> rows);
        void append(Rows&& more);
        void clear();
        bool empty() const { return rows.empty(); }
        std::size_t size() const { return rows.size(); }
    };
    struct Shared;
    struct Event;
    void startWorker(bool blnForce, bool blnReadCache);
    // Applies what the worker handed over; all of it, or as much as fits one short turn of
    // the event loop (the rest follows in the next turns).
    void drain(bool blnAll = false);
    void apply(Event& event);
    // Raises rowsAppended once for the parts taken over since the last time.
    void announceAppended();
    void setState(State state);

    std::shared_ptr<CatalogueCache> m_cache;
    std::unique_ptr<cDbConnection> m_connection;
    std::string m_strKey;
    Rows m_rows;
    // Column lists of this connection, by table-list entry.
    std::unordered_map<std::string, std::string> m_columns;
    // Column lists the cache had; trusted once the stamp confirmed the cache.
    std::unordered_map<std::string, std::string> m_cachedColumns;
    bool m_blnComplete = false;
    bool m_blnFromCache = false;
    bool m_blnListing = false; // the worker is listing afresh, not only checking
    State m_state = State::Empty;
    QString m_strError;
    // The stamp the rows were listed under, and when.
    std::string m_strStamp;
    std::int64_t m_lngListedAt = 0;
    // A new listing replacing rows already shown gathers here until it is whole.
    Rows m_pending;
    bool m_blnReplacing = false;
    // The first row taken over and not yet announced, or -1.
    int m_appendedFrom = -1;
    std::shared_ptr<Shared> m_shared;
    // An open session for column lists, handed over by the worker.
    std::unique_ptr<DbSession> m_session;
    // The workers, the current one last; earlier ones were stopped and may not have returned.
    struct Worker {
        std::thread thread;
        std::shared_ptr<Shared> shared;
    };
    std::vector<Worker> m_workers;
    void reapWorkers();
    // Waits for the session the worker is opening, if it is; false when the user cancelled.
    bool waitForSession(QWidget* parent, const std::string& strEntry);
};

} // namespace marovin
