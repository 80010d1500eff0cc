#pragma once

#include "marovin/MarovinExport.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace marovin {

/// The kind of one value of a result set. NULL is a kind of its own, so a NULL never reads as
/// an empty string or a zero.
enum class DbValueKind : std::uint8_t { Null, Integer, Real, Text, Blob };

/// One typed cell of a result set, 24 bytes: texts and blobs of up to 16 bytes are kept inside
/// the value itself, longer ones in a heap block of their own.
class MAROVIN_EXPORT DbValue {
public:
    using Blob = std::vector<unsigned char>;

    DbValue() noexcept {} // NULL
    explicit DbValue(std::int64_t value) noexcept : m_kind(DbValueKind::Integer) {
        m_data.integer = value;
    }
    explicit DbValue(double value) noexcept : m_kind(DbValueKind::Real) { m_data.real = value; }
    explicit DbValue(std::string_view text) { assign(DbValueKind::Text, text.data(), text.size()); }
    explicit DbValue(const std::string& text) : DbValue(std::string_view(text)) {}
    explicit DbValue(const char* text) : DbValue(std::string_view(text)) {}
    explicit DbValue(const Blob& bytes) {
        assign(DbValueKind::Blob, reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    /// Bytes of a blob, read from a buffer.
    static DbValue FromBytes(const void* data, std::size_t size) {
        DbValue v;
        v.assign(DbValueKind::Blob, static_cast<const char*>(data), size);
        return v;
    }

    DbValue(const DbValue& other) { copyFrom(other); }
    DbValue(DbValue&& other) noexcept { stealFrom(other); }
    DbValue& operator=(const DbValue& other) {
        if (this != &other) {
            release();
            copyFrom(other);
        }
        return *this;
    }
    DbValue& operator=(DbValue&& other) noexcept {
        if (this != &other) {
            release();
            stealFrom(other);
        }
        return *this;
    }
    ~DbValue() { release(); }

    DbValueKind Kind() const { return m_kind; }
    bool IsNull() const { return m_kind == DbValueKind::Null; }

    /// The value in its own kind; asking a value for another kind than its own gives the zero
    /// value of that kind (0, 0.0, "" or no bytes).
    std::int64_t AsInteger() const { return m_kind == DbValueKind::Integer ? m_data.integer : 0; }
    double AsReal() const { return m_kind == DbValueKind::Real ? m_data.real : 0.0; }
    std::string_view AsText() const {
        return m_kind == DbValueKind::Text ? std::string_view(bytes(), m_size) : std::string_view();
    }
    std::span<const unsigned char> AsBlob() const {
        if (m_kind != DbValueKind::Blob)
            return {};
        return {reinterpret_cast<const unsigned char*>(bytes()), m_size};
    }

    /// Display text: "" for NULL, integers in decimal, reals in the shortest form that reads
    /// back to the same number, text as is, blobs as "0x" and upper-case hex digits.
    std::string ToString() const;

    /// Heap bytes held beyond the value itself.
    std::size_t HeapBytes() const { return isLong() ? m_size : 0; }

    bool operator==(const DbValue& other) const;

private:
    static constexpr std::size_t kInline = 16;

    bool isLong() const {
        return (m_kind == DbValueKind::Text || m_kind == DbValueKind::Blob) && m_size > kInline;
    }
    const char* bytes() const { return isLong() ? m_data.heap : m_data.inline_; }
    void assign(DbValueKind kind, const char* data, std::size_t size);
    void copyFrom(const DbValue& other);
    void stealFrom(DbValue& other) noexcept;
    void release() noexcept;

    union Data {
        std::int64_t integer;
        double real;
        char* heap;
        char inline_[kInline];
    } m_data{};
    std::uint32_t m_size = 0;
    DbValueKind m_kind = DbValueKind::Null;
};

} // namespace marovin
