// Serializer: escape table, string and number text, and the explicit-stack walk over containers.
#include "json/serializer.h"

#include "json/decimal_digits.h"
#include "json/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace pocketjson {

namespace {

// For each byte, 0 to copy it or the letter written after a backslash ('u' for \u00XX).
constexpr std::array<char, 256> makeEscapeTable() {
    std::array<char, 256> table{};
    for (std::size_t c = 0; c < 0x20; ++c)
        table[c] = 'u';
    table[0x08] = 'b';
    table[0x09] = 't';
    table[0x0A] = 'n';
    table[0x0C] = 'f';
    table[0x0D] = 'r';
    table[0x22] = '"';
    table[0x5C] = '\\';
    table[0x7F] = 'u';
    return table;
}

constexpr std::array<char, 256> kEscape = makeEscapeTable();
constexpr char kHexDigits[] = "0123456789abcdef";

char const kNanOrInf[] = "Floating point is nan or inf.";

// True when one of the eight bytes needs an escape (a control byte, '"', '\\' or 0x7F).
inline bool wordNeedsEscape(std::uint64_t w) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
    constexpr std::uint64_t kHighs = 0x8080808080808080ULL;
    auto hasZero = [](std::uint64_t x) { return (x - kOnes) & ~x & kHighs; };
    std::uint64_t below20 = (w - kOnes * 0x20) & ~w & kHighs;
    return (below20 | hasZero(w ^ (kOnes * '"')) | hasZero(w ^ (kOnes * '\\')) |
            hasZero(w ^ (kOnes * 0x7F))) != 0;
}

// Collects output in blocks: the first on the stack, then heap blocks of at least kBlockBytes.
// finish() appends them to the caller's string, which is then allocated once at its final size;
// no block is copied while the output grows. Writers hold a raw cursor into the current block:
// they ask room() for a bound on what they are about to write, write through the cursor without
// further checks, and hand the cursor back with commit().
class Sink {
public:
    explicit Sink(std::string& out) : out_(out) {}
    Sink(Sink const&) = delete;
    Sink& operator=(Sink const&) = delete;

    char* cursor() const { return cursor_; }
    void commit(char* at) { cursor_ = at; }

    // A cursor equivalent to `at` with at least n writable bytes behind it: `at` itself, or the
    // start of a new block once the current one is closed at `at`.
    char* room(char* at, std::size_t n) {
        if (static_cast<std::size_t>(limit_ - at) >= n)
            return at;
        return startBlock(at, n);
    }

    // Appends everything committed so far to the caller's string.
    void finish() {
        std::size_t const last = static_cast<std::size_t>(cursor_ - block_);
        std::size_t total = last;
        for (Filled const& f : filled_)
            total += f.size;
        out_.reserve(out_.size() + total);
        for (Filled const& f : filled_)
            out_.append(f.data, f.size);
        out_.append(block_, last);
        filled_.clear();
        cursor_ = block_;
    }

private:
    static constexpr std::size_t kFirstBytes = 2048;
    static constexpr std::size_t kBlockBytes = 64 * 1024;

    struct Filled {
        char const* data;
        std::size_t size;
    };

    char* startBlock(char* at, std::size_t n) {
        std::size_t const size = std::max(kBlockBytes, n);
        std::unique_ptr<char[]> fresh(new char[size]);
        filled_.push_back(Filled{block_, static_cast<std::size_t>(at - block_)});
        block_ = fresh.get();
        owned_.push_back(std::move(fresh));
        limit_ = block_ + size;
        cursor_ = block_;
        return block_;
    }

    std::string& out_;
    char first_[kFirstBytes];
    char* block_ = first_;
    char* limit_ = first_ + kFirstBytes;
    char* cursor_ = first_;
    std::vector<Filled> filled_;
    std::vector<std::unique_ptr<char[]>> owned_;
};

