#include "marovin/cSQLQuery.h"

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace marovin {

namespace {

constexpr std::string_view kItemIndent = "     ";

// Visits the items of a collection in order while asking the memory for the item a few places
// ahead. The items of a large query lie far apart on the heap; waiting for each one only when it
// is reached made rendering slower per item as queries grew past the processor's caches.
constexpr size_t kAhead = 8;

// Asks for the first two cache lines of an object (an item and the control block in front of it).
void prefetchObject(const void* object) {
    if (!object)
        return;
    const char* bytes = static_cast<const char*>(object);
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
}

// Filters and calculated items are mostly longer than fifteen bytes, so their texts lie
// elsewhere on the heap: for them the item twice as far ahead is asked for, and the text of the
// item half as far ahead, whose address is read from it by then. Names and aliases are mostly
// short enough to lie in the item itself.
const std::string& farText(const cFilter& filter) {
    return filter.strCondition();
}
const std::string& farText(const cCalculatedItem& item) {
    return item.strComputation();
}
template <class Item>
constexpr bool kHasFarText = std::is_same_v<Item, cFilter> || std::is_same_v<Item, cCalculatedItem>;

template <class Collection, class Visit> void forEachAhead(const Collection& items, Visit&& visit) {
    const auto begin = items.begin();
    const size_t count = static_cast<size_t>(items.end() - begin);
    using Item = typename std::remove_cvref_t<decltype(*begin)>::element_type;
    for (size_t i = 0; i < count; ++i) {
        if constexpr (kHasFarText<Item>) {
            if (i + 2 * kAhead < count)
                prefetchObject(begin[i + 2 * kAhead].get());
            if (i + kAhead < count)
                __builtin_prefetch(farText(*begin[i + kAhead]).data());
        } else if (i + kAhead < count) {
            prefetchObject(begin[i + kAhead].get());
        }
        visit(*begin[i]);
    }
}

// Slots of the open-addressing tables below: a position in a list and a tag of the hash, eight
// bytes, so that the slots of ten thousand names stay within the processor's caches.
struct HashSlot {
    uint32_t position = 0; // Position + 1 in the owner's list; 0 marks a free slot.
    uint32_t tag = 0;      // The hash's upper half.
};

size_t slotCountFor(size_t expected) {
    size_t slots = 16;
    while (slots < 2 * expected)
        slots *= 2;
    return slots;
}

// Finds the slot of a key (found() is true) or the free slot where it goes. Matches compares a
// candidate's position with the key.
template <class Matches>
size_t findSlot(const std::vector<HashSlot>& slots, uint64_t hash, Matches&& matches) {
    const size_t mask = slots.size() - 1;
    const uint32_t tag = static_cast<uint32_t>(hash >> 32);
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
        const HashSlot& slot = slots[at];
        if (slot.position == 0 || (slot.tag == tag && matches(slot.position - 1)))
            return at;
    }
}

// Doubles the slots, placing every used one again by the hash its owner gives for a position.
template <class HashOf> void growSlots(std::vector<HashSlot>& slots, HashOf&& hashOf) {
    std::vector<HashSlot> old(2 * slots.size());
    old.swap(slots);
    const size_t mask = slots.size() - 1;
    for (const HashSlot& slot : old) {
        if (slot.position == 0)
            continue;
        size_t at = hashOf(slot.position - 1) & mask;
        while (slots[at].position != 0)
            at = (at + 1) & mask;
        slots[at] = slot;
    }
}

// Puts a position into the free slot found for it, and doubles the slots once they are more
// than half full.
template <class HashOf>
void fillSlot(std::vector<HashSlot>& slots, size_t at, uint64_t hash, size_t count,
              HashOf&& hashOf) {
    slots[at] = HashSlot{static_cast<uint32_t>(count), static_cast<uint32_t>(hash >> 32)};
    if (2 * count > slots.size())
        growSlots(slots, hashOf);
}

} // namespace

namespace detail {

struct TableRendering {
    static const PositionHint& FromPosition(const cTable& table) { return table.m_fromPosition; }
};

} // namespace detail

