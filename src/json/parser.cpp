// Parser: the byte-level routines and the explicit-stack walk over nested arrays and objects.
#include "json/parser.h"

#include "json/number_text.h"

#include <cstring>
#include <iterator>
#include <tuple>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace pocketjson {

namespace {

char const kUnexpectedCharacter[] = "Unexpected character exists while parsing.";
char const kInvalidBoolean[] = "Invalid boolean type string exists.";
char const kInvalidNull[] = "Invalid null type string exists.";
char const kHandlerCancel[] = "SAX handler cancels parsing.";
char const kLeadingZero[] = "Unexpected '0' character is found while parsing number.";
char const kNoDigit[] = "Digit is not found while parsing number.";
char const kNoFractionDigit[] = "Digit is not found after the decimal point while parsing number.";
char const kNoExponentDigit[] = "Digit is not found after exponent keyword while parsing number.";
char const kBadFloat[] = "Failed to parse floating point.";
char const kUnterminatedString[] = "Expected string ending character '\"' is not found.";
char const kBadEscape[] = "Unexpected escape character is found while parsing string.";
char const kBadHex[] = "Invalid unicode hex string is found while parsing string.";
char const kBadSurrogate[] = "Invalid unicode surrogate pair is found while parsing string.";
char const kArrayComma[] = "Unexpected comma exists while parsing array.";
char const kArrayString[] = "Unexpected string exists while parsing array.";
char const kObjectComma[] = "Unexpected comma exists while parsing object.";
char const kObjectString[] = "Unexpected string exists while parsing object.";
char const kGarbage[] = "Gabage string exists after json string.";

constexpr std::size_t kInitialScratchValues = 256; // 4 KiB of element handles

} // namespace

// At most one element per two bytes of text, plus the one a text ending in a value may hold.
std::size_t scratchValuesFor(std::size_t textBytes) {
    return textBytes / 2 + 1 < kInitialScratchValues ? textBytes / 2 + 1 : kInitialScratchValues;
}

namespace {

inline bool isDigit(char c) {
    return static_cast<unsigned char>(c - '0') < 10;
}

// Reads p[0..7] as eight decimal digits into `value`; false (value unset) when one is no digit.
inline bool eightDigits(char const* p, std::uint64_t& value) {
#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
    (void)p;
    (void)value;
    return false;
#endif
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    // Each byte is 0x30..0x39 exactly when its high nibble is 3 and adding 6 keeps it so.
    if (((word & 0xF0F0F0F0F0F0F0F0ULL) |
         (((word + 0x0606060606060606ULL) & 0xF0F0F0F0F0F0F0F0ULL) >> 4)) != 0x3333333333333333ULL)
        return false;
    // Little-endian: the first digit is the lowest byte. Pairs, then quads, then the eight.
    word -= 0x3030303030303030ULL;
    word = word * 10 + (word >> 8);
    word = (((word & 0x000000FF000000FFULL) * (100 + (1000000ULL << 32))) +
            (((word >> 16) & 0x000000FF000000FFULL) * (1 + (10000ULL << 32)))) >>
           32;
    value = word;
    return true;
}

// Space, tab, line feed and carriage return: one compare and one bit test.
inline bool isBlank(char c) {
    constexpr std::uint64_t kBlanks = (1ULL << ' ') | (1ULL << '\t') | (1ULL << '\n') | (1ULL << '\r');
    auto const u = static_cast<unsigned char>(c);
    return u <= ' ' && ((kBlanks >> u) & 1) != 0;
}

// The first non-blank byte at or after p, or end. Most tokens follow no blank or a single one;
// the indentation runs of pretty-printed text are stepped over sixteen bytes at a time.
inline char const* skipBlanks(char const* p, char const* end) {
    if (p == end || !isBlank(*p))
        return p;
    ++p;
    if (p == end || !isBlank(*p))
        return p;
#if defined(__SSE2__)
    while (end - p >= 16) {
        __m128i const chunk = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
        __m128i const spaceOrTab = _mm_or_si128(_mm_cmpeq_epi8(chunk, _mm_set1_epi8(' ')),
                                                _mm_cmpeq_epi8(chunk, _mm_set1_epi8('\t')));
        __m128i const lineEnd = _mm_or_si128(_mm_cmpeq_epi8(chunk, _mm_set1_epi8('\n')),
                                             _mm_cmpeq_epi8(chunk, _mm_set1_epi8('\r')));
        auto const other =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(spaceOrTab, lineEnd))) ^ 0xFFFFu;
        if (other != 0)
            return p + __builtin_ctz(other);
        p += 16;
    }