// Writes the quoted, escaped text of [p, p + n); needs room for 6 * n + 2 bytes. Returns the end.
// Inlined into the walk: most texts are short keys, where a call costs about as much as the copy.
__attribute__((always_inline)) inline char* writeString(char* o, char const* p, std::size_t n) {
    char const* const end = p + n;
    *o++ = '"';
    if (n >= 8) {
        // Clean bytes are copied eight at a time. When the last eight bytes of the text are
        // clean, what is left goes as one word that overlaps bytes already copied: those were
        // copied one to one, so writing them again changes nothing.
        while (end - p >= 8) {
            std::uint64_t w;
            std::memcpy(&w, p, 8);
            if (wordNeedsEscape(w))
                break;
            std::memcpy(o, &w, 8);
            o += 8;
            p += 8;
        }
        if (end - p < 8) {
            std::uint64_t w;
            std::memcpy(&w, end - 8, 8);
            if (!wordNeedsEscape(w)) {
                std::size_t const rest = static_cast<std::size_t>(end - p);
                std::memcpy(o + rest - 8, &w, 8);
                o += rest;
                *o++ = '"';
                return o;
            }
        }
    } else if (n >= 4) {
        // Four to seven clean bytes go as two overlapping four-byte words.
        std::uint32_t head;
        std::uint32_t tail;
        std::memcpy(&head, p, 4);
        std::memcpy(&tail, end - 4, 4);
        if (!wordNeedsEscape(head | static_cast<std::uint64_t>(tail) << 32)) {
            std::memcpy(o, &head, 4);
            std::memcpy(o + n - 4, &tail, 4);
            o += n;
            *o++ = '"';
            return o;
        }
    }
    // The rest byte by byte, escaping as needed, with the word-wise copy resumed after each escape.
    while (p != end) {
        while (end - p >= 8) {
            std::uint64_t w;
            std::memcpy(&w, p, 8);
            if (wordNeedsEscape(w))
                break;
            std::memcpy(o, &w, 8);
            o += 8;
            p += 8;
        }
        while (p != end && kEscape[static_cast<unsigned char>(*p)] == 0)
            *o++ = *p++;
        if (p == end)
            break;
        unsigned char const c = static_cast<unsigned char>(*p++);
        char const letter = kEscape[c];
        *o++ = '\\';
        *o++ = letter;
        if (letter == 'u') {
            *o++ = '0';
            *o++ = '0';
            *o++ = kHexDigits[c >> 4];
            *o++ = kHexDigits[c & 15];
        }
    }
    *o++ = '"';
    return o;
}

using detail::kDigitPairs;
using detail::writeEightDigits;

// Writes n (< 10^8) without leading zeros; returns the end.
inline char* writeBelow1e8(std::uint32_t n, char* o) {
    std::size_t const len = n < 10         ? 1
                            : n < 100      ? 2
                            : n < 1000     ? 3
                            : n < 10000    ? 4
                            : n < 100000   ? 5
                            : n < 1000000  ? 6
                            : n < 10000000 ? 7
                                           : 8;
    char* p = o + len;
    while (n >= 100) {
        p -= 2;
        std::memcpy(p, kDigitPairs + 2 * (n % 100), 2);
        n /= 100;
    }
    if (n >= 10)
        std::memcpy(p - 2, kDigitPairs + 2 * n, 2);
    else
        p[-1] = static_cast<char>('0' + n);
    return o + len;
}

// Writes the decimal text of i (at most 20 bytes); returns the end.
inline char* writeInteger(char* o, std::int64_t i) {
    std::uint64_t n = static_cast<std::uint64_t>(i);
    if (i < 0) {
        *o++ = '-';
        n = 0 - n;
    }
    if (n < 100000000)
        return writeBelow1e8(static_cast<std::uint32_t>(n), o);
    if (n < 10000000000000000ULL) {
        o = writeBelow1e8(static_cast<std::uint32_t>(n / 100000000), o);
        writeEightDigits(static_cast<std::uint32_t>(n % 100000000), o);
        return o + 8;
    }
    std::uint64_t const head = n / 10000000000000000ULL; // at most 1844
    std::uint64_t const rest = n % 10000000000000000ULL;
    o = writeBelow1e8(static_cast<std::uint32_t>(head), o);
    writeEightDigits(static_cast<std::uint32_t>(rest / 100000000), o);
    writeEightDigits(static_cast<std::uint32_t>(rest % 100000000), o + 8);
    return o + 16;
}

// Room asked for before each member or element: its punctuation (quotes, colon and space, comma,
// an opening or closing bracket) and any scalar but a string (a double needs 48).
constexpr std::size_t kMemberSlack = 64;

// The parser allocates a tree in the order this walk reads it back (each container and map node
// before what it holds, members in document order), so the memory a little past the node being
// written is mostly what the walk reads next. Asking for two cache lines about 3 KiB ahead hides
// the memory latency when the tree has dropped out of the caches since it was built. The address
// is only a hint: prefetching never faults, whatever lies there.
constexpr std::uintptr_t kPrefetchDistance = 3072;

inline void prefetchAhead(void const* at) {
    std::uintptr_t const ahead = reinterpret_cast<std::uintptr_t>(at) + kPrefetchDistance;
    __builtin_prefetch(reinterpret_cast<void const*>(ahead));
    __builtin_prefetch(reinterpret_cast<void const*>(ahead + 64));
}

} // namespace