namespace {

// Texts that stay where they are until the store is reset: copied into large blocks, so that
// the names of thousands of tables cost a handful of allocations. A reset keeps the blocks for
// the next texts.
class TextStore {
public:
    void Reset() {
        m_current = 0;
        m_next = m_blocks.empty() ? nullptr : m_blocks.front().text.get();
        m_free = m_blocks.empty() ? 0 : m_blocks.front().size;
    }
    std::string_view Keep(std::string_view text) {
        if (m_free < text.size() || m_blocks.empty()) {
            // The next kept block with room for the text, else a new one.
            while (m_current + 1 < m_blocks.size() && m_blocks[m_current + 1].size < text.size())
                ++m_current;
            if (m_blocks.empty() || m_current + 1 >= m_blocks.size()) {
                const size_t size = std::max(kBlockSize, text.size());
                m_blocks.push_back(Block{std::make_unique<char[]>(size), size});
                m_current = m_blocks.size() - 1;
            } else {
                ++m_current;
            }
            m_next = m_blocks[m_current].text.get();
            m_free = m_blocks[m_current].size;
        }
        if (!text.empty())
            std::memcpy(m_next, text.data(), text.size());
        const std::string_view kept(m_next, text.size());
        m_next += text.size();
        m_free -= text.size();
        return kept;
    }
    size_t RetainedBytes() const {
        size_t bytes = 0;
        for (const Block& block : m_blocks)
            bytes += block.size;
        return bytes;
    }

private:
    static constexpr size_t kBlockSize = 64 * 1024;
    struct Block {
        std::unique_ptr<char[]> text;
        size_t size;
    };
    std::vector<Block> m_blocks;
    size_t m_current = 0;
    char* m_next = nullptr;
    size_t m_free = 0;
};

// The names of the tables met while rendering FROM, each table's name rendered once (a sub-query
// table renders its whole statement for it). Each table keeps the position of its names, and the
// names live in one text store.
class TableNameCache {
public:
    // Forty bytes a table, so that the names of ten thousand tables stay within the
    // processor's caches next to the query they are read from.
    struct Names {
        const cTable* table;
        const char* text;
        uint32_t size;
        uint32_t trimmedStart = 0; // Of a joined table's name, without surrounding blanks.
        uint32_t trimmedSize = 0;
        // Position + 1 of the first table named by a join under the same name, compared without
        // regard to case: the one that stands for all of them in the chain. 0 for a table that
        // no join names.
        uint32_t sameName = 0;
        bool inChain = false; // Of the first table of a name: the name is in the chain.

        // As written in FROM.
        std::string_view full() const { return {text, size}; }
        // As written in the join chain.
        std::string_view trimmed() const { return {text + trimmedStart, trimmedSize}; }
    };

    // Forgets the tables of the last rendering, keeping the room, for about `expected` tables.
    void Reset(size_t expected) {
        m_names.clear();
        m_names.reserve(expected);
        m_foldedSlots.assign(slotCountFor(expected), HashSlot{});
        m_firstOfName.clear();
        m_fullSlots.clear();
        m_text.Reset();
    }

    const Names& operator[](size_t position) const { return m_names[position]; }

    // Keeps a text with the names until the next reset.
    std::string_view Keep(std::string_view text) { return m_text.Keep(text); }

    // The position of a table's names.
    size_t Of(const cTable& table) { return entry(table); }

    static bool Joined(const Names& names) { return names.sameName != 0; }
    // True when a table of the same folded name is in the join chain.
    bool InChain(size_t position) const { return m_names[m_names[position].sameName - 1].inChain; }
    // Marks the table's name as being in the chain. Throws ModelError, like the keyed
    // collections, when it is there already.
    void AddToChain(size_t position) {
        Names& first = m_names[m_names[position].sameName - 1];
        if (first.inChain)
            throw ModelError("Duplicate key \"" + std::string(m_names[position].trimmed()) +
                             "\": the key is already in use");
        first.inChain = true;
    }

    // The position of a join's table. Throws ModelError when the join has no table on that side.
    size_t OfJoin(const cTable* table, const char* side) {
        if (!table)
            throw ModelError(std::string("A join has no ") + side + " table");
        const size_t position = entry(*table);
        Names& names = m_names[position];
        if (!Joined(names)) {
            const std::string_view full = names.full();
            const auto first = full.find_first_not_of(' ');
            if (first != std::string_view::npos) {
                names.trimmedStart = static_cast<uint32_t>(first);
                names.trimmedSize = static_cast<uint32_t>(full.find_last_not_of(' ') - first + 1);
            }
            names.sameName = static_cast<uint32_t>(firstOfName(position) + 1);
        }
        return position;
    }

    // True when a table named by a join is written exactly so. Asked only after every join.
    bool IsJoinedName(std::string_view full) {
        const auto hashOf = [this](size_t i) {
            return std::hash<std::string_view>{}(m_names[m_joined[i]].full());
        };
        if (m_fullSlots.empty()) {
            m_joined.clear();
            for (size_t i = 0; i < m_names.size(); ++i) {
                if (Joined(m_names[i]))
                    m_joined.push_back(static_cast<uint32_t>(i));
            }
            m_fullSlots.assign(slotCountFor(m_joined.size()), HashSlot{});
            for (size_t i = 0; i < m_joined.size(); ++i) {
                const uint64_t hash = hashOf(i);
                const size_t at = findSlot(m_fullSlots, hash, [](size_t) { return false; });
                m_fullSlots[at] =
                    HashSlot{static_cast<uint32_t>(i + 1), static_cast<uint32_t>(hash >> 32)};
            }
        }
        const size_t at = findSlot(m_fullSlots, std::hash<std::string_view>{}(full),
                                   [&](size_t i) { return m_names[m_joined[i]].full() == full; });
        return m_fullSlots[at].position != 0;
    }

