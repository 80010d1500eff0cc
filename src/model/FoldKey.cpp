#include "marovin/cKeyedCollection.h"

namespace marovin {
namespace {

// Lower-case partner of a code point for the scripts hosts name tables and fields in.
char32_t foldCodePoint(char32_t c) {
    if (c >= U'A' && c <= U'Z')
        return c + 0x20;
    if (c < 0x80)
        return c;
    if ((c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x391 && c <= 0x3AB && c != 0x3A2) ||
        (c >= 0x410 && c <= 0x42F))
        return c + 0x20;
    if (c >= 0x400 && c <= 0x40F)
        return c + 0x50;
    if (c == 0x178)
        return 0xFF;
    // Greek capitals with tonos.
    if (c == 0x386)
        return 0x3AC;
    if (c >= 0x388 && c <= 0x38A)
        return c + 0x25;
    if (c == 0x38C)
        return 0x3CC;
    if (c == 0x38E || c == 0x38F)
        return c + 0x3F;
    // Latin Extended-A pairs upper/lower case on even/odd code points, shifted by one in two runs.
    if ((c >= 0x100 && c <= 0x12F) || (c >= 0x132 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
        return (c % 2 == 0) ? c + 1 : c;
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E))
        return (c % 2 == 1) ? c + 1 : c;
    return c;
}

} // namespace

void AppendFoldedKey(std::string& out, std::string_view key) {
    // Folding keeps the length: ASCII stays ASCII, and every two-byte letter folds to another
    // two-byte letter. So the result is written in place into room made once.
    const size_t at = out.size();
    out.resize(at + key.size());
    auto* d = reinterpret_cast<unsigned char*>(out.data() + at);
    const auto* s = reinterpret_cast<const unsigned char*>(key.data());
    const size_t n = key.size();
    size_t i = 0;
    while (i < n) {
        const unsigned char b = s[i];
        if (b < 0x80) {
            d[i] = (b >= 'A' && b <= 'Z') ? static_cast<unsigned char>(b + 0x20) : b;
            ++i;
            continue;
        }
        // Two-byte sequences cover every letter that folds; anything else, including malformed
        // bytes, is copied unchanged.
        if ((b & 0xE0) == 0xC0 && i + 1 < n && (s[i + 1] & 0xC0) == 0x80) {
            const char32_t c = foldCodePoint((char32_t(b & 0x1F) << 6) | (s[i + 1] & 0x3F));
            d[i] = static_cast<unsigned char>(0xC0 | (c >> 6));
            d[i + 1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
            i += 2;
            continue;
        }
        d[i] = b;
        ++i;
    }
}

std::string FoldKey(const std::string& key) {
    std::string out;
    out.reserve(key.size());
    AppendFoldedKey(out, key);
    return out;
}

} // namespace marovin