// Walks a value depth-first with an explicit stack, reading payloads directly.
template <bool kPretty>
class SerializeWalk {
public:
    SerializeWalk(std::string& out, Serializer::Attributes const& attributes, std::string* error)
        : sink_(out), attributes_(attributes), error_(error) {}

    // Writes the value; what was written reaches the caller's string also when a member fails.
    bool run(Value const& root, int level) {
        bool const ok = walk(root, level);
        sink_.finish();
        return ok;
    }

private:
    // An open container, or the value passed in, seen as the single element of an array
    // without brackets.
    struct Frame {
        Value::Object::const_iterator member;
        Value::Object::const_iterator memberEnd;
        Value const* element;
        Value const* elementEnd;
        int level; // of the container itself, for the indentation of its closing bracket
        int inner; // of its members
        bool isObject;
        bool isRoot;
    };

    enum class Step { Written, Opened, Failed };

    bool walk(Value const& root, int level) {
        char* o = sink_.cursor();
        // The innermost open container (at first the value passed in, as an array of one without
        // brackets) lives in these locals, where the compiler can keep it in registers; the stack
        // holds the containers around it.
        Value::Object::const_iterator member;
        Value::Object::const_iterator memberEnd;
        Value const* element = &root;
        Value const* elementEnd = &root + 1;
        int curLevel = level;
        int inner = level;
        bool isObject = false;
        bool isRoot = true;
        // Room for the nesting of typical answers in one allocation rather than three or four.
        std::vector<Frame> stack;
        stack.reserve(16);
        for (;;) {
            // The members of the innermost container, until one opens a container or it ends. A
            // comma follows each member that has another after it.
            Step step = Step::Written;
            Frame child;
            if (isObject) {
                while (member != memberEnd) {
                    if (kPretty)
                        o = indent(o, inner);
                    Value::Object::value_type const& m = *member;
                    prefetchAhead(&m);
                    ++member;
                    std::string const& key = m.first;
                    o = sink_.room(o, key.size() * 6 + kMemberSlack);
                    o = writeString(o, key.data(), key.size());
                    *o++ = ':';
                    if (kPretty)
                        *o++ = ' ';
                    step = open(m.second, inner, o, child);
                    if (step != Step::Written)
                        break;
                    if (member != memberEnd)
                        *o++ = ',';
                }
            } else {
                while (element != elementEnd) {
                    if (!kPretty && element->type_ == Type::Double) {
                        // A run of doubles (gamma ramps, coordinate lists) in a loop of its
                        // own: no dispatch on the type, the number writer inlined.
                        do {
                            o = sink_.room(o, kMemberSlack);
                            if (!writeDouble(o, element->payload_.number)) {
                                step = Step::Failed;
                                break;
                            }
                            if (++element == elementEnd)
                                break;
                            *o++ = ',';
                        } while (element->type_ == Type::Double);
                        if (step == Step::Failed)
                            break;
                        continue;
                    }
                    if (kPretty && !isRoot)
                        o = indent(o, inner);
                    o = sink_.room(o, kMemberSlack);
                    if (element->isContainer())
                        prefetchAhead(element->payload_.container);
                    step = open(*element++, inner, o, child);
                    if (step != Step::Written)
                        break;
                    if (element != elementEnd)
                        *o++ = ',';
                }
            }
            if (step == Step::Failed) {
                sink_.commit(o);
                return false;
            }
            if (step == Step::Opened) {
                stack.push_back(Frame{member, memberEnd, element, elementEnd, curLevel, inner,
                                      isObject, isRoot});
                member = child.member;
                memberEnd = child.memberEnd;
                element = child.element;
                elementEnd = child.elementEnd;
                curLevel = child.level;
                inner = child.inner;
                isObject = child.isObject;
                isRoot = false;
                continue;
            }
            // The innermost container has ended: its closing bracket completes the member of the
            // container around it.
            if (isRoot)
                break;
            if (kPretty)
                o = indent(o, curLevel);
            o = sink_.room(o, 2);
            *o++ = isObject ? '}' : ']';
            Frame const& outer = stack.back();
            member = outer.member;
            memberEnd = outer.memberEnd;
            element = outer.element;
            elementEnd = outer.elementEnd;
            curLevel = outer.level;
            inner = outer.inner;
            isObject = outer.isObject;
            isRoot = outer.isRoot;
            stack.pop_back();
            if (isObject ? member != memberEnd : element != elementEnd)
                *o++ = ',';
        }
        sink_.commit(o);
        return true;
    }

