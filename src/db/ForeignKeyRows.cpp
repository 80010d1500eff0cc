#include "ForeignKeyRows.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace marovin {

namespace {

// Sorts by name, then by the table on the other side, then by the columns, and drops repeats.
void sortAndUnique(std::vector<DbForeignKey>& keys, bool byReferencedTable) {
    auto rank = [byReferencedTable](const DbForeignKey& k) {
        const std::string& other = byReferencedTable ? k.strReferencedTable : k.strTable;
        const std::string& same = byReferencedTable ? k.strTable : k.strReferencedTable;
        return std::tie(k.strName, other, k.colColumns, same, k.colReferencedColumns);
    };
    std::sort(keys.begin(), keys.end(),
              [&rank](const DbForeignKey& a, const DbForeignKey& b) { return rank(a) < rank(b); });
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

} // namespace

std::vector<GroupedKey> groupForeignKeyRows(const std::vector<ForeignKeyRow>& rows) {
    using Identity = std::tuple<std::string, std::string, std::string, std::string, std::string>;
    std::vector<std::vector<const ForeignKeyRow*>> groups;
    // A named key's group, or the group an unnamed key between two tables is filling.
    std::map<Identity, std::size_t> current;
    for (const ForeignKeyRow& row : rows) {
        Identity id{row.fkSchema, row.fkTable, row.pkSchema, row.pkTable, row.name};
        auto it = current.find(id);
        if (it == current.end() ||
            (row.name.empty() && row.seq <= groups[it->second].back()->seq)) {
            it = current.insert_or_assign(std::move(id), groups.size()).first;
            groups.emplace_back();
        }
        groups[it->second].push_back(&row);
    }
    std::vector<GroupedKey> keys;
    keys.reserve(groups.size());
    for (auto& group : groups) {
        std::stable_sort(group.begin(), group.end(),
                         [](const auto* a, const auto* b) { return a->seq < b->seq; });
        const ForeignKeyRow& first = *group.front();
        GroupedKey grouped{{}, first.pkSchema, first.pkTable};
        DbForeignKey& key = grouped.key;
        key.strName = first.name;
        key.strTable = first.fkSchema + '.' + first.fkTable;
        key.strReferencedTable = first.pkSchema + '.' + first.pkTable;
        for (const ForeignKeyRow* row : group) {
            key.colColumns.push_back(row->fkColumn);
            key.colReferencedColumns.push_back(row->pkColumn);
        }
        keys.push_back(std::move(grouped));
    }
    return keys;
}

std::vector<DbForeignKey> orderForeignKeys(std::vector<DbForeignKey> own,
                                           std::vector<DbForeignKey> referencing) {
    sortAndUnique(own, true);
    sortAndUnique(referencing, false);
    std::vector<DbForeignKey> all = std::move(own);
    for (DbForeignKey& key : referencing) {
        if (std::find(all.begin(), all.end(), key) == all.end())
            all.push_back(std::move(key));
    }
    return all;
}

} // namespace marovin
