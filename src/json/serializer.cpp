// Serializer: escape table, string and number text, and the explicit-stack walk over containers.
#include "json/serializer.h"

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

// Collects output behind a raw cursor in blocks: the first on the stack, then heap blocks of at
// least kBlockBytes. finish() appends them to the caller's string, which is then allocated once at
// its final size; no block is copied while the output grows.
class Sink {
public:
    explicit Sink(std::string& out) : out_(out) {}
    Sink(Sink const&) = delete;
    Sink& operator=(Sink const&) = delete;

    // Room for n more bytes; returns where they go. Commit with advance().
    char* reserve(std::size_t n) {
        if (capacity_ - pos_ < n)
            startBlock(n);
        return block_ + pos_;
    }
    void advance(std::size_t n) { pos_ += n; }

    void put(char c) {
        *reserve(1) = c;
        ++pos_;
    }
    void write(char const* text, std::size_t n) {
        std::memcpy(reserve(n), text, n);
        pos_ += n;
    }
    void write(std::string const& text) { write(text.data(), text.size()); }

    // Appends everything written so far to the caller's string.
    void finish() {
        std::size_t total = pos_;
        for (Filled const& f : filled_)
            total += f.size;
        out_.reserve(out_.size() + total);
        for (Filled const& f : filled_)
            out_.append(f.data, f.size);
        out_.append(block_, pos_);
        filled_.clear();
        pos_ = 0;
    }

private:
    static constexpr std::size_t kFirstBytes = 2048;
    static constexpr std::size_t kBlockBytes = 64 * 1024;

    struct Filled {
        char const* data;
        std::size_t size;
    };

    void startBlock(std::size_t n) {
        std::size_t const size = std::max(kBlockBytes, n);
        std::unique_ptr<char[]> fresh(new char[size]);
        filled_.push_back(Filled{block_, pos_});
        block_ = fresh.get();
        owned_.push_back(std::move(fresh));
        capacity_ = size;
        pos_ = 0;
    }

    std::string& out_;
    char first_[kFirstBytes];
    char* block_ = first_;
    std::size_t capacity_ = kFirstBytes;
    std::size_t pos_ = 0;
    std::vector<Filled> filled_;
    std::vector<std::unique_ptr<char[]>> owned_;
};

