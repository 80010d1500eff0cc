#include "marovin/DbValue.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace marovin {

void DbValue::assign(DbValueKind kind, const char* data, std::size_t size) {
    if (size > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("a value of more than 4 GB");
    m_kind = kind;
    m_size = static_cast<std::uint32_t>(size);
    if (size > kInline) {
        m_data.heap = new char[size];
        std::memcpy(m_data.heap, data, size);
    } else if (size > 0) {
        std::memcpy(m_data.inline_, data, size);
    }
}

void DbValue::copyFrom(const DbValue& other) {
    if (other.isLong()) {
        assign(other.m_kind, other.m_data.heap, other.m_size);
    } else {
        m_data = other.m_data;
        m_size = other.m_size;
        m_kind = other.m_kind;
    }
}

void DbValue::stealFrom(DbValue& other) noexcept {
    m_data = other.m_data;
    m_size = other.m_size;
    m_kind = other.m_kind;
    other.m_kind = DbValueKind::Null;
    other.m_size = 0;
}

void DbValue::release() noexcept {
    if (isLong())
        delete[] m_data.heap;
    m_kind = DbValueKind::Null;
    m_size = 0;
}

bool DbValue::operator==(const DbValue& other) const {
    if (m_kind != other.m_kind)
        return false;
    switch (m_kind) {
    case DbValueKind::Null:
        return true;
    case DbValueKind::Integer:
        return m_data.integer == other.m_data.integer;
    case DbValueKind::Real:
        return m_data.real == other.m_data.real;
    case DbValueKind::Text:
    case DbValueKind::Blob:
        return m_size == other.m_size && std::memcmp(bytes(), other.bytes(), m_size) == 0;
    }
    return false;
}

std::string DbValue::ToString() const {
    switch (m_kind) {
    case DbValueKind::Null:
        return {};
    case DbValueKind::Integer:
        return std::to_string(m_data.integer);
    case DbValueKind::Real: {
        char buf[64];
        auto [end, ec] = std::to_chars(buf, buf + sizeof buf, m_data.real);
        return ec == std::errc{} ? std::string(buf, end) : std::string{};
    }
    case DbValueKind::Text:
        return std::string(AsText());
    case DbValueKind::Blob: {
        static const char kHex[] = "0123456789ABCDEF";
        std::string s = "0x";
        for (unsigned char b : AsBlob()) {
            s += kHex[b >> 4];
            s += kHex[b & 15];
        }
        return s;
    }
    }
    return {};
}

} // namespace marovin
