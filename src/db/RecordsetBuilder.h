#pragma once

#include "marovin/cRecordset.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace marovin {

// How one cell is packed: a tag byte, then the payload the tag announces. Integers take the
// fewest of 1, 2, 4 or 8 bytes that hold them; reals 8 bytes; a text of up to kMaxShortText bytes
// has its length in the tag itself, longer texts and all blobs a variable-length (7 bits a byte)
// length after the tag. Payloads are copied byte for byte, unaligned.
namespace packed {

enum Tag : unsigned char {
    kNull = 0,
    kInt8 = 1,
    kInt16 = 2,
    kInt32 = 3,
    kInt64 = 4,
    kReal = 5,
    kText = 6,
    kBlob = 7,
    kShortText = 16, // kShortText + n: a text of n bytes
};
constexpr std::size_t kMaxShortText = 255 - kShortText;
// Most bytes a cell takes besides its text or blob bytes: the tag and a 64-bit length.
constexpr std::size_t kMaxOverhead = 1 + 10;

inline const unsigned char* readLength(const unsigned char* p, std::size_t& length) {
    length = 0;
    for (unsigned shift = 0;; shift += 7) {
        const unsigned char b = *p++;
        length |= static_cast<std::size_t>(b & 0x7F) << shift;
        if ((b & 0x80) == 0)
            return p;
    }
}

template <typename T> T load(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// The cell after the one at p.
inline const unsigned char* skip(const unsigned char* p) {
    const unsigned char tag = *p++;
    switch (tag) {
    case kNull:
        return p;
    case kInt8:
        return p + 1;
    case kInt16:
        return p + 2;
    case kInt32:
        return p + 4;
    case kInt64:
    case kReal:
        return p + 8;
    case kText:
    case kBlob: {
        std::size_t length = 0;
        p = readLength(p, length);
        return p + length;
    }
    default:
        return p + (tag - kShortText);
    }
}

// The value of the cell at p.
inline DbValue read(const unsigned char* p) {
    const unsigned char tag = *p++;
    switch (tag) {
    case kNull:
        return DbValue();
    case kInt8:
        return DbValue(static_cast<std::int64_t>(load<std::int8_t>(p)));
    case kInt16:
        return DbValue(static_cast<std::int64_t>(load<std::int16_t>(p)));
    case kInt32:
        return DbValue(static_cast<std::int64_t>(load<std::int32_t>(p)));
    case kInt64:
        return DbValue(load<std::int64_t>(p));
    case kReal:
        return DbValue(load<double>(p));
    case kText:
    case kBlob: {
        std::size_t length = 0;
        p = readLength(p, length);
        if (tag == kBlob)
            return DbValue::FromBytes(p, length);
        return DbValue(std::string_view(reinterpret_cast<const char*>(p), length));
    }
    default:
        return DbValue(std::string_view(reinterpret_cast<const char*>(p),
                                        static_cast<std::size_t>(tag - kShortText)));
    }
}

} // namespace packed

// Packs the values of a result row by row into the blocks of a cRecordset: BeginRow, then one
// Add per column. Blocks are written one after the other into chunks of memory: the first chunk
// is small, so that a short result of a wide table stays small, and each next one twice the size
// up to kLargeChunk. A chunk holding only the block being written grows with realloc; once it
// holds a finished block it is not grown any more, and a block that does not fit in the rest of
// it is copied whole to a fresh chunk (the rest of the old chunk stays unused), so a large result
// never copies the rows already read. At the end the last chunk is shrunk to what it holds.
// Large chunks are aligned to and asked for as huge pages where the system offers them: filling
// fresh memory page by page costs a page fault per 4 kB, a good part of reading a large result.
class RecordsetBuilder {
public:
    explicit RecordsetBuilder(std::vector<cRecordset::Column> columns)
        : m_columns(std::move(columns)) {}

