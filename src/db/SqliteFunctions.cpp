#include "SqliteFunctions.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <numbers>
#include <optional>
#include <random>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace marovin {

namespace {

// ---- helpers -----------------------------------------------------------------------------

std::string_view textArg(sqlite3_value* v) {
    const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
    return p ? std::string_view(p, static_cast<std::size_t>(sqlite3_value_bytes(v)))
             : std::string_view();
}

bool anyNull(int argc, sqlite3_value** argv) {
    for (int i = 0; i < argc; ++i) {
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL)
            return true;
    }
    return false;
}

void resultText(sqlite3_context* ctx, const std::string& s) {
    sqlite3_result_text(ctx, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
}

// Byte offsets of the UTF-8 characters of s (continuation bytes are skipped).
std::size_t charCount(std::string_view s) {
    std::size_t n = 0;
    for (unsigned char c : s) {
        if ((c & 0xC0) != 0x80)
            ++n;
    }
    return n;
}

std::size_t byteOffsetOfChar(std::string_view s, std::size_t chars) {
    std::size_t seen = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
            if (seen == chars)
                return i;
            ++seen;
        }
    }
    return s.size();
}

// ---- string functions --------------------------------------------------------------------

void fnLeft(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    std::int64_t n = sqlite3_value_int64(argv[1]);
    if (n < 0)
        return sqlite3_result_error(ctx, "Invalid length parameter passed to the LEFT function.",
                                    -1);
    std::string_view s = textArg(argv[0]);
    resultText(ctx, std::string(s.substr(0, byteOffsetOfChar(s, static_cast<std::size_t>(n)))));
}

void fnRight(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    std::int64_t n = sqlite3_value_int64(argv[1]);
    if (n < 0)
        return sqlite3_result_error(ctx, "Invalid length parameter passed to the RIGHT function.",
                                    -1);
    std::string_view s = textArg(argv[0]);
    std::size_t total = charCount(s);
    std::size_t skip =
        static_cast<std::size_t>(n) >= total ? 0 : total - static_cast<std::size_t>(n);
    resultText(ctx, std::string(s.substr(byteOffsetOfChar(s, skip))));
}

void fnReverse(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    std::string_view s = textArg(argv[0]);
    std::string out;
    out.reserve(s.size());
    std::size_t end = s.size();
    while (end > 0) {
        std::size_t start = end - 1;
        while (start > 0 && (static_cast<unsigned char>(s[start]) & 0xC0) == 0x80)
            --start;
        out.append(s.substr(start, end - start));
        end = start;
    }
    resultText(ctx, out);
}

// STR(number [, length [, decimals]]): the number rounded to the decimals, right-justified in
// the length (default 10, 0 decimals); stars when it does not fit.
void fnStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    double x = sqlite3_value_double(argv[0]);
    std::int64_t length = argc > 1 ? sqlite3_value_int64(argv[1]) : 10;
    std::int64_t decimals = argc > 2 ? sqlite3_value_int64(argv[2]) : 0;
    if (length <= 0 || length > 8000 || decimals < 0)
        return sqlite3_result_null(ctx);
    if (decimals > 16)
        decimals = 16;
    char buf[400];
    std::string s;
    int written = std::snprintf(buf, sizeof buf, "%.*f", static_cast<int>(decimals), x);
    if (written > 0 && static_cast<std::size_t>(written) < sizeof buf)
        s.assign(buf, static_cast<std::size_t>(written));
    // Fewer decimals when the integer part fits but the decimals do not.
    while (static_cast<std::int64_t>(s.size()) > length && decimals > 0) {
        --decimals;
        written = std::snprintf(buf, sizeof buf, "%.*f", static_cast<int>(decimals), x);
        s.assign(buf, static_cast<std::size_t>(written));
    }
    if (s.empty() || static_cast<std::int64_t>(s.size()) > length)
        return resultText(ctx, std::string(static_cast<std::size_t>(length), '*'));
    resultText(ctx, std::string(static_cast<std::size_t>(length) - s.size(), ' ') + s);
}