#endif
    while (p != end && isBlank(*p))
        ++p;
    return p;
}

// Advances to the first '"' or '\\' at or after p (or to end), sixteen (or eight) bytes at a time.
inline char const* findQuoteOrBackslash(char const* p, char const* end) {
#if defined(__SSE2__)
    __m128i const quote = _mm_set1_epi8('"');
    __m128i const backslash = _mm_set1_epi8('\\');
    while (end - p >= 16) {
        __m128i const chunk = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
        auto const hit = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_or_si128(_mm_cmpeq_epi8(chunk, quote), _mm_cmpeq_epi8(chunk, backslash))));
        if (hit != 0)
            return p + __builtin_ctz(hit);
        p += 16;
    }
#endif
    constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
    constexpr std::uint64_t kHighs = 0x8080808080808080ULL;
    while (end - p >= 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        std::uint64_t q = word ^ (kOnes * '"');
        std::uint64_t b = word ^ (kOnes * '\\');
        std::uint64_t hit = ((q - kOnes) & ~q) | ((b - kOnes) & ~b);
        if (hit & kHighs)
            break;
        p += 8;
    }
    while (p != end && *p != '"' && *p != '\\')
        ++p;
    return p;
}

// Reads the digits at p, the first of them 1 to 9, up to the eighteenth, and leaves p after the
// last one read. Before each of those the accumulator is below 10^17, so they need no overflow
// guard; the guard applies from the nineteenth digit on.
inline std::uint64_t firstEighteenDigits(char const*& p, char const* end) {
    char const* const unguarded = end - p > 18 ? p + 18 : end;
    std::uint64_t acc = static_cast<unsigned>(*p - '0');
    ++p;
    std::uint64_t eight;
    while (unguarded - p >= 8 && eightDigits(p, eight)) {
        acc = acc * 100000000 + eight;
        p += 8;
    }
    while (p != unguarded && isDigit(*p)) {
        acc = acc * 10 + static_cast<unsigned>(*p - '0');
        ++p;
    }
    return acc;
}

// A plain integer (an optional '-', then 1 to 18 digits, the first not 0, and no fraction or
// exponent) at p: its end, or null for anything else, which is left to parse_number.
inline char const* plainInteger(char const* p, char const* end, std::int64_t& out) {
    bool const negative = *p == '-';
    p += negative ? 1 : 0;
    if (p == end || *p == '0' || !isDigit(*p))
        return nullptr;
    std::uint64_t const acc = firstEighteenDigits(p, end);
    if (p != end && (isDigit(*p) || *p == '.' || *p == 'e' || *p == 'E'))
        return nullptr;
    out = static_cast<std::int64_t>(negative ? 0 - acc : acc);
    return p;
}

