// Double: locale-independent "%.17g" text and strtod-compatible reading of doubles.
#include "json/number_text.h"

#include "json/decimal_digits.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale.h>
#include <system_error>

namespace pocketjson {

namespace {

// A "C" locale object for strtod_l: number text never depends on the process locale, and the
// process locale is never touched.
locale_t cLocale() {
    static locale_t const loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return loc;
}

double strtodC(char const* text, char** end) {
    locale_t loc = cLocale();
    if (loc != static_cast<locale_t>(nullptr))
        return strtod_l(text, end, loc);
    return std::strtod(text, end);
}

} // namespace

std::size_t Double::formatFinite(double value, char* buf) {
    if (std::size_t const length = detail::writeSeventeenDigits(value, buf))
        return length;
    return formatByLibrary(value, buf);
}

std::size_t Double::formatByLibrary(double value, char* buf) {
    // std::to_chars with a precision is defined as printf's conversion in the "C" locale.
    auto result = std::to_chars(buf, buf + 48, value, std::chars_format::general, 17);
    return static_cast<std::size_t>(result.ptr - buf);
}

void Double::toString(std::string& out) const {
    if (value_ == 0.0) {
        out += "0.0";
    } else if (std::isnan(value_)) {
        out += "nan";
    } else if (std::isinf(value_)) {
        out += value_ < 0 ? "-inf" : "inf";
    } else {
        char buf[48];
        out.append(buf, formatFinite(value_, buf));
    }
}

std::string Double::toString() const {
    std::string out;
    toString(out);
    return out;
}

double Double::strToDouble(char const* text, bool* ok) {
    if (text == nullptr) {
        if (ok)
            *ok = false;
        return 0.0;
    }
    char* end = nullptr;
    double d = strtodC(text, &end);
    if (ok)
        *ok = (*end == '\0');
    return d;
}

bool Double::parseNumberText(char const* first, char const* last, double& out) {
    auto result = std::from_chars(first, last, out, std::chars_format::general);
    if (result.ec == std::errc() && result.ptr == last)
        return true;
    if (result.ec != std::errc::result_out_of_range)
        return false;
    // from_chars reports overflow and underflow as errors where strtod gives infinity or zero;
    // those rare texts go through strtod itself.
    std::string text(first, last);
    char* end = nullptr;
    out = strtodC(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

} // namespace pocketjson
