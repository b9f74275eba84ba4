// pocketjson::Double: number text of doubles, written as "%.17g" and read as strtod in the C
// locale.
#pragma once

#include <cstddef>
#include <string>

namespace pocketjson {

class Double {
public:
    explicit Double(double value) : value_(value) {}

    double value() const { return value_; }

    // "0.0" for both zeros, "nan", "inf"/"-inf", else the "%.17g" text with '.' as the decimal
    // point whatever the process locale.
    std::string toString() const;
    // Appends the same text to `out`.
    void toString(std::string& out) const;

    // Reads `text` as strtod does in the C locale; *ok tells whether the whole text was consumed.
    // Numbers out of range become infinity or zero, as strtod gives them.
    static double strToDouble(char const* text, bool* ok);

    // Reads number text already checked against the JSON number grammar (digits, one '.', an
    // exponent). Returns false only when the text is not wholly consumed.
    static bool parseNumberText(char const* first, char const* last, double& out);

    // Writes the "%.17g" text of a finite, non-zero double into `buf` (at least 48 bytes) and
    // returns its length.
    static std::size_t formatFinite(double value, char* buf);
    // The same text from the C library's algorithm: what formatFinite falls back to for the rare
    // values whose rounding lies too close to a tie for its own digit writer.
    static std::size_t formatByLibrary(double value, char* buf);

private:
    double value_;
};

} // namespace pocketjson