inline void appendUtf8(std::string& out, std::uint32_t cp) {
    char buf[4];
    std::size_t n;
    if (cp < 0x80) {
        buf[0] = static_cast<char>(cp);
        n = 1;
    } else if (cp < 0x800) {
        buf[0] = static_cast<char>(0xC0 | (cp >> 6));
        buf[1] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 2;
    } else if (cp < 0x10000) {
        buf[0] = static_cast<char>(0xE0 | (cp >> 12));
        buf[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        buf[2] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 3;
    } else {
        buf[0] = static_cast<char>(0xF0 | (cp >> 18));
        buf[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        buf[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        buf[3] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 4;
    }
    out.append(buf, n);
}

} // namespace

bool Parser::fail(char const* message) {
    error_ = message;
    return false;
}

inline void Parser::storeScalar(Value& target, Value const& scalar) {
    if (target.isContainer())
        target.release();
    target.type_ = scalar.type_;
    target.payload_ = scalar.payload_;
}

inline void Parser::storeText(Value& target, char const* text, std::size_t length) {
    if (target.isContainer()) {
        target.assignText(text, length); // an unshared string is assigned in place
        return;
    }
    target.payload_.container = new Value::Container<std::string>(std::string(text, length));
    target.type_ = Type::String;
}

void Parser::skip_white_space(Iterator& it) {
    it.current = skipBlanks(it.current, it.end);
}

bool Parser::parse_hex(Iterator& it, unsigned short& out) {
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
        if (it.current == it.end)
            return fail(kBadHex);
        char c = *it.current;
        unsigned digit;
        if (c >= '0' && c <= '9')
            digit = static_cast<unsigned>(c - '0');
        else if (c >= 'a' && c <= 'f')
            digit = static_cast<unsigned>(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F')
            digit = static_cast<unsigned>(c - 'A' + 10);
        else
            return fail(kBadHex);
        value = value * 16 + digit;
        ++it.current;
    }
    out = static_cast<unsigned short>(value);
    return true;
}

bool Parser::parse_string(Iterator& it, std::string& out) {
    ++it.current; // opening quotation mark
    for (;;) {
        char const* run = it.current;
        it.current = findQuoteOrBackslash(run, it.end);
        out.append(run, static_cast<std::size_t>(it.current - run));
        if (it.current == it.end)
            return fail(kUnterminatedString);
        if (*it.current == '"') {
            ++it.current;
            return true;
        }
        ++it.current; // backslash
        if (it.current == it.end)
            return fail(kBadEscape);
        char c = *it.current++;
        switch (c) {
        case '"':
        case '\\':
        case '/':
            out += c;
            break;
        case 'b':
            out += '\b';
            break;
        case 'f':
            out += '\f';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        case 't':
            out += '\t';
            break;
        case 'u': {
            unsigned short unit = 0;
            if (!parse_hex(it, unit))
                return false;
            std::uint32_t cp = unit;
            if (unit >= 0xD800 && unit <= 0xDBFF) {
                if (it.end - it.current < 2 || it.current[0] != '\\' || it.current[1] != 'u')
                    return fail(kBadSurrogate);
                it.current += 2;
                unsigned short low = 0;
                if (!parse_hex(it, low))
                    return false;
                if (low < 0xDC00 || low > 0xDFFF)
                    return fail(kBadSurrogate);
                cp = ((static_cast<std::uint32_t>(unit) - 0xD800) << 10) + (low & 0x3FFu) + 0x10000;
            } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
                return false; // a lone low surrogate stops the parse without a message
            }
            appendUtf8(out, cp);
            break;
        }
        default:
            return fail(kBadEscape);
        }
    }
}

bool Parser::parse_number(Value* target, AbstractParseHandler* handler, Iterator& it) {
    char const* const start = it.current;
    char const* p = it.current;
    char const* const end = it.end;
    bool negative = false;
    if (p != end && *p == '-') {
        negative = true;
        ++p;
    }
    if (p == end || !isDigit(*p)) {
        it.current = p;
        return fail(kNoDigit);
    }
    // The accumulator wraps like a signed 64-bit integer; unsigned arithmetic keeps that defined.
    std::uint64_t acc = 0;
    bool overflow = false;
    if (*p == '0') {
        ++p;
        if (p != end && isDigit(*p)) {
            it.current = p;
            return fail(kLeadingZero);
        }
    } else {
        acc = firstEighteenDigits(p, end);
        for (; p != end && isDigit(*p); ++p) {
            unsigned digit = static_cast<unsigned>(*p - '0');
            if (overflow)
                continue;
            if (static_cast<std::int64_t>(acc) <= 922337203685477579LL || digit <= 7)
                acc = acc * 10 + digit;
            else
                overflow = true;
        }
    }
    bool fraction = false;
    if (p != end && *p == '.') {
        ++p;
        if (p == end || !isDigit(*p)) {
            it.current = p;
            return fail(kNoFractionDigit);
        }
        fraction = true;
        while (p != end && isDigit(*p))
            ++p;
    }
    bool exponent = false;
    std::uint32_t exponentValue = 0;
    char const* exponentMark = nullptr;
    if (p != end && (*p == 'e' || *p == 'E')) {
        exponentMark = p;
        ++p;
        if (p != end && (*p == '+' || *p == '-'))
            ++p;
        if (p == end || !isDigit(*p)) {
            it.current = p;
            return fail(kNoExponentDigit);
        }
        exponent = true;
        for (; p != end && isDigit(*p); ++p)
            exponentValue = exponentValue * 10 + static_cast<std::uint32_t>(*p - '0');
    }
    it.current = p;

    if (!fraction && !overflow && (!exponent || exponentValue == 0)) {
        std::int64_t value = static_cast<std::int64_t>(negative ? (0 - acc) : acc);
        if (target) {
            storeScalar(*target, Value(value));
            return true;
        }
        return !handler || handler->onInteger(value) || fail(kHandlerCancel);
    }
    // An exponent whose value is zero (also after wrapping) is cut off the text.
    char const* textEnd = (exponent && exponentValue == 0) ? exponentMark : p;
    double value = 0.0;
    if (!Double::parseNumberText(start, textEnd, value))
        return fail(kBadFloat);
    if (target) {
        storeScalar(*target, Value(value));
        return true;
    }
    return !handler || handler->onDouble(value) || fail(kHandlerCancel);
}

bool Parser::parseKeyword(Value* target, AbstractParseHandler* handler, Iterator& it) {
    char const first = *it.current;
    char const* rest = first == 't' ? "rue" : first == 'f' ? "alse" : "ull";
    std::size_t const restLength = first == 'f' ? 4 : 3;
    // The whole word at once when the text holds it; byte by byte (stopping at the first
    // mismatch) otherwise.
    char const* word = first == 'f' ? it.current + 1 : it.current;
    std::uint32_t expected;
    std::memcpy(&expected, first == 't' ? "true" : first == 'f' ? "alse" : "null", 4);
    std::uint32_t actual = 0;
    if (static_cast<std::size_t>(it.end - it.current) > restLength)
        std::memcpy(&actual, word, 4);
    if (actual == expected) {
        it.current += restLength + 1;
    } else {
        char const* message = first == 'n' ? kInvalidNull : kInvalidBoolean;
        ++it.current;
        for (; *rest; ++rest, ++it.current) {
            if (it.current == it.end || *it.current != *rest)
                return fail(message);
        }
    }
    if (first == 'n') {
        if (target) {
            storeScalar(*target, Value());
            return true;
        }
        return !handler || handler->onNull() || fail(kHandlerCancel);
    }
    bool const value = first == 't';
    if (target) {
        storeScalar(*target, Value(value));
        return true;
    }
    return !handler || handler->onBoolean(value) || fail(kHandlerCancel);
}

bool Parser::parseStringValue(Value* target, AbstractParseHandler* handler, Iterator& it) {
    if (target) {
        // Most strings hold no escape: take them straight from the input.
        char const* begin = it.current + 1;
        char const* stop = findQuoteOrBackslash(begin, it.end);
        if (stop != it.end && *stop == '"') {
            storeText(*target, begin, static_cast<std::size_t>(stop - begin));
            it.current = stop + 1;
            return true;
        }
    }
    text_.clear();
    if (!parse_string(it, text_))
        return false;
    if (target) {
        storeText(*target, text_.data(), text_.size());
        return true;
    }
    return !handler || handler->onString(text_) || fail(kHandlerCancel);
}

bool Parser::parseScalar(Value* target, AbstractParseHandler* handler, Iterator& it) {
    switch (*it.current) {
    case '"':
        return parseStringValue(target, handler, it);
    case 't':
    case 'f':
    case 'n':
        return parseKeyword(target, handler, it);
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
        return parse_number(target, handler, it);
    default:
        return fail(kUnexpectedCharacter);
    }
}

bool Parser::parse_value(Value* target, AbstractParseHandler* handler, Iterator& it,
                         ParseOption options) {
    skip_white_space(it);
    if (it.current == it.end)
        return fail(kUnexpectedCharacter);
    if (*it.current == '[' || *it.current == '{')
        return parseNested(target, handler, it, options);
    return parseScalar(target, handler, it);
}

bool Parser::parse_array(Value* target, AbstractParseHandler* handler, Iterator& it,
                         ParseOption options) {
    if (it.current == it.end || *it.current != '[')
        return fail(kUnexpectedCharacter);
    return parseNested(target, handler, it, options);
}

bool Parser::parse_object(Value* target, AbstractParseHandler* handler, Iterator& it,
                          ParseOption options) {
    if (it.current == it.end || *it.current != '{')
        return fail(kUnexpectedCharacter);
    return parseNested(target, handler, it, options);
}

bool Parser::parseNested(Value* target, AbstractParseHandler* handler, Iterator& it,
                         ParseOption options) {
    frames_.clear();
    values_.clear();
    // The scratch stack starts with room for a few hundred elements rather than growing through
    // every small size. With glibc this first large request also makes malloc merge the small
    // blocks a previously dropped tree left on its fast lists, so the new tree is carved from
    // contiguous memory in the order it is built instead of from those blocks in free order.
    // A short text cannot hold that many elements (each takes a byte and a separator), and for it
    // the merge costs more than the whole parse: the room is sized to what the text can hold.
    if (target)
        values_.reserve(scratchValuesFor(static_cast<std::size_t>(it.end - it.current)));
    bool ok = target ? walk<true>(target, nullptr, it, options)
                     : walk<false>(nullptr, handler, it, options);
    if (!ok && target && !frames_.empty()) {
        // The caller's container keeps the members it had completed, as an element-by-element
        // build would have left it: an object loses the member whose value was unfinished, an
        // array receives its finished elements. Inner containers hang off that unfinished member
        // or the scratch stack only, and are dropped with them.
        Frame const& root = frames_.front();
        if (root.isObject && root.memberOpen)
            static_cast<Value::Container<Value::Object>*>(root.container)->value.erase(root.member);
        closeContainer(root, root.count);
    }
    frames_.clear();
    values_.clear();
    return ok;
}

// Finishes a frame's container with its first `count` members. An object already holds them; an
// array receives its elements from the scratch stack, in a buffer of exactly that size when it was
// empty (the caller's existing array is appended to).
void Parser::closeContainer(Frame const& frame, std::uint64_t count) {
    if (!frame.isObject) {
        auto first = values_.begin() + static_cast<std::ptrdiff_t>(frame.valueBase);
        auto last = first + static_cast<std::ptrdiff_t>(count);
        Value::Array& elements =
            static_cast<Value::Container<Value::Array>*>(frame.container)->value;
        if (elements.empty()) {
            elements.assign(std::make_move_iterator(first), std::make_move_iterator(last));
        } else {
            elements.reserve(elements.size() + count);
            elements.insert(elements.end(), std::make_move_iterator(first),
                            std::make_move_iterator(last));
        }
    }
    values_.resize(frame.valueBase);
}

// The value that receives the next member of an object: a new map node under the key, so that the
// node is allocated before anything its value holds. A key the object already has keeps its first
// value; the repeated one is parsed into a scratch slot and dropped when it is finished. (Array
// elements wait on the scratch stack until the array closes and its size is known.)
Value* Parser::openMember(Frame& frame, char const* key, std::size_t keyLength) {
    Value::Object& members = static_cast<Value::Container<Value::Object>*>(frame.container)->value;
    std::size_t const before = members.size();
    auto member = members.emplace_hint(members.end(), std::piecewise_construct,
                                       std::forward_as_tuple(key, keyLength),
                                       std::forward_as_tuple());
    if (members.size() != before) {
        frame.memberOpen = true;
        frame.member = member;
        return &member->second;
    }
    values_.emplace_back();
    return &values_.back();
}

template <bool kBuild>
bool Parser::walk(Value* target, AbstractParseHandler* handler, Iterator& it, ParseOption options) {
    bool const allowTrailingComma = (options & kParseAllowTrailingComma) != 0;
    char const* keyText = nullptr; // the key of the member being read, in the input or key_
    std::size_t keyLength = 0;

    // Opens the container whose bracket is under the iterator. When building, `slot` receives it:
    // the caller's target (which keeps an existing container of the same kind) or, for nested
    // ones, a member slot that is still null.
    auto open = [&](Value* slot) -> bool {
        bool const isObject = *it.current == '{';
        Frame frame{isObject, false, 0, 0, nullptr, {}};
        if (kBuild) {
            if (frames_.empty()) {
                slot->setType(isObject ? Type::Object : Type::Array);
            } else if (isObject) {
                slot->payload_.container = new Value::Container<Value::Object>();
                slot->type_ = Type::Object;
            } else {
                slot->payload_.container = new Value::Container<Value::Array>();
                slot->type_ = Type::Array;
            }
            frame.container = slot->payload_.container;
            frame.valueBase = values_.size();
        } else if (handler && !(isObject ? handler->onStartObject() : handler->onStartArray())) {
            return fail(kHandlerCancel);
        }
        frames_.push_back(frame);
        return true;
    };

    if (!open(target))
        return false;
    for (;;) {
        // The iterator stands on the opening bracket or a comma of the innermost container.
        Frame* frame = &frames_.back();
        ++it.current;
        if (it.current == it.end) {
            // A container left open at the end of the text ends here, without its end event.
            if (frames_.size() == 1) {
                if (kBuild)
                    closeContainer(*frame, frame->count);
                frames_.pop_back();
                return true;
            }
            return fail(frames_[frames_.size() - 2].isObject ? kObjectString : kArrayString);
        }
        skip_white_space(it);
        char const closer = frame->isObject ? '}' : ']';
        bool closed = false;
        if (it.current != it.end && *it.current == closer) {
            if (frame->count > 0 && !allowTrailingComma)
                return fail(frame->isObject ? kObjectComma : kArrayComma);
            closed = true;
        } else {
            if (frame->isObject) {
                if (it.current == it.end || *it.current != '"')
                    return fail(kObjectString);
                if (kBuild) {
                    // Most keys hold no escape: the member's key is then made straight from the
                    // input; the others are decoded into key_ first.
                    char const* begin = it.current + 1;
                    char const* stop = findQuoteOrBackslash(begin, it.end);
                    if (stop != it.end && *stop == '"') {
                        keyText = begin;
                        keyLength = static_cast<std::size_t>(stop - begin);
                        it.current = stop + 1;
                    } else {
                        key_.clear();
                        if (!parse_string(it, key_))
                            return false;
                        keyText = key_.data();
                        keyLength = key_.size();
                    }
                } else {
                    text_.clear();
                    if (!parse_string(it, text_))
                        return false;
                    if (handler && !handler->onKey(text_))
                        return fail(kHandlerCancel);
                }
                skip_white_space(it);
                if (it.current == it.end || *it.current != ':')
                    return fail(kObjectString);
                ++it.current;
            }
            skip_white_space(it);
            if (it.current == it.end)
                return fail(kUnexpectedCharacter);
            Value* slot = nullptr;
            if (kBuild) {
                if (frame->isObject) {
                    slot = openMember(*frame, keyText, keyLength);
                } else {
                    values_.emplace_back();
                    slot = &values_.back();
                }
            }
            if (*it.current == '[' || *it.current == '{') {
                if (!open(slot)) // `frame` is not used after this
                    return false;
                continue;
            }
            char const first = *it.current;
            std::int64_t integer = 0;
            char const* integerEnd = nullptr;
            if (kBuild && (first == '-' || isDigit(first)) &&
                (integerEnd = plainInteger(it.current, it.end, integer)) != nullptr) {
                // Most numbers are plain integers: read here without the general routine.
                storeScalar(*slot, Value(integer));
                it.current = integerEnd;
            } else if (!parseScalar(slot, handler, it)) {
                return false;
            }
        }

        // A member is complete (or the container is empty / ends after a trailing comma). Close
        // containers as long as their closing bracket follows.
        for (;;) {
            frame = &frames_.back();
            if (!closed) {
                ++frame->count;
                if (kBuild && frame->isObject) {
                    frame->memberOpen = false;
                    if (values_.size() != frame->valueBase)
                        values_.pop_back(); // the value of a repeated key
                }
                skip_white_space(it);
                char const expected = frame->isObject ? '}' : ']';
                if (it.current == it.end || (*it.current != ',' && *it.current != expected))
                    return fail(frame->isObject ? kObjectString : kArrayString);
                if (*it.current == ',')
                    break;
            }
            if (!kBuild && handler &&
                !(frame->isObject ? handler->onEndObject(frame->count)
                                  : handler->onEndArray(frame->count)))
                return fail(kHandlerCancel);
            if (kBuild)
                closeContainer(*frame, frame->count);
            ++it.current;
            frames_.pop_back();
            if (frames_.empty())
                return true;
            closed = false;
        }
    }
}

template <typename Top>
bool Parser::parseWhole(char const* data, std::size_t size, Top&& parseTop, ParseOption options) {
    error_.clear();
    Iterator it{data, data + size};
    // Each byte of the UTF-8 byte-order mark is dropped on its own.
    if (it.current != it.end && static_cast<unsigned char>(*it.current) == 0xEF)
        ++it.current;
    if (it.current != it.end && static_cast<unsigned char>(*it.current) == 0xBB)
        ++it.current;
    if (it.current != it.end && static_cast<unsigned char>(*it.current) == 0xBF)
        ++it.current;
    if (parseTop(it) && (options & kParseAllowGarbage) == 0) {
        skip_white_space(it);
        if (it.current != it.end && *it.current != '\0')
            fail(kGarbage);
    }
    return error_.empty();
}

bool Parser::parse(char const* data, std::size_t size, Value& target, ParseOption options) {
    return parseWhole(
        data, size, [&](Iterator& it) { return parse_value(&target, nullptr, it, options); },
        options);
}

bool Parser::parse(std::string const& text, Value& target, ParseOption options) {
    return parse(text.data(), text.size(), target, options);
}

bool Parser::parse(char const* data, std::size_t size, AbstractParseHandler& handler,
                   ParseOption options) {
    return parseWhole(
        data, size, [&](Iterator& it) { return parse_value(nullptr, &handler, it, options); },
        options);
}

} // namespace pocketjson