// ---- mathematical functions --------------------------------------------------------------

using UnaryFn = double (*)(double);

template <UnaryFn F> void fnUnary(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    double r = F(sqlite3_value_double(argv[0]));
    if (std::isnan(r) || std::isinf(r))
        return sqlite3_result_error(ctx, "An invalid floating point operation occurred.", -1);
    sqlite3_result_double(ctx, r);
}

double cotOf(double x) {
    return 1.0 / std::tan(x);
}
double degreesOf(double x) {
    return x * 180.0 / std::numbers::pi;
}
double radiansOf(double x) {
    return x * std::numbers::pi / 180.0;
}
double squareOf(double x) {
    return x * x;
}
double naturalLog(double x) {
    return x > 0 ? std::log(x) : std::nan("");
}
double log10Of(double x) {
    return x > 0 ? std::log10(x) : std::nan("");
}
double sqrtOf(double x) {
    return x >= 0 ? std::sqrt(x) : std::nan("");
}
double acosOf(double x) {
    return std::acos(x);
}
double asinOf(double x) {
    return std::asin(x);
}
double atanOf(double x) {
    return std::atan(x);
}
double cosOf(double x) {
    return std::cos(x);
}
double sinOf(double x) {
    return std::sin(x);
}
double tanOf(double x) {
    return std::tan(x);
}
double expOf(double x) {
    return std::exp(x);
}

// LOG(x [, base]).
void fnLog(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    double x = sqlite3_value_double(argv[0]);
    double r = naturalLog(x);
    if (argc > 1) {
        double b = sqlite3_value_double(argv[1]);
        r = (b > 0 && b != 1) ? r / std::log(b) : std::nan("");
    }
    if (std::isnan(r) || std::isinf(r))
        return sqlite3_result_error(ctx, "An invalid floating point operation occurred.", -1);
    sqlite3_result_double(ctx, r);
}

void fnAtn2(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    sqlite3_result_double(ctx,
                          std::atan2(sqlite3_value_double(argv[0]), sqlite3_value_double(argv[1])));
}

void fnPower(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    double r = std::pow(sqlite3_value_double(argv[0]), sqlite3_value_double(argv[1]));
    if (std::isnan(r) || std::isinf(r))
        return sqlite3_result_error(ctx, "An invalid floating point operation occurred.", -1);
    // An integer base keeps an integer result when it is exact, as T-SQL keeps the base's type.
    if (sqlite3_value_type(argv[0]) == SQLITE_INTEGER && r == std::floor(r) &&
        std::fabs(r) < 9.0e18)
        return sqlite3_result_int64(ctx, static_cast<std::int64_t>(r));
    sqlite3_result_double(ctx, r);
}

void fnPi(sqlite3_context* ctx, int, sqlite3_value**) {
    sqlite3_result_double(ctx, std::numbers::pi);
}

// CEILING, FLOOR and SIGN keep integers integers.
template <int Which> void fnRounding(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    if (sqlite3_value_numeric_type(argv[0]) == SQLITE_INTEGER) {
        std::int64_t v = sqlite3_value_int64(argv[0]);
        if (Which == 2)
            v = (v > 0) - (v < 0);
        return sqlite3_result_int64(ctx, v);
    }
    double x = sqlite3_value_double(argv[0]);
    double r = Which == 0 ? std::ceil(x) : Which == 1 ? std::floor(x) : (x > 0) - (x < 0);
    sqlite3_result_double(ctx, r);
}

// The generator of one session's RAND(). It is seeded from the system's entropy only when RAND()
// first runs without a seed: most sessions never call it, and asking for entropy on every
// connection costs about as much as reading a small catalogue.
struct RandState {
    std::optional<std::mt19937_64> engine;

    std::mt19937_64& get() {
        if (!engine)
            engine.emplace(std::random_device{}());
        return *engine;
    }
};