void writeString(Sink& sink, char const* p, char const* end) {
    // Worst case every byte becomes a six-byte \u00XX escape.
    char* const start = sink.reserve(static_cast<std::size_t>(end - p) * 6 + 2);
    char* o = start;
    *o++ = '"';
    while (p != end) {
        // Clean bytes are copied eight at a time, then one by one up to the next escape.
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
    sink.advance(static_cast<std::size_t>(o - start));
}

constexpr char kDigitPairs[] = "00010203040506070809101112131415161718192021222324252627282930313233"
                               "34353637383940414243444546474849505152535455565758596061626364656667"
                               "6869707172737475767778798081828384858687888990919293949596979899";

// Writes n (< 10^8) without leading zeros; returns the end.
inline char* writeBelow1e8(std::uint32_t n, char* o) {
    std::size_t const len = n < 10 ? 1
                            : n < 100 ? 2
                            : n < 1000 ? 3
                            : n < 10000 ? 4
                            : n < 100000 ? 5
                            : n < 1000000 ? 6
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

// Writes exactly eight digits of n (< 10^8), with leading zeros.
inline void writeEight(std::uint32_t n, char* o) {
    std::uint32_t const high = n / 10000;
    std::uint32_t const low = n % 10000;
    std::memcpy(o, kDigitPairs + 2 * (high / 100), 2);
    std::memcpy(o + 2, kDigitPairs + 2 * (high % 100), 2);
    std::memcpy(o + 4, kDigitPairs + 2 * (low / 100), 2);
    std::memcpy(o + 6, kDigitPairs + 2 * (low % 100), 2);
}

inline void writeInteger(Sink& sink, std::int64_t i) {
    char* const start = sink.reserve(24);
    char* o = start;
    std::uint64_t n = static_cast<std::uint64_t>(i);
    if (i < 0) {
        *o++ = '-';
        n = 0 - n;
    }
    if (n < 100000000) {
        o = writeBelow1e8(static_cast<std::uint32_t>(n), o);
    } else if (n < 10000000000000000ULL) {
        o = writeBelow1e8(static_cast<std::uint32_t>(n / 100000000), o);
        writeEight(static_cast<std::uint32_t>(n % 100000000), o);
        o += 8;
    } else {
        std::uint64_t const head = n / 10000000000000000ULL; // at most 1844
        std::uint64_t const rest = n % 10000000000000000ULL;
        o = writeBelow1e8(static_cast<std::uint32_t>(head), o);
        writeEight(static_cast<std::uint32_t>(rest / 100000000), o);
        writeEight(static_cast<std::uint32_t>(rest % 100000000), o + 8);
        o += 16;
    }
    sink.advance(static_cast<std::size_t>(o - start));
}

} // namespace

// Walks a value depth-first with an explicit stack, reading payloads directly.
template <bool kPretty>
class SerializeWalk {
public:
    SerializeWalk(std::string& out, Serializer::Attributes const& attributes, std::string* error)
        : sink_(out), attributes_(attributes), error_(error) {
        stack_.reserve(32);
    }

    // Writes the value; what was written reaches the caller's string also when a member fails.
    bool run(Value const& root, int level) {
        bool const ok = walk(root, level);
        sink_.finish();
        return ok;
    }

private:
    bool walk(Value const& root, int level) {
        if (!writeValue(root, level))
            return false;
        while (!stack_.empty()) {
            Frame& f = stack_.back();
            if (f.isObject ? f.member == f.memberEnd : f.element == f.elementEnd) {
                int const outer = f.level;
                char const closer = f.isObject ? '}' : ']';
                stack_.pop_back();
                if (kPretty)
                    indent(outer);
                sink_.put(closer);
                continue;
            }
            if (!f.first)
                sink_.put(',');
            f.first = false;
            int const inner = f.level >= 0 ? f.level + 1 : f.level;
            if (kPretty)
                indent(inner);
            Value const* member;
            if (f.isObject) {
                std::string const& key = f.member->first;
                writeString(sink_, key.data(), key.data() + key.size());
                if (kPretty)
                    sink_.write(": ", 2);
                else
                    sink_.put(':');
                member = &f.member->second;
                ++f.member;
                if (f.member != f.memberEnd)
                    __builtin_prefetch(&*f.member); // the next node, while this member is written
            } else {
                member = &*f.element++;
            }
            if (!writeValue(*member, inner)) // may push; `f` is not used after this
                return false;
        }
        return true;
    }

    struct Frame {
        Value::Object::const_iterator member;
        Value::Object::const_iterator memberEnd;
        Value::Array::const_iterator element;
        Value::Array::const_iterator elementEnd;
        int level;
        bool isObject;
        bool first;
    };

    void indent(int level) {
        sink_.write(attributes_.newline);
        if (attributes_.indent.empty())
            return;
        for (int i = 0; i < level; ++i)
            sink_.write(attributes_.indent);
    }

    // Writes a scalar or an empty container whole; opens a non-empty container on the stack.
    bool writeValue(Value const& v, int level) {
        switch (v.type_) {
        case Type::Null:
            sink_.write("null", 4);
            return true;
        case Type::Boolean:
            if (v.payload_.boolean)
                sink_.write("true", 4);
            else
                sink_.write("false", 5);
            return true;
        case Type::Integer:
            writeInteger(sink_, v.payload_.integer);
            return true;
        case Type::Double: {
            double const d = v.payload_.number;
            if (!std::isfinite(d)) {
                if (error_)
                    *error_ = kNanOrInf;
                return false;
            }
            if (d == 0.0) {
                sink_.write("0.0", 3);
            } else {
                char* const start = sink_.reserve(48);
                sink_.advance(Double::formatFinite(d, start));
            }
            return true;
        }
        case Type::String: {
            std::string const& s =
                static_cast<Value::Container<std::string> const*>(v.payload_.container)->value;
            writeString(sink_, s.data(), s.data() + s.size());
            return true;
        }
        case Type::Object: {
            Value::Object const& members = v.objectRef();
            if (members.empty()) {
                sink_.write("{}", 2);
                return true;
            }
            sink_.put('{');
            stack_.push_back(Frame{members.begin(), members.end(), {}, {}, level, true, true});
            return true;
        }
        case Type::Array: {
            Value::Array const& elements = v.arrayRef();
            if (elements.empty()) {
                sink_.write("[]", 2);
                return true;
            }
            sink_.put('[');
            stack_.push_back(
                Frame{{}, {}, elements.begin(), elements.end(), level, false, true});
            return true;
        }
        }
        return true; // a tag outside the seven types writes nothing
    }

    Sink sink_;
    Serializer::Attributes const& attributes_;
    std::string* error_;
    std::vector<Frame> stack_;
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
    writeString(sink, s.data(), s.data() + s.size());
    sink.finish();
}

bool Serializer::serialize(std::string& out, Value const& value, Attributes const& attributes,
                           int const& level, std::string* error) {
    if (attributes.pretty)
        return SerializeWalk<true>(out, attributes, error).run(value, level);
    return SerializeWalk<false>(out, attributes, error).run(value, level);
}

} // namespace pocketjson