    size_t RetainedBytes() const {
        return m_names.capacity() * sizeof(Names) +
               (m_foldedSlots.capacity() + m_fullSlots.capacity()) * sizeof(HashSlot) +
               (m_firstOfName.capacity() + m_joined.capacity()) * sizeof(uint32_t) +
               m_text.RetainedBytes() + m_scratch.capacity() + m_folded.capacity();
    }

private:
    // A table's position, found through the position it keeps of the last rendering. When that
    // is not this rendering's (the table is met for the first time, or another rendering of a
    // query with the same table has noted its own since), the table gets an entry of its own:
    // two entries of one table have the same names and the same first table of that name, so a
    // second entry changes nothing in the text. Looking tables up by address instead took a
    // random probe into a table of slots for every join once the query outgrew the caches.
    size_t entry(const cTable& table) {
        const detail::PositionHint& hint = detail::TableRendering::FromPosition(table);
        const uint32_t noted = hint.Get();
        if (noted < m_names.size() && m_names[noted].table == &table)
            return noted;
        m_scratch.clear();
        table.AppendFullTableName(m_scratch);
        if (m_scratch.size() > UINT32_MAX)
            throw ModelError("A table's name is longer than 4294967295 characters");
        if (m_names.size() >= detail::PositionHint::kNone)
            throw ModelError("A query can have at most 4294967294 tables in FROM");
        m_names.push_back(
            Names{&table, m_text.Keep(m_scratch).data(), static_cast<uint32_t>(m_scratch.size())});
        hint.Set(static_cast<uint32_t>(m_names.size() - 1));
        return m_names.size() - 1;
    }

    // The position of the first joined table of the folded name, which becomes this one when
    // none is known.
    size_t firstOfName(size_t position) {
        m_scratch.clear();
        AppendFoldedKey(m_scratch, m_names[position].trimmed());
        const uint64_t hash = std::hash<std::string_view>{}(m_scratch);
        const size_t at = findSlot(m_foldedSlots, hash, [&](size_t i) {
            return foldedName(m_firstOfName[i]) == m_scratch;
        });
        if (m_foldedSlots[at].position != 0)
            return m_firstOfName[m_foldedSlots[at].position - 1];
        m_firstOfName.push_back(static_cast<uint32_t>(position));
        fillSlot(m_foldedSlots, at, hash, m_firstOfName.size(), [this](size_t i) {
            return std::hash<std::string_view>{}(foldedName(m_firstOfName[i]));
        });
        return position;
    }

    // A joined table's name folded for comparison without regard to case. Folded names are not
    // kept: they are compared only when their hashes agree, and folding is cheap.
    std::string_view foldedName(size_t position) {
        m_folded.clear();
        AppendFoldedKey(m_folded, m_names[position].trimmed());
        return m_folded;
    }

    std::vector<Names> m_names;
    std::vector<HashSlot> m_foldedSlots; // By folded name, over m_firstOfName.
    std::vector<uint32_t> m_firstOfName;
    std::vector<HashSlot> m_fullSlots; // By name as written, over m_joined; made when asked.
    std::vector<uint32_t> m_joined;
    TextStore m_text;
    std::string m_scratch; // Reused for every name before it is kept, and for its folded form.
    std::string m_folded;  // Another table's folded name, compared with the scratch.
};

// What a join writes into the chain, found by the join's place in the query's list: its keyword,
// the positions of its tables' names and its condition. The chain's parts refer to these by
// that place, so a part takes four bytes however long its text.
struct JoinText {
    const char* condition;
    uint32_t conditionSize;
    uint32_t left; // Positions of the tables' names.
    uint32_t right;
    uint32_t keyword; // Index into kJoinKeywords.
};

// The text between two tables of the chain for each kind of join, with the line break before
// the keyword.
constexpr std::string_view kJoinKeywords[] = {
    " \r\n     INNER JOIN ",
    " \r\n     LEFT OUTER JOIN ",
    " \r\n     RIGHT OUTER JOIN ",
    " \r\n     FULL OUTER JOIN ",
};
constexpr std::string_view kOn = "\r\n     ON ";

uint32_t joinKeyword(const cJoinCondition& join) {
    return (join.blnIncludeAllRowsOfLeftTable() ? 1u : 0u) +
           (join.blnIncludeAllRowsOfRightTable() ? 2u : 0u);
}

// The parts of the join chain in order, each four bytes: a join's place in the list and which
// of its texts goes there. The chain grows at both ends: the parts put in front are kept in a
// list of their own, last first, so that neither end ever moves the other's parts. The texts
// are looked up only when the chain is written, so that a long chain stays small enough for the
// processor's caches.
class JoinChain {
public:
    enum Part : uint32_t { kLeftName, kKeyword, kRightName, kCondition };
    // The most text the chain may grow to by repeating itself: what SQL Server takes in one
    // batch with its default packet size (65,536 packets of 4 kB).
    static constexpr size_t kMostChainText = size_t{256} * 1024 * 1024;