void fnRand(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    auto* state = static_cast<RandState*>(sqlite3_user_data(ctx));
    if (argc > 0 && sqlite3_value_type(argv[0]) != SQLITE_NULL)
        state->engine.emplace(static_cast<std::uint64_t>(sqlite3_value_int64(argv[0])));
    sqlite3_result_double(ctx, std::uniform_real_distribution<double>(0.0, 1.0)(state->get()));
}

// ---- statistical aggregates --------------------------------------------------------------

struct Moments {
    std::int64_t n;
    double mean;
    double m2;
};

void momentsStep(sqlite3_context* ctx, int, sqlite3_value** argv) {
    auto* m = static_cast<Moments*>(sqlite3_aggregate_context(ctx, sizeof(Moments)));
    if (!m || sqlite3_value_type(argv[0]) == SQLITE_NULL)
        return;
    double x = sqlite3_value_double(argv[0]);
    ++m->n;
    double delta = x - m->mean;
    m->mean += delta / static_cast<double>(m->n);
    m->m2 += delta * (x - m->mean);
}

// Sample (Population = false) or population variance, optionally its square root.
template <bool Population, bool Root> void momentsFinal(sqlite3_context* ctx) {
    auto* m = static_cast<Moments*>(sqlite3_aggregate_context(ctx, 0));
    std::int64_t need = Population ? 1 : 2;
    if (!m || m->n < need)
        return sqlite3_result_null(ctx);
    double var = m->m2 / static_cast<double>(Population ? m->n : m->n - 1);
    sqlite3_result_double(ctx, Root ? std::sqrt(var) : var);
}

// ---- dates -------------------------------------------------------------------------------

constexpr std::int64_t kMsPerDay = 86'400'000;

struct DateTime {
    std::int64_t days = 0; // since 1970-01-01
    std::int64_t ms = 0;   // of the day
    bool hasTime = false;  // whether the text carried a time of day
};

std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<std::int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