    // Writes `v` at `o`, which has kMemberSlack bytes of room, when it is a scalar or an empty
    // container. A non-empty container gets its opening bracket and is described in `frame`.
    __attribute__((always_inline)) Step open(Value const& v, int level, char*& o, Frame& frame) {
        switch (v.type_) {
        case Type::Null:
            std::memcpy(o, "null", 4);
            o += 4;
            return Step::Written;
        case Type::Boolean:
            if (v.payload_.boolean) {
                std::memcpy(o, "true", 4);
                o += 4;
            } else {
                std::memcpy(o, "false", 5);
                o += 5;
            }
            return Step::Written;
        case Type::Integer:
            o = writeInteger(o, v.payload_.integer);
            return Step::Written;
        case Type::Double:
            return writeDouble(o, v.payload_.number) ? Step::Written : Step::Failed;
        case Type::String: {
            std::string const& s =
                static_cast<Value::Container<std::string> const*>(v.payload_.container)->value;
            o = sink_.room(o, s.size() * 6 + kMemberSlack);
            o = writeString(o, s.data(), s.size());
            return Step::Written;
        }
        case Type::Object: {
            Value::Object const& members = v.objectRef();
            if (members.empty()) {
                std::memcpy(o, "{}", 2);
                o += 2;
                return Step::Written;
            }
            *o++ = '{';
            frame = Frame{members.begin(), members.end(),     nullptr, nullptr,
                          level,           innerLevel(level), true,    false};
            return Step::Opened;
        }
        case Type::Array: {
            Value::Array const& elements = v.arrayRef();
            if (elements.empty()) {
                std::memcpy(o, "[]", 2);
                o += 2;
                return Step::Written;
            }
            *o++ = '[';
            frame = Frame{{},
                          {},
                          elements.data(),
                          elements.data() + elements.size(),
                          level,
                          innerLevel(level),
                          false,
                          false};
            return Step::Opened;
        }
        }
        return Step::Written; // a tag outside the seven types writes nothing
    }

    // Writes the text of `d` at `o`, which has kMemberSlack bytes of room; a NaN or an infinity
    // writes nothing, sets the error text and returns false.
    __attribute__((always_inline)) bool writeDouble(char*& o, double d) {
        std::uint64_t bits;
        std::memcpy(&bits, &d, sizeof bits);
        // One test for both rare cases: with the sign shifted out, zero wraps around to the top
        // and an all-ones exponent (NaN or infinity) is at the top already.
        if (__builtin_expect((bits << 1) - 1 >= (0x7FFULL << 53) - 1, 0)) {
            if (!std::isfinite(d)) {
                if (error_)
                    *error_ = kNanOrInf;
                return false;
            }
            std::memcpy(o, "0.0", 3);
            o += 3;
            return true;
        }
        std::size_t length = detail::writeSeventeenDigits(d, o);
        if (__builtin_expect(length == 0, 0))
            length = Double::formatByLibrary(d, o); // a rounding too close to a tie to decide here
        o += length;
        return true;
    }

    // The level of a container's members: one deeper, except that a negative level (no
    // indentation) stays as it is.
    static int innerLevel(int level) { return level >= 0 ? level + 1 : level; }

    // A newline and `level` indentation units (none for a negative level), in pretty mode.
    char* indent(char* o, int level) {
        std::string const& newline = attributes_.newline;
        std::string const& unit = attributes_.indent;
        std::size_t const count = level > 0 && !unit.empty() ? static_cast<std::size_t>(level) : 0;
        o = sink_.room(o, newline.size() + unit.size() * count + kMemberSlack);
        std::memcpy(o, newline.data(), newline.size());
        o += newline.size();
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(o, unit.data(), unit.size());
            o += unit.size();
        }
        return o;
    }

    Sink sink_;
    Serializer::Attributes const& attributes_;
    std::string* error_;
};

void Serializer::indent(std::string& out, Attributes const& attributes, int const& level) {
    out += attributes.newline;
    if (attributes.indent.empty())
        return;
    for (int i = 0; i < level; ++i)
        out += attributes.indent;
}

void Serializer::serialize_string(std::string& out, std::string const& s) {
    Sink sink(out);
    sink.commit(writeString(sink.room(sink.cursor(), s.size() * 6 + 2), s.data(), s.size()));
    sink.finish();
}

bool Serializer::serialize(std::string& out, Value const& value, Attributes const& attributes,
                           int const& level, std::string* error) {
    if (attributes.pretty)
        return SerializeWalk<true>(out, attributes, error).run(value, level);
    return SerializeWalk<false>(out, attributes, error).run(value, level);
}

} // namespace pocketjson