    // Empties the chain for about `expected` parts at each end, keeping the room it had.
    void Reset(size_t expected) {
        clear();
        m_front.reserve(expected);
        m_back.reserve(expected);
    }
    bool empty() const { return m_front.empty() && m_back.empty(); }
    void clear() {
        m_front.clear();
        m_back.clear();
        m_length = 0;
    }
    // Parts of join `index` (whose texts are `join`'s) at the end or in front, in order.
    void Append(uint32_t index, const JoinText& join, std::initializer_list<Part> parts,
                const TableNameCache& names) {
        for (const Part part : parts) {
            m_back.push_back(index << 2 | part);
            m_length += textOf(part, join, names).size() + (part == kCondition ? kOn.size() : 0);
        }
    }
    void Prepend(uint32_t index, const JoinText& join, std::initializer_list<Part> parts,
                 const TableNameCache& names) {
        for (auto it = std::rbegin(parts); it != std::rend(parts); ++it) {
            m_front.push_back(index << 2 | *it);
            m_length += textOf(*it, join, names).size() + (*it == kCondition ? kOn.size() : 0);
        }
    }
    // The chain followed by the join's keyword and the chain once more.
    // Throws ModelError when the chain would grow beyond what any server takes in one
    // statement: every join that meets the chain on both sides doubles it, so a few dozen such
    // joins would otherwise ask for more memory than there is.
    void AppendRepeated(uint32_t index, const JoinText& join) {
        const size_t length = m_length;
        const size_t parts = m_front.size() + m_back.size();
        if (length > kMostChainText / 2 || parts > kMostChainText / 2)
            throw ModelError("The joins repeat the chain of joins so often that FROM would be "
                             "longer than 256 MB");
        m_copy.assign(m_front.rbegin(), m_front.rend());
        m_copy.insert(m_copy.end(), m_back.begin(), m_back.end());
        m_back.push_back(index << 2 | kKeyword);
        m_back.insert(m_back.end(), m_copy.begin(), m_copy.end());
        m_length = 2 * length + kJoinKeywords[join.keyword].size();
    }
    // The length of the chain's text.
    size_t Length() const { return m_length; }

    // Writes the chain. The join conditions lie all over the heap, so each is asked for from
    // memory a few parts before it is copied.
    void AppendTo(std::string& out, const std::vector<JoinText>& joins,
                  const TableNameCache& names) const {
        constexpr size_t kPartsAhead = 2 * kAhead;
        const size_t front = m_front.size();
        const size_t count = front + m_back.size();
        const auto at = [&](size_t i) {
            return i < front ? m_front[front - 1 - i] : m_back[i - front];
        };
        for (size_t i = 0; i < count; ++i) {
            if (i + kPartsAhead < count)
                __builtin_prefetch(joins[at(i + kPartsAhead) >> 2].condition);
            const uint32_t part = at(i);
            const JoinText& join = joins[part >> 2];
            if ((part & 3) == kCondition)
                out += kOn;
            out += textOf(static_cast<Part>(part & 3), join, names);
        }
    }
    size_t RetainedBytes() const {
        return (m_front.capacity() + m_back.capacity() + m_copy.capacity()) * sizeof(uint32_t);
    }

private:
    static std::string_view textOf(Part part, const JoinText& join, const TableNameCache& names) {
        switch (part) {
        case kLeftName:
            return names[join.left].trimmed();
        case kKeyword:
            return kJoinKeywords[join.keyword];
        case kRightName:
            return names[join.right].trimmed();
        case kCondition:
            break;
        }
        return std::string_view(join.condition, join.conditionSize);
    }

