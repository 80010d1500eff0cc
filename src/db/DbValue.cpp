#include "marovin/DbValue.h"

#include <charconv>

namespace marovin {

std::int64_t DbValue::AsInteger() const {
    const auto* v = std::get_if<std::int64_t>(&m_value);
    return v ? *v : 0;
}

double DbValue::AsReal() const {
    const auto* v = std::get_if<double>(&m_value);
    return v ? *v : 0.0;
}

const std::string& DbValue::AsText() const {
    static const std::string kEmpty;
    const auto* v = std::get_if<std::string>(&m_value);
    return v ? *v : kEmpty;
}

const DbValue::Blob& DbValue::AsBlob() const {
    static const Blob kEmpty;
    const auto* v = std::get_if<Blob>(&m_value);
    return v ? *v : kEmpty;
}

std::string DbValue::ToString() const {
    switch (Kind()) {
    case DbValueKind::Null:
        return {};
    case DbValueKind::Integer:
        return std::to_string(AsInteger());
    case DbValueKind::Real: {
        char buf[64];
        auto [end, ec] = std::to_chars(buf, buf + sizeof buf, AsReal());
        return ec == std::errc{} ? std::string(buf, end) : std::string{};
    }
    case DbValueKind::Text:
        return AsText();
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