    // Starts the next row; its FieldCount values follow.
    void BeginRow() {
        if (m_block.rowStarts.size() + m_block.wideRowStarts.size() ==
            static_cast<std::size_t>(cRecordset::kRowsPerBlock))
            closeBlock();
        if (m_block.rowStarts.empty() && m_block.wideRowStarts.empty())
            m_block.rowStarts.reserve(m_blocks.empty()
                                          ? kFirstRows
                                          : static_cast<std::size_t>(cRecordset::kRowsPerBlock));
        const std::size_t offset = m_used - m_blockStart;
        if (offset <= std::numeric_limits<std::uint32_t>::max() && m_block.wideRowStarts.empty()) {
            m_block.rowStarts.push_back(static_cast<std::uint32_t>(offset));
        } else {
            if (m_block.wideRowStarts.empty())
                m_block.wideRowStarts.assign(m_block.rowStarts.begin(), m_block.rowStarts.end());
            m_block.wideRowStarts.push_back(offset);
            m_block.rowStarts = {};
        }
        ++m_rows;
    }

    void AddNull() {
        *room(1) = packed::kNull;
        m_used += 1;
    }

    void Add(std::int64_t v) {
        unsigned char* p = room(9);
        if (v >= INT8_MIN && v <= INT8_MAX) {
            put(p, packed::kInt8, static_cast<std::int8_t>(v));
        } else if (v >= INT16_MIN && v <= INT16_MAX) {
            put(p, packed::kInt16, static_cast<std::int16_t>(v));
        } else if (v >= INT32_MIN && v <= INT32_MAX) {
            put(p, packed::kInt32, static_cast<std::int32_t>(v));
        } else {
            put(p, packed::kInt64, v);
        }
    }

    void Add(double v) { put(room(9), packed::kReal, v); }

    void AddText(std::string_view text) {
        if (text.size() <= packed::kMaxShortText) {
            unsigned char* p = room(1 + text.size());
            *p++ = static_cast<unsigned char>(packed::kShortText + text.size());
            copyBytes(p, text.data(), text.size());
        } else {
            addLong(packed::kText, text.data(), text.size());
        }
    }

    void AddBlob(const void* data, std::size_t size) { addLong(packed::kBlob, data, size); }

    void Add(const DbValue& v) {
        switch (v.Kind()) {
        case DbValueKind::Null:
            AddNull();
            break;
        case DbValueKind::Integer:
            Add(v.AsInteger());
            break;
        case DbValueKind::Real:
            Add(v.AsReal());
            break;
        case DbValueKind::Text:
            AddText(v.AsText());
            break;
        case DbValueKind::Blob:
            AddBlob(v.AsBlob().data(), v.AsBlob().size());
            break;
        }
    }

    std::shared_ptr<cRecordset> Finish() {
        std::shared_ptr<cRecordset> rs(new cRecordset());
        FinishInto(*rs);
        return rs;
    }

    // Hands the columns and rows to rs (whose own are replaced). Without columns there are no
    // rows.
    void FinishInto(cRecordset& rs) {
        if (!m_block.rowStarts.empty() || !m_block.wideRowStarts.empty())
            closeBlock();
        // The last chunk gives back what it did not fill.
        if (m_base && m_capacity - m_used > m_used / 8 + 4096)
            resizeLast(m_used);
        rs.m_columns = std::move(m_columns);
        rs.m_chunks = std::move(m_chunks);
        rs.m_blocks = std::move(m_blocks);
        rs.m_rowCount = rs.m_columns.empty() ? 0 : static_cast<std::int32_t>(m_rows);
        if (rs.m_columns.empty()) {
            rs.m_blocks.clear();
            rs.m_chunks.clear();
        }
        rs.m_current = 0;
        m_rows = 0;
    }

private:
    // Rows the first chunk has room for, and bytes guessed per cell.
    static constexpr std::size_t kFirstRows = 16;
    static constexpr std::size_t kFirstBytesPerCell = 8;
    // The largest chunk size chosen by growth, also the huge page size on x86-64 and arm64.
    static constexpr std::size_t kLargeChunk = std::size_t{2} << 20;

    void closeBlock() {
        m_block.bytes = m_base + m_blockStart;
        m_block.size = m_used - m_blockStart;
        m_blocks.push_back(std::move(m_block));
        m_block = {};
        m_blockStart = m_used;
    }

    // Where the next cell goes, with room for at least `need` bytes; the writer then advances
    // m_used by what it wrote.
    unsigned char* room(std::size_t need) {
        if (m_capacity - m_used < need)
            newChunk(need);
        return m_base + m_used;
    }