    std::vector<uint32_t> m_front; // Last first.
    std::vector<uint32_t> m_back;
    std::vector<uint32_t> m_copy; // The chain while it is repeated.
    size_t m_length = 0;
};

// What rendering FROM needs besides its text, kept from one rendering to the next on the same
// thread. Made anew for every rendering, the few megabytes of a long chain of joins came from
// the top of the heap and, once freed, often went back to the system, so that the next
// rendering faulted every page in again: rendering then grew twice as fast as the query.
struct FromWorkspace {
    TableNameCache names;
    JoinChain chain;
    std::vector<JoinText> joins;

    size_t RetainedBytes() const {
        return names.RetainedBytes() + chain.RetainedBytes() + joins.capacity() * sizeof(JoinText);
    }
};

// Lends the thread's workspace, or one of its own to a rendering nested in another (a sub-query
// table renders its statement while its query renders FROM). A workspace grown beyond what
// ordinary queries need is given back after use.
class FromWorkspaceLease {
public:
    FromWorkspaceLease() {
        if (!t_lent) {
            t_lent = true;
            m_workspace = &threadWorkspace();
        } else {
            m_own = std::make_unique<FromWorkspace>();
            m_workspace = m_own.get();
        }
    }
    ~FromWorkspaceLease() {
        if (m_own)
            return;
        if (m_workspace->RetainedBytes() > kMostKept)
            *m_workspace = FromWorkspace();
        t_lent = false;
    }
    FromWorkspaceLease(const FromWorkspaceLease&) = delete;
    FromWorkspaceLease& operator=(const FromWorkspaceLease&) = delete;

    FromWorkspace& operator*() const { return *m_workspace; }

private:
    static constexpr size_t kMostKept = 32 * 1024 * 1024;
    static FromWorkspace& threadWorkspace() {
        thread_local FromWorkspace workspace;
        return workspace;
    }
    static inline thread_local bool t_lent = false;

