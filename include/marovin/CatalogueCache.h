#pragma once

#include "marovin/DbSession.h"
#include "marovin/MarovinExport.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace marovin {

class cDbConnection;

/// What is kept of one database's catalogue: when and in which state it was read, every table and
/// view it listed (all types, in catalogue order, before the list options are applied) and the
/// column lists of the tables whose columns were asked for so far.
struct MAROVIN_EXPORT Catalogue {
    /// cDbConnection::GetCatalogueStamp() when the tables were listed; empty when the database
    /// could not tell.
    std::string strStamp;
    /// When the tables were listed, in seconds since the epoch.
    std::int64_t lngListedAt = 0;
    std::vector<DbSession::TableRow> tables;
    /// By table-list entry ("dbo.Orders"): the text GetListOfFields(entry, false) answered.
    std::unordered_map<std::string, std::string> columns;
};

/// Catalogues kept on disk, one file per connection (provider, server, database and login; an
/// SQLite database by the absolute path of its file, links resolved), so that a large catalogue
/// can be shown at once the next time and only checked against the database. Never throws: a
/// file that is missing, unreadable, damaged or of another connection reads as no catalogue.
/// Files are readable by their owner only; the format is described in src/db/README.md.
class MAROVIN_EXPORT CatalogueCache {
public:
    /// Seconds a catalogue stays usable when the database has no stamp to check it against.
    static constexpr std::int64_t kDefaultMaxAge = 600;
    /// Seconds after which a catalogue that was neither read nor written is deleted (when
    /// another catalogue is written into the same folder).
    static constexpr std::int64_t kUnusedLifetime = 90 * 24 * 3600;
    /// The environment variable that names the cache folder.
    static constexpr const char* kDirectoryEnvironmentVariable = "MAROVIN_CACHE_DIR";

    /// Files go into strDirectory; when it is empty, into $MAROVIN_CACHE_DIR, else
    /// $XDG_CACHE_HOME/marovin/catalogues, else ~/.cache/marovin/catalogues. The folder is made
    /// when the first file is written.
    explicit CatalogueCache(std::string strDirectory = {});

    const std::string& strDirectory() const { return m_strDirectory; }
    /// The file holding the connection's catalogue.
    std::string FilePath(const cDbConnection& connection) const;

    std::optional<Catalogue> Load(const cDbConnection& connection) const;
    /// Writes the whole catalogue (to a new file that then replaces the old one, so a reader
    /// never sees half a file); false when it cannot be written.
    bool Save(const cDbConnection& connection, const Catalogue& catalogue) const;
    /// Adds one table's column list to the connection's file (later entries win when it is
    /// read); false when there is no file or it cannot be written.
    bool AppendColumns(const cDbConnection& connection, const std::string& strTable,
                       const std::string& strColumns) const;
    /// Deletes the connection's file; true when none is left.
    bool Remove(const cDbConnection& connection) const;

    /// Whether a kept catalogue still describes the database: its stamp equals the current one
    /// (both non-empty); or, when the database has no stamp, it was listed less than lngMaxAge
    /// seconds before now.
    static bool IsCurrent(const Catalogue& catalogue, const std::string& strCurrentStamp,
                          std::int64_t lngNow, std::int64_t lngMaxAge = kDefaultMaxAge);

private:
    std::string m_strDirectory;
};

} // namespace marovin
