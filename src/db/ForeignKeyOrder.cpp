#include "ForeignKeyOrder.h"

#include <algorithm>
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