    FromWorkspace* m_workspace = nullptr;
    std::unique_ptr<FromWorkspace> m_own;
};

// Replaces every typed line break token by a blank, then collapses each run of line breaks to
// one, in place and in one pass: the text written so far is already collapsed, so a line break
// that lands right after another is taken back. The text between a "{" and a line feed is moved
// as one block.
void finishStatementText(std::string& text) {
    char* data = text.data();
    const size_t size = text.size();
    const auto next = [&](char c, size_t from) {
        const void* found = from < size ? std::memchr(data + from, c, size - from) : nullptr;
        return found ? static_cast<size_t>(static_cast<const char*>(found) - data) : size;
    };
    size_t nextBrace = next('{', 0);
    size_t nextFeed = next('\n', 0);
    size_t write = 0;
    size_t read = 0;
    while (true) {
        const size_t stop = std::min(nextBrace, nextFeed);
        if (stop > read) {
            if (write != read)
                std::memmove(data + write, data + read, stop - read);
            write += stop - read;
            read = stop;
        }
        if (read == size)
            break;
        if (read == nextBrace) {
            // The token holds no line feed and no other "{", so skipping it passes neither.
            if (std::string_view(data + read, size - read).starts_with(kNewlineToken)) {
                data[write++] = ' ';
                read += kNewlineToken.size();
            } else {
                data[write++] = '{';
                ++read;
            }
            nextBrace = next('{', read);
        } else {
            data[write++] = '\n';
            ++read;
            if (write >= 4 && data[write - 2] == '\r' && data[write - 3] == '\n' &&
                data[write - 4] == '\r')
                write -= 2;
            nextFeed = next('\n', read);
        }
    }
    text.resize(write);
}

// The most that quoting a name can make of it: brackets around each dot-separated piece.
size_t quotedSizeBound(const std::string& name) {
    return name.size() + 2 + 2 * static_cast<size_t>(std::count(name.begin(), name.end(), '.'));
}

constexpr size_t kLineStart = 9; // ", " or "," with a line break and the indent.

// What one item can add to SELECT and to GROUP BY at most.
size_t selectBound(const cSelectedItem& item, size_t quotedName) {
    return item.strAggregationFunction().size() + 2 + quotedName + 4 +
           quotedSizeBound(item.strAlias()) + kLineStart;
}
size_t selectBound(const cCalculatedItem& item) {
    return item.strName().size() + 4 + item.strComputation().size() + kLineStart;
}
size_t groupByBound(const cCalculatedItem& item) {
    return item.strComputation().size() + kLineStart;
}

// The size that a collection's items add to a text: summed over every item of a short
// collection; for a long one, summed over items spread evenly through it, scaled up to the whole
// and given a quarter more for names longer than the sample's. Reading every item once more
// would cost as much as writing the clause when the query no longer fits in the caches, while a
// text that turns out too small merely grows once.
template <class Collection, class Bound> size_t sizeEstimate(const Collection& items, Bound bound) {
    constexpr size_t kSample = 128;
    const auto count = static_cast<size_t>(items.Count());
    size_t size = 0;
    if (count <= kSample) {
        for (const auto& item : items)
            size += bound(*item);
        return size;
    }
    for (size_t k = 0; k < kSample; ++k)
        size += bound(**(items.begin() + static_cast<std::ptrdiff_t>(k * count / kSample)));
    const size_t scaled = size / kSample * count + size % kSample * count / kSample;
    return scaled + scaled / 4;
}

size_t selectBound(const cSelectedItem& item) {
    return selectBound(item, quotedSizeBound(item.strName()));
}
size_t groupByBound(const cSelectedItem& item) {
    return quotedSizeBound(item.strName()) + kLineStart;
}

// The sizes of the item clauses for a clause asked for on its own: the text is made once at
// (about) its final size. Growing it by doubling instead leaves freed blocks of about twice its
// size behind, which the allocator hands back to the system after each call and faults in again
// on the next one.
template <class Bound> size_t itemClauseSizeEstimate(const cSQLQuery& query, Bound bound) {
    return 32 + sizeEstimate(*query.SelectedItems(), bound) +
           sizeEstimate(*query.CalculatedItems(), bound);
}

size_t selectSizeEstimate(const cSQLQuery& query) {
    return itemClauseSizeEstimate(query, [](const auto& item) { return selectBound(item); });
}

size_t groupBySizeEstimate(const cSQLQuery& query) {
    return itemClauseSizeEstimate(query, [](const auto& item) { return groupByBound(item); });
}

// GROUP BY is written when an item aggregates: a selected item with an aggregate function or a
// calculated item whose computation calls one.
bool groupByNeeded(const cSQLQuery& query) {
    for (const auto& item : *query.SelectedItems())
        if (!item->strAggregationFunction().empty())
            return true;
    for (const auto& item : *query.CalculatedItems())
        if (ContainsAggregateFunction(item->strComputation()))
            return true;
    return false;
}

// The size of a statement, estimated from its parts (a sub-query table's own statement and a
// join chain that repeats itself are left out), so that the text is written without being moved
// as it grows. Room that stays unused is never touched.
size_t statementSizeEstimate(const cSQLQuery& query) {
    size_t size = 64;
    size += sizeEstimate(*query.SelectedItems(), [](const cSelectedItem& item) {
        const size_t name = quotedSizeBound(item.strName());
        return selectBound(item, name) + name + kLineStart;
    });
    size += sizeEstimate(*query.CalculatedItems(), [](const cCalculatedItem& item) {
        return selectBound(item) + groupByBound(item);
    });
    size += sizeEstimate(*query.Tables(), [](const cTable& table) {
        return quotedSizeBound(table.strName()) + 4 + quotedSizeBound(table.strAlias()) + 20;
    });
    size += sizeEstimate(*query.JoinConditions(), [](const cJoinCondition& join) {
        return join.strCondition().size() + 40;
    });
    size += sizeEstimate(*query.Filters(),
                         [](const cFilter& filter) { return filter.strCondition().size() + 10; });
    size += sizeEstimate(*query.OrderByItems(), [](const cOrderByItem& entry) {
        return entry.strItem().size() + 1 + entry.strSortOrder().size() + kLineStart;
    });
    return size;
}

} // namespace

cSQLQuery::cSQLQuery() {
    Clear();
    m_blnUniqueRecordsOnly = false;
    m_blnIsSubQuery = false;
}

void cSQLQuery::Clear() {
    m_SelectedItems = std::make_shared<cSelectedItems>();
    m_Tables = std::make_shared<cTables>();
    m_CalculatedItems = std::make_shared<cCalculatedItems>();
    m_JoinConditions = std::make_shared<cJoinConditions>();
    m_Filters = std::make_shared<cFilters>();
    m_OrderByItems = std::make_shared<cOrderByItems>();
}

std::string cSQLQuery::strSelect() const {
    std::string text;
    text.reserve(selectSizeEstimate(*this));
    appendSelect(text);
    return text;
}

void cSQLQuery::appendSelect(std::string& out) const {
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return;
    out += "SELECT";
    if (m_blnUniqueRecordsOnly)
        out += " DISTINCT";
    out += kCrLf;
    bool first = true;
    // Each item is written straight into the statement, without a text of its own.
    auto next = [&] {
        if (first) {
            first = false;
        } else {
            out += ", ";
            out += kCrLf;
        }
        out += kItemIndent;
    };
    forEachAhead(*m_SelectedItems, [&](const cSelectedItem& item) {
        next();
        item.AppendFullFieldName(out);
    });
    forEachAhead(*m_CalculatedItems, [&](const cCalculatedItem& item) {
        next();
        item.AppendFullName(out);
    });
}