bool isLeap(std::int64_t y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

unsigned daysInMonth(std::int64_t y, unsigned m) {
    static constexpr std::array<unsigned, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && isLeap(y) ? 29 : kDays[m - 1];
}

bool readDigits(std::string_view s, std::size_t& pos, std::size_t count, int& out) {
    if (pos + count > s.size())
        return false;
    out = 0;
    for (std::size_t i = 0; i < count; ++i) {
        char c = s[pos + i];
        if (c < '0' || c > '9')
            return false;
        out = out * 10 + (c - '0');
    }
    pos += count;
    return true;
}

// Reads "YYYY-MM-DD", optionally followed by " " or "T" and "HH:MM[:SS[.fff...]]".
std::optional<DateTime> parseDate(std::string_view s) {
    while (!s.empty() && s.front() == ' ')
        s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ')
        s.remove_suffix(1);
    std::size_t pos = 0;
    int y = 0, mo = 0, d = 0;
    if (!readDigits(s, pos, 4, y) || pos >= s.size() || s[pos++] != '-' ||
        !readDigits(s, pos, 2, mo) || pos >= s.size() || s[pos++] != '-' ||
        !readDigits(s, pos, 2, d))
        return std::nullopt;
    if (y < 1 || mo < 1 || mo > 12 || d < 1 ||
        static_cast<unsigned>(d) > daysInMonth(y, static_cast<unsigned>(mo)))
        return std::nullopt;
    DateTime dt;
    dt.days = daysFromCivil(y, static_cast<unsigned>(mo), static_cast<unsigned>(d));
    if (pos == s.size())
        return dt;
    if (s[pos] != ' ' && s[pos] != 'T')
        return std::nullopt;
    ++pos;
    int h = 0, mi = 0, sec = 0, ms = 0;
    if (!readDigits(s, pos, 2, h) || pos >= s.size() || s[pos++] != ':' ||
        !readDigits(s, pos, 2, mi))
        return std::nullopt;
    if (pos < s.size() && s[pos] == ':') {
        ++pos;
        if (!readDigits(s, pos, 2, sec))
            return std::nullopt;
        if (pos < s.size() && s[pos] == '.') {
            ++pos;
            int scale = 100;
            bool any = false;
            while (pos < s.size() && s[pos] >= '0' && s[pos] <= '9') {
                ms += (s[pos] - '0') * scale;
                scale /= 10;
                ++pos;
                any = true;
            }
            if (!any)
                return std::nullopt;
        }
    }
    if (pos != s.size() || h > 23 || mi > 59 || sec > 59)
        return std::nullopt;
    dt.ms = ((h * 60 + mi) * 60 + sec) * 1000LL + ms;
    dt.hasTime = true;
    return dt;
}

std::string formatDate(const DateTime& dt) {
    std::int64_t y = 0;
    unsigned m = 0, d = 0;
    civilFromDays(dt.days, y, m, d);
    char buf[64];
    if (!dt.hasTime) {
        std::snprintf(buf, sizeof buf, "%04lld-%02u-%02u", static_cast<long long>(y), m, d);
    } else {
        std::int64_t ms = dt.ms;
        std::snprintf(buf, sizeof buf, "%04lld-%02u-%02u %02lld:%02lld:%02lld.%03lld",
                      static_cast<long long>(y), m, d, static_cast<long long>(ms / 3'600'000),
                      static_cast<long long>(ms / 60'000 % 60),
                      static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
    }
    return buf;
}

enum class Part {
    Year,
    Quarter,
    Month,
    DayOfYear,
    Day,
    Week,
    Weekday,
    Hour,
    Minute,
    Second,
    Millisecond
};

std::optional<Part> parsePart(std::string_view text) {
    std::string p;
    for (char c : text) {
        if (c != ' ' && c != '\'' && c != '"' && c != '[' && c != ']')
            p += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    struct Alias {
        const char* name;
        Part part;
    };
    static constexpr Alias kAliases[] = {
        {"year", Part::Year},       {"yy", Part::Year},
        {"yyyy", Part::Year},       {"quarter", Part::Quarter},
        {"qq", Part::Quarter},      {"q", Part::Quarter},
        {"month", Part::Month},     {"mm", Part::Month},
        {"m", Part::Month},         {"dayofyear", Part::DayOfYear},
        {"dy", Part::DayOfYear},    {"y", Part::DayOfYear},
        {"day", Part::Day},         {"dd", Part::Day},
        {"d", Part::Day},           {"week", Part::Week},
        {"wk", Part::Week},         {"ww", Part::Week},
        {"weekday", Part::Weekday}, {"dw", Part::Weekday},
        {"w", Part::Weekday},       {"hour", Part::Hour},
        {"hh", Part::Hour},         {"minute", Part::Minute},
        {"mi", Part::Minute},       {"n", Part::Minute},
        {"second", Part::Second},   {"ss", Part::Second},
        {"s", Part::Second},        {"millisecond", Part::Millisecond},
        {"ms", Part::Millisecond},
    };
    for (const Alias& a : kAliases) {
        if (p == a.name)
            return a.part;
    }
    return std::nullopt;
}

// Sunday = 1 ... Saturday = 7.
int weekdayOf(std::int64_t days) {
    std::int64_t w = (days + 4) % 7; // 1970-01-01 was a Thursday
    if (w < 0)
        w += 7;
    return static_cast<int>(w) + 1;
}

std::int64_t datePart(Part part, const DateTime& dt) {
    std::int64_t y = 0;
    unsigned m = 0, d = 0;
    civilFromDays(dt.days, y, m, d);
    std::int64_t doy = dt.days - daysFromCivil(y, 1, 1) + 1;
    switch (part) {
    case Part::Year:
        return y;
    case Part::Quarter:
        return (m - 1) / 3 + 1;
    case Part::Month:
        return m;
    case Part::DayOfYear:
        return doy;
    case Part::Day:
        return d;
    case Part::Week:
        return (doy - 1 + weekdayOf(daysFromCivil(y, 1, 1)) - 1) / 7 + 1;
    case Part::Weekday:
        return weekdayOf(dt.days);
    case Part::Hour:
        return dt.ms / 3'600'000;
    case Part::Minute:
        return dt.ms / 60'000 % 60;
    case Part::Second:
        return dt.ms / 1000 % 60;
    case Part::Millisecond:
        return dt.ms % 1000;
    }
    return 0;
}

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// Dates run from 0001-01-01 to 9999-12-31, as SQL Server's; DATEADD beyond them is an overflow.
constexpr std::int64_t kFirstYear = 1;
constexpr std::int64_t kLastYear = 9999;

bool yearInRange(std::int64_t y) {
    return y >= kFirstYear && y <= kLastYear;
}

bool daysInRange(std::int64_t days) {
    static const std::int64_t first = daysFromCivil(kFirstYear, 1, 1);
    static const std::int64_t last = daysFromCivil(kLastYear, 12, 31);
    return days >= first && days <= last;
}

// a * b + c, or nothing when it does not fit in 64 bits.
std::optional<std::int64_t> checkedMulAdd(std::int64_t a, std::int64_t b, std::int64_t c) {
    std::int64_t product = 0, sum = 0;
    if (__builtin_mul_overflow(a, b, &product) || __builtin_add_overflow(product, c, &sum))
        return std::nullopt;
    return sum;
}

std::optional<DateTime> addMonths(DateTime dt, std::int64_t count, std::int64_t monthsEach) {
    std::int64_t y = 0;
    unsigned m = 0, d = 0;
    civilFromDays(dt.days, y, m, d);
    auto total = checkedMulAdd(count, monthsEach, y * 12 + (m - 1));
    if (!total)
        return std::nullopt;
    std::int64_t ny = floorDiv(*total, 12);
    if (!yearInRange(ny))
        return std::nullopt;
    auto nm = static_cast<unsigned>(*total - ny * 12 + 1);
    unsigned nd = std::min(d, daysInMonth(ny, nm));
    dt.days = daysFromCivil(ny, nm, nd);
    return dt;
}

std::optional<DateTime> addDays(DateTime dt, std::int64_t count, std::int64_t daysEach) {
    auto days = checkedMulAdd(count, daysEach, dt.days);
    if (!days || !daysInRange(*days))
        return std::nullopt;
    dt.days = *days;
    return dt;
}

std::optional<DateTime> addMs(DateTime dt, std::int64_t count, std::int64_t msEach) {
    // Days in range times the milliseconds of a day stay far inside 64 bits.
    auto total = checkedMulAdd(count, msEach, dt.days * kMsPerDay + dt.ms);
    if (!total)
        return std::nullopt;
    std::int64_t days = floorDiv(*total, kMsPerDay);
    if (!daysInRange(days))
        return std::nullopt;
    dt.days = days;
    dt.ms = *total - days * kMsPerDay;
    dt.hasTime = true;
    return dt;
}

const char* const kConversionError =
    "Conversion failed when converting date and/or time from character string.";
const char* const kPartError = "Invalid date part: write it as a string, e.g. 'day'.";
const char* const kOverflowError = "Adding a value to a 'datetime' column caused an overflow.";

bool readDateArg(sqlite3_context* ctx, sqlite3_value* v, DateTime& out) {
    auto dt = parseDate(textArg(v));
    if (!dt) {
        sqlite3_result_error(ctx, kConversionError, -1);
        return false;
    }
    out = *dt;
    return true;
}

void fnDateAdd(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    auto part = parsePart(textArg(argv[0]));
    if (!part)
        return sqlite3_result_error(ctx, kPartError, -1);
    std::int64_t n = sqlite3_value_int64(argv[1]);
    DateTime dt;
    if (!readDateArg(ctx, argv[2], dt))
        return;
    std::optional<DateTime> result;
    switch (*part) {
    case Part::Year:
        result = addMonths(dt, n, 12);
        break;
    case Part::Quarter:
        result = addMonths(dt, n, 3);
        break;
    case Part::Month:
        result = addMonths(dt, n, 1);
        break;
    case Part::DayOfYear:
    case Part::Day:
    case Part::Weekday:
        result = addDays(dt, n, 1);
        break;
    case Part::Week:
        result = addDays(dt, n, 7);
        break;
    case Part::Hour:
        result = addMs(dt, n, 3'600'000);
        break;
    case Part::Minute:
        result = addMs(dt, n, 60'000);
        break;
    case Part::Second:
        result = addMs(dt, n, 1000);
        break;
    case Part::Millisecond:
        result = addMs(dt, n, 1);
        break;
    }
    if (!result)
        return sqlite3_result_error(ctx, kOverflowError, -1);
    resultText(ctx, formatDate(*result));
}

// The number of part boundaries crossed between start and end.
void fnDateDiff(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    auto part = parsePart(textArg(argv[0]));
    if (!part)
        return sqlite3_result_error(ctx, kPartError, -1);
    DateTime a, b;
    if (!readDateArg(ctx, argv[1], a) || !readDateArg(ctx, argv[2], b))
        return;
    auto months = [](const DateTime& dt) {
        return datePart(Part::Year, dt) * 12 + datePart(Part::Month, dt) - 1;
    };
    auto total = [](const DateTime& dt, std::int64_t unit) {
        return floorDiv(dt.days * kMsPerDay + dt.ms, unit);
    };
    std::int64_t r = 0;
    switch (*part) {
    case Part::Year:
        r = datePart(Part::Year, b) - datePart(Part::Year, a);
        break;
    case Part::Quarter:
        r = floorDiv(months(b), 3) - floorDiv(months(a), 3);
        break;
    case Part::Month:
        r = months(b) - months(a);
        break;
    case Part::DayOfYear:
    case Part::Day:
    case Part::Weekday:
        r = b.days - a.days;
        break;
    case Part::Week: // Sundays crossed
        r = floorDiv(b.days + 4, 7) - floorDiv(a.days + 4, 7);
        break;
    case Part::Hour:
        r = total(b, 3'600'000) - total(a, 3'600'000);
        break;
    case Part::Minute:
        r = total(b, 60'000) - total(a, 60'000);
        break;
    case Part::Second:
        r = total(b, 1000) - total(a, 1000);
        break;
    case Part::Millisecond:
        r = total(b, 1) - total(a, 1);
        break;
    }
    sqlite3_result_int64(ctx, r);
}

void fnDatePart(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    auto part = parsePart(textArg(argv[0]));
    if (!part)
        return sqlite3_result_error(ctx, kPartError, -1);
    DateTime dt;
    if (readDateArg(ctx, argv[1], dt))
        sqlite3_result_int64(ctx, datePart(*part, dt));
}

void fnDateName(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    static constexpr std::array<const char*, 12> kMonths{
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    static constexpr std::array<const char*, 7> kWeekdays{
        "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    auto part = parsePart(textArg(argv[0]));
    if (!part)
        return sqlite3_result_error(ctx, kPartError, -1);
    DateTime dt;
    if (!readDateArg(ctx, argv[1], dt))
        return;
    std::int64_t v = datePart(*part, dt);
    if (*part == Part::Month)
        return resultText(ctx, kMonths[static_cast<std::size_t>(v - 1)]);
    if (*part == Part::Weekday)
        return resultText(ctx, kWeekdays[static_cast<std::size_t>(v - 1)]);
    resultText(ctx, std::to_string(v));
}

template <Part P> void fnPartOf(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv))
        return sqlite3_result_null(ctx);
    DateTime dt;
    if (readDateArg(ctx, argv[0], dt))
        sqlite3_result_int64(ctx, datePart(P, dt));
}

// GETDATE (local time) and GETUTCDATE.
template <bool Utc> void fnNow(sqlite3_context* ctx, int, sqlite3_value**) {
    using namespace std::chrono;
    auto now = system_clock::now();
    std::int64_t ms = duration_cast<milliseconds>(now.time_since_epoch()).count();
    if (!Utc) {
        std::time_t t = system_clock::to_time_t(now);
        std::tm local{};
        localtime_r(&t, &local);
        ms += static_cast<std::int64_t>(local.tm_gmtoff) * 1000;
    }
    DateTime dt;
    dt.days = floorDiv(ms, kMsPerDay);
    dt.ms = ms - dt.days * kMsPerDay;
    dt.hasTime = true;
    resultText(ctx, formatDate(dt));
}

using ScalarFn = void (*)(sqlite3_context*, int, sqlite3_value**);

struct Scalar {
    const char* name;
    int nArg;
    ScalarFn fn;
    bool deterministic;
};

constexpr Scalar kScalars[] = {
    {"LEFT", 2, fnLeft, true},
    {"RIGHT", 2, fnRight, true},
    {"REVERSE", 1, fnReverse, true},
    {"STR", 1, fnStr, true},
    {"STR", 2, fnStr, true},
    {"STR", 3, fnStr, true},
    {"ACOS", 1, fnUnary<acosOf>, true},
    {"ASIN", 1, fnUnary<asinOf>, true},
    {"ATAN", 1, fnUnary<atanOf>, true},
    {"ATN2", 2, fnAtn2, true},
    {"CEILING", 1, fnRounding<0>, true},
    {"COS", 1, fnUnary<cosOf>, true},
    {"COT", 1, fnUnary<cotOf>, true},
    {"DEGREES", 1, fnUnary<degreesOf>, true},
    {"EXP", 1, fnUnary<expOf>, true},
    {"FLOOR", 1, fnRounding<1>, true},
    {"LOG", 1, fnLog, true},
    {"LOG", 2, fnLog, true},
    {"LOG10", 1, fnUnary<log10Of>, true},
    {"PI", 0, fnPi, true},
    {"POWER", 2, fnPower, true},
    {"RADIANS", 1, fnUnary<radiansOf>, true},
    {"SIGN", 1, fnRounding<2>, true},
    {"SIN", 1, fnUnary<sinOf>, true},
    {"SQUARE", 1, fnUnary<squareOf>, true},
    {"SQRT", 1, fnUnary<sqrtOf>, true},
    {"TAN", 1, fnUnary<tanOf>, true},
    {"GETDATE", 0, fnNow<false>, false},
    {"GETUTCDATE", 0, fnNow<true>, false},
    {"DAY", 1, fnPartOf<Part::Day>, true},
    {"MONTH", 1, fnPartOf<Part::Month>, true},
    {"YEAR", 1, fnPartOf<Part::Year>, true},
    {"DATEADD", 3, fnDateAdd, true},
    {"DATEDIFF", 3, fnDateDiff, true},
    {"DATEPART", 2, fnDatePart, true},
    {"DATENAME", 2, fnDateName, true},
};

void destroyRandState(void* p) {
    delete static_cast<RandState*>(p);
}

} // namespace

bool registerSqlServerFunctions(sqlite3* db) {
    bool ok = true;
    for (const Scalar& s : kScalars) {
        int flags = SQLITE_UTF8 | (s.deterministic ? SQLITE_DETERMINISTIC : 0);
        ok &= sqlite3_create_function_v2(db, s.name, s.nArg, flags, nullptr, s.fn, nullptr, nullptr,
                                         nullptr) == SQLITE_OK;
    }
    for (int nArg : {0, 1}) {
        ok &= sqlite3_create_function_v2(db, "RAND", nArg, SQLITE_UTF8, new RandState, fnRand,
                                         nullptr, nullptr, destroyRandState) == SQLITE_OK;
    }
    struct Aggregate {
        const char* name;
        void (*final)(sqlite3_context*);
    };
    const Aggregate aggregates[] = {
        {"STDEV", momentsFinal<false, true>},
        {"STDEVP", momentsFinal<true, true>},
        {"VAR", momentsFinal<false, false>},
        {"VARP", momentsFinal<true, false>},
    };
    for (const Aggregate& a : aggregates) {
        ok &= sqlite3_create_function_v2(db, a.name, 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                         nullptr, momentsStep, a.final, nullptr) == SQLITE_OK;
    }
    return ok;
}

namespace {

// Where the text after `from` first ends with `endMark` (just past it), else the text's end.
std::size_t skipPast(const std::string& sql, std::size_t from, std::string_view endMark) {
    const std::size_t e = sql.find(endMark, from);
    return e == std::string::npos ? sql.size() : e + endMark.size();
}

// Just past the quoted text or name that opens at `open` with the quote `sql[open]`: a doubled
// quote stays inside. The text's end when the quote is never closed.
std::size_t endOfQuoted(const std::string& sql, std::size_t open) {
    const char quote = sql[open];
    std::size_t next = open + 1;
    for (;;) {
        next = sql.find(quote, next);
        if (next == std::string::npos)
            return sql.size();
        if (next + 1 < sql.size() && sql[next + 1] == quote) {
            next += 2;
            continue;
        }
        return next + 1;
    }
}

} // namespace

std::string translateBracketEscapes(const std::string& sql) {
    if (sql.find("]]") == std::string::npos)
        return sql;
    std::string out;
    out.reserve(sql.size() + 8);
    std::size_t i = 0;
    while (i < sql.size()) {
        const char c = sql[i];
        std::size_t next = i + 1;
        if (c == '\'' || c == '"' || c == '`') {
            next = endOfQuoted(sql, i);
        } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
            next = skipPast(sql, i + 2, "\n");
        } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
            next = skipPast(sql, i + 2, "*/");
        } else if (c == '[') {
            // The name runs to the first "]" that is not doubled.
            std::string name;
            bool escaped = false;
            std::size_t j = i + 1;
            for (; j < sql.size(); ++j) {
                if (sql[j] == ']') {
                    if (j + 1 < sql.size() && sql[j + 1] == ']') {
                        name += ']';
                        escaped = true;
                        ++j;
                        continue;
                    }
                    break;
                }
                name += sql[j];
            }
            if (escaped && j < sql.size()) {
                out += '"';
                for (char n : name)
                    out += n == '"' ? std::string("\"\"") : std::string(1, n);
                out += '"';
                i = j + 1;
                continue;
            }
            next = j < sql.size() ? j + 1 : sql.size();
        }
        out.append(sql, i, next - i);
        i = next;
    }
    return out;
}

std::string quoteJoinKeywordCalls(const std::string& sql) {
    auto isWord = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
    };
    std::string out;
    out.reserve(sql.size() + 8);
    std::size_t i = 0;
    while (i < sql.size()) {
        char c = sql[i];
        std::size_t next = i + 1;
        if (c == '\'' || c == '"' || c == '`') {
            next = endOfQuoted(sql, i);
        } else if (c == '[') {
            next = skipPast(sql, i + 1, "]");
        } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
            next = skipPast(sql, i + 2, "\n");
        } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
            next = skipPast(sql, i + 2, "*/");
        } else if (isWord(c)) {
            next = i;
            while (next < sql.size() && isWord(sql[next]))
                ++next;
            std::string word = sql.substr(i, next - i);
            std::string upper = word;
            for (char& u : upper)
                u = static_cast<char>(u >= 'a' && u <= 'z' ? u - 'a' + 'A' : u);
            std::size_t after = next;
            while (after < sql.size() && (sql[after] == ' ' || sql[after] == '\t' ||
                                          sql[after] == '\r' || sql[after] == '\n'))
                ++after;
            bool preceededByDot = i > 0 && sql[i - 1] == '.';
            if ((upper == "LEFT" || upper == "RIGHT") && after < sql.size() && sql[after] == '(' &&
                !preceededByDot) {
                out += '"' + upper + '"';
                i = next;
                continue;
            }
        }
        out.append(sql, i, next - i);
        i = next;
    }
    return out;
}

} // namespace marovin
