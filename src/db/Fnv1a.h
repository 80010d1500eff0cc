#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace marovin {

// FNV-1a, 64 bits: a short, stable fingerprint of bytes (file names of catalogues, the first
// page of an SQLite file), not a protection against anyone.
inline std::uint64_t fnv1a(const void* data, std::size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
    std::uint64_t h = 14695981039346656037ULL;
    for (std::size_t i = 0; i < size; ++i) {
        h ^= p[i];
        h *= 1099511628211ULL;
    }
    return h;
}

inline std::uint64_t fnv1a(std::string_view text) {
    return fnv1a(text.data(), text.size());
}

// The value as 16 lower-case hexadecimal digits.
inline std::string hex64(std::uint64_t value) {
    static const char kHex[] = "0123456789abcdef";
    std::string out(16, '0');
    for (int i = 15; i >= 0; --i, value >>= 4)
        out[static_cast<std::size_t>(i)] = kHex[value & 15];
    return out;
}

} // namespace marovin