void cSQLQuery::appendFilters(std::string& out, const char* keyword, bool aggregated) const {
    const size_t start = out.size();
    bool any = false;
    forEachAhead(*m_Filters, [&](const cFilter& filter) {
        if (!filter.blnIsActive() || ContainsAggregateFunction(filter.strCondition()) != aggregated)
            return;
        if (!any) {
            out += keyword;
            out += kCrLf;
            out += "      ";
            any = true;
        } else {
            out += kCrLf;
            out += "  AND ";
        }
        out += '(';
        out += filter.strCondition();
        out += ')';
    });
    if (!any)
        out.resize(start);
}

std::string cSQLQuery::strWhere() const {
    std::string text;
    appendFilters(text, "WHERE", false);
    return text;
}

std::string cSQLQuery::strHaving() const {
    std::string text;
    appendFilters(text, "HAVING", true);
    return text;
}

std::string cSQLQuery::strGroupBy() const {
    std::string text;
    appendGroupBy(text);
    return text;
}

void cSQLQuery::appendGroupBy(std::string& out) const {
    if (!groupByNeeded(*this))
        return;
    // Only a GROUP BY asked for on its own starts an empty text (in a statement the select list
    // comes first); the statement's own text has room for it already.
    if (out.empty())
        out.reserve(groupBySizeEstimate(*this));
    const size_t start = out.size();
    out += "GROUP BY";
    out += kCrLf;
    out += kItemIndent;
    const size_t listStart = out.size();
    // Like AppendWithSeparator: the separator goes before every piece once the list holds text,
    // so empty pieces at the start of the list leave no trace.
    auto next = [&] {
        if (out.size() != listStart) {
            out += ',';
            out += kCrLf;
            out += kItemIndent;
        }
    };
    forEachAhead(*m_SelectedItems, [&](const cSelectedItem& item) {
        if (item.strAggregationFunction().empty()) {
            next();
            AppendQuotedIdentifier(out, item.strName());
        }
    });
    forEachAhead(*m_CalculatedItems, [&](const cCalculatedItem& item) {
        if (!ContainsAggregateFunction(item.strComputation())) {
            next();
            out += item.strComputation();
        }
    });
    if (out.size() == listStart)
        out.resize(start);
}

std::string cSQLQuery::strOrderBy() {
    std::string text;
    appendOrderBy(text);
    return text;
}

void cSQLQuery::appendOrderBy(std::string& out) {
    if (m_OrderByItems->Count() == 0)
        return;
    // The names the entries ask for, each marked once an output answers to it (a selected item
    // by name or alias, a calculated item by name; exact comparison). The outputs are read once,
    // and no further than needed to answer every name.
    std::unordered_map<std::string_view, bool> answered;
    for (const auto& entry : *m_OrderByItems)
        answered.emplace(entry->strItem(), false);
    size_t open = answered.size();
    const auto answer = [&](std::string_view name) {
        const auto it = answered.find(name);
        if (it != answered.end() && !it->second) {
            it->second = true;
            --open;
        }
    };
    // The calculated items first: they are fewer, and their names cost nothing to read.
    for (const auto& item : *m_CalculatedItems) {
        if (open == 0)
            break;
        answer(item->strName());
    }
    for (const auto& item : *m_SelectedItems) {
        if (open == 0)
            break;
        answer(item->strName());
        answer(item->strAlias());
    }

    const size_t start = out.size();
    out += "ORDER BY";
    out += kCrLf;
    out += kItemIndent;
    bool first = true;
    // Walking from the last entry to the first is what puts the sort entries into the statement
    // in reverse order.
    for (auto it = m_OrderByItems->end(); it != m_OrderByItems->begin();) {
        const cOrderByItem& entry = **--it;
        const std::string& name = entry.strItem();
        if (!answered.find(name)->second)
            continue;
        if (!first) {
            out += ',';
            out += kCrLf;
            out += kItemIndent;
        }
        out += name;
        if (!name.empty())
            out += ' ';
        out += entry.strSortOrder();
        first = false;
    }
    if (first)
        out.resize(start);
    // Entries that name no output any more are dropped from the query.
    if (open != 0) {
        m_OrderByItems->RemoveIf([&answered](const std::shared_ptr<cOrderByItem>& entry) {
            return !answered.find(entry->strItem())->second;
        });
    }
}

std::string cSQLQuery::strFrom() const {
    std::string text;
    appendFrom(text);
    return text;
}

