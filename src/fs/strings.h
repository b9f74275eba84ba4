// string::split, string::to<T>, string::system_to_utf8 and string::is_utf8: small text helpers.
#pragma once

#include <cstddef>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace string {

// The pieces of `text` between occurrences of `separator`, in order. Empty pieces (adjacent
// separators, or a separator at either end) are left out, so an empty text gives no pieces. An
// empty separator does not split: the result is the text itself, or nothing if it is empty.
std::vector<std::string> split(std::string const& text, std::string const& separator);

// The value read from `text` by one formatted stream extraction (leading blanks skipped, any text
// after the number ignored). When nothing can be read, and also when the number does not fit in
// T, the result is T{} (0): a failed extraction never yields a partial or clamped value. The
// stream uses the classic locale, so the result never depends on the process locale.
template <typename T>
T to(std::string const& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    if (!(in >> value))
        return T{};
    return value;
}

// Text from the system's encoding in UTF-8. The system encoding is UTF-8 on this platform, so the
// text is returned unchanged.
std::string system_to_utf8(std::string const& text);

// Whether `text` is strict UTF-8: no overlong forms, no surrogates (U+D800 to U+DFFF), nothing
// above U+10FFFF, no truncated sequence. A NUL byte is valid UTF-8 (U+0000).
bool is_utf8(std::string const& text);

// The length of the UTF-8 sequence that the lead byte `c` starts (2 to 4), or 1 for an ASCII
// byte and for a byte that cannot lead one.
std::size_t utf8_sequence_length(unsigned char c);

} // namespace string
