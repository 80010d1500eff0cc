#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace marovin {

// The kind of one value of a result set. NULL is a kind of its own, so a NULL never reads as
// an empty string or a zero.
enum class DbValueKind { Null, Integer, Real, Text, Blob };

// One typed, immutable cell of a result set.
class DbValue {
public:
    using Blob = std::vector<unsigned char>;

    DbValue() = default; // NULL
    explicit DbValue(std::int64_t value) : m_value(value) {}
    explicit DbValue(double value) : m_value(value) {}
    explicit DbValue(std::string value) : m_value(std::move(value)) {}
    explicit DbValue(Blob value) : m_value(std::move(value)) {}

    DbValueKind Kind() const { return static_cast<DbValueKind>(m_value.index()); }
    bool IsNull() const { return m_value.index() == 0; }

    // The value in its own kind; asking a value for another kind than its own gives the zero
    // value of that kind (0, 0.0, "" or no bytes).
    std::int64_t AsInteger() const;
    double AsReal() const;
    const std::string& AsText() const;
    const Blob& AsBlob() const;

    // Display text: "" for NULL, integers in decimal, reals in the shortest form that reads
    // back to the same number, text as is, blobs as "0x" and upper-case hex digits.
    std::string ToString() const;

    bool operator==(const DbValue& other) const = default;

private:
    std::variant<std::monostate, std::int64_t, double, std::string, Blob> m_value;
};

} // namespace marovin