void cSQLQuery::appendFrom(std::string& out) const {
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return;
    if (m_Tables->Count() == 0)
        return;
    if (m_Tables->Count() == 1) {
        out += "FROM ";
        out += kCrLf;
        out += kItemIndent;
        out += m_Tables->Item(1)->strFullTableName();
        return;
    }

    // The chain of joins as a list of parts. A join that continues the chain on its left side
    // extends it at the end; one that continues it on its right side wraps it (its left table and
    // keyword go in front, its condition after); one that meets the chain on neither side starts
    // a new chain, and one that meets it on both sides repeats it. Keeping parts instead of text
    // means that wrapping never copies the chain.
    const size_t joinCount = static_cast<size_t>(m_JoinConditions->Count());
    const FromWorkspaceLease lease;
    FromWorkspace& workspace = *lease;
    TableNameCache& names = workspace.names;
    names.Reset(static_cast<size_t>(m_Tables->Count()));
    JoinChain& chain = workspace.chain;
    chain.Reset(3 * joinCount + 4);
    if (joinCount >= (size_t{1} << 30))
        throw ModelError("A query can have at most 1073741823 joins");
    // Each join's object is asked for from memory twice as many joins ahead as its tables and its
    // condition, whose addresses are read from it: the objects of a large query lie far apart.
    // The condition is kept next to the names, so that writing the chain reads it from there.
    auto& joins = workspace.joins;
    joins.resize(joinCount);
    const auto joinAt = [list = m_JoinConditions->begin()](size_t i) {
        return list[i].get();
    };
    for (size_t i = 0; i < joinCount; ++i) {
        if (i + 2 * kAhead < joinCount)
            prefetchObject(joinAt(i + 2 * kAhead));
        if (i + kAhead < joinCount) {
            const cJoinCondition* ahead = joinAt(i + kAhead);
            prefetchObject(ahead->LeftTable().get());
            prefetchObject(ahead->RightTable().get());
            __builtin_prefetch(ahead->strCondition().data());
        }
        const cJoinCondition& join = *joinAt(i);
        const size_t left = names.OfJoin(join.LeftTable().get(), "left");
        const size_t right = names.OfJoin(join.RightTable().get(), "right");

        const bool leftIsChain = !chain.empty() && names.InChain(left);
        if (!leftIsChain)
            names.AddToChain(left);
        const bool rightIsChain = !chain.empty() && names.InChain(right);
        if (!rightIsChain)
            names.AddToChain(right);

        const std::string& condition = join.strCondition();
        if (condition.size() > UINT32_MAX)
            throw ModelError("A join condition is longer than 4294967295 characters");
        joins[i] =
            JoinText{names.Keep(condition).data(), static_cast<uint32_t>(condition.size()),
                     static_cast<uint32_t>(left), static_cast<uint32_t>(right), joinKeyword(join)};
        const JoinText& text = joins[i];
        const auto index = static_cast<uint32_t>(i);
        using enum JoinChain::Part;
        if (leftIsChain && rightIsChain) {
            chain.AppendRepeated(index, text);
        } else if (leftIsChain) {
            chain.Append(index, text, {kKeyword, kRightName}, names);
        } else if (rightIsChain) {
            chain.Prepend(index, text, {kLeftName, kKeyword}, names);
        } else {
            chain.clear();
            chain.Append(index, text, {kLeftName, kKeyword, kRightName}, names);
        }
        chain.Append(index, text, {kCondition}, names);
    }

    const size_t length = chain.Length();
    if (out.capacity() < out.size() + length + 16)
        out.reserve(out.size() + length + 16);
    out += "FROM";
    out += kCrLf;
    out += kItemIndent;
    chain.AppendTo(out, joins, names);

    // Tables named in no join follow as cross joins. A table of a join is named by it; any other
    // table is looked up by its name among the joins' tables.
    long counter = m_JoinConditions->Count();
    forEachAhead(*m_Tables, [&](const cTable& table) {
        const auto& tableNames = names[names.Of(table)];
        if (TableNameCache::Joined(tableNames) || names.IsJoinedName(tableNames.full()))
            return;
        if (counter != 0) {
            out += kCrLf;
            out += kItemIndent;
            out += "CROSS JOIN ";
        }
        out += tableNames.full();
        ++counter;
    });
}

std::string cSQLQuery::strSQL() {
    // The clauses go into one text, separated by line breaks (an empty clause still adds its
    // break once there is text); then one pass turns typed line breaks into blanks and collapses
    // repeated line breaks.
    std::string text;
    text.reserve(statementSizeEstimate(*this));
    appendSelect(text);
    const auto nextClause = [&text] {
        if (!text.empty())
            text += kCrLf;
    };
    nextClause();
    appendFrom(text);
    nextClause();
    appendFilters(text, "WHERE", false);
    nextClause();
    appendGroupBy(text);
    nextClause();
    appendFilters(text, "HAVING", true);
    nextClause();
    appendOrderBy(text);
    finishStatementText(text);
    return text;
}

} // namespace marovin