    // Room for `need` more bytes for the block being written. While it is the only block in its
    // chunk, the chunk itself grows; otherwise the block moves to a new chunk.
    void newChunk(std::size_t need) {
        const std::size_t partial = m_used - m_blockStart;
        if (m_base && m_blockStart == 0) {
            resizeLast(std::max(2 * m_capacity, partial + need));
            return;
        }
        std::size_t size =
            m_chunks.empty()
                ? kFirstRows * std::max<std::size_t>(m_columns.size(), 1) * kFirstBytesPerCell
                : std::min(2 * m_capacity, kLargeChunk);
        size = std::max(size, partial + need);
        cRecordset::Chunk chunk;
        if (size >= kLargeChunk) {
            size = (size + kLargeChunk - 1) / kLargeChunk * kLargeChunk;
            chunk.bytes.reset(static_cast<unsigned char*>(std::aligned_alloc(kLargeChunk, size)));
#ifdef MADV_HUGEPAGE
            if (chunk.bytes)
                (void)madvise(chunk.bytes.get(), size, MADV_HUGEPAGE);
#endif
        } else {
            chunk.bytes.reset(static_cast<unsigned char*>(std::malloc(size)));
        }
        if (!chunk.bytes)
            throw std::bad_alloc();
        chunk.capacity = size;
        if (partial > 0)
            std::memcpy(chunk.bytes.get(), m_base + m_blockStart, partial);
        m_base = chunk.bytes.get();
        m_capacity = size;
        m_blockStart = 0;
        m_used = partial;
        m_firstBlockInChunk = m_blocks.size();
        m_chunks.push_back(std::move(chunk));
    }

    // Gives the last chunk a new size (realloc, which may move it) and points the blocks
    // already in it to where they are now.
    void resizeLast(std::size_t size) {
        cRecordset::Chunk& chunk = m_chunks.back();
        std::vector<std::size_t> offsets;
        for (std::size_t b = m_firstBlockInChunk; b < m_blocks.size(); ++b)
            offsets.push_back(static_cast<std::size_t>(m_blocks[b].bytes - m_base));
        void* p = std::realloc(chunk.bytes.get(), std::max<std::size_t>(size, 1));
        if (!p)
            throw std::bad_alloc();
        (void)chunk.bytes.release();
        chunk.bytes.reset(static_cast<unsigned char*>(p));
        chunk.capacity = std::max<std::size_t>(size, 1);
        m_base = chunk.bytes.get();
        m_capacity = chunk.capacity;
        for (std::size_t b = m_firstBlockInChunk; b < m_blocks.size(); ++b)
            m_blocks[b].bytes = m_base + offsets[b - m_firstBlockInChunk];
    }

    template <typename T> void put(unsigned char* p, packed::Tag tag, T v) {
        *p = tag;
        std::memcpy(p + 1, &v, sizeof v);
        m_used += 1 + sizeof v;
    }

    void copyBytes(unsigned char* p, const void* data, std::size_t size) {
        if (size > 0)
            std::memcpy(p, data, size);
        m_used = static_cast<std::size_t>(p - m_base) + size;
    }

    void addLong(packed::Tag tag, const void* data, std::size_t size) {
        unsigned char* p = room(packed::kMaxOverhead + size);
        *p++ = tag;
        std::size_t n = size;
        while (n >= 0x80) {
            *p++ = static_cast<unsigned char>(n | 0x80);
            n >>= 7;
        }
        *p++ = static_cast<unsigned char>(n);
        copyBytes(p, data, size);
    }

    std::vector<cRecordset::Column> m_columns;
    std::vector<cRecordset::Block> m_blocks;
    std::vector<cRecordset::Chunk> m_chunks;
    cRecordset::Block m_block;
    unsigned char* m_base = nullptr; // the current chunk
    std::size_t m_capacity = 0;      // its size
    std::size_t m_used = 0;          // bytes written to it
    std::size_t m_blockStart = 0;    // where the block being written starts in it
    std::size_t m_firstBlockInChunk = 0;
    std::int64_t m_rows = 0;
};

} // namespace marovin
