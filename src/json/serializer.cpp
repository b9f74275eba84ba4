// Serializer: escape table, string and number text, and the explicit-stack walk over containers.
#include "json/serializer.h"

#include "json/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
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

void writeString(std::string& out, char const* p, char const* end) {
    out += '"';
    while (p != end) {
        char const* run = p;
        while (end - p >= 8) {
            std::uint64_t w;
            std::memcpy(&w, p, 8);
            if (wordNeedsEscape(w))
                break;
            p += 8;
        }
        while (p != end && kEscape[static_cast<unsigned char>(*p)] == 0)
            ++p;
        out.append(run, static_cast<std::size_t>(p - run));
        if (p == end)
            break;
        unsigned char const c = static_cast<unsigned char>(*p++);
        char const letter = kEscape[c];
        if (letter == 'u') {
            char const esc[6] = {'\\', 'u', '0', '0', kHexDigits[c >> 4], kHexDigits[c & 15]};
            out.append(esc, 6);
        } else {
            char const esc[2] = {'\\', letter};
            out.append(esc, 2);
        }
    }
    out += '"';
}

inline void writeInteger(std::string& out, std::int64_t i) {
    char buf[24];
    auto result = std::to_chars(buf, buf + sizeof buf, i);
    out.append(buf, static_cast<std::size_t>(result.ptr - buf));
}

template <bool kPretty>
class Writer {
public:
    Writer(std::string& out, Serializer::Attributes const& attributes, std::string* error)
        : out_(out), attributes_(attributes), error_(error) {}

    bool run(Value const& root, int level) {
        if (!writeValue(root, level))
            return false;
        while (!stack_.empty()) {
            Frame& f = stack_.back();
            bool const isObject = f.value->type() == Type::Object;
            bool const more = isObject ? f.member != f.value->objectItems().end()
                                       : f.index < f.value->arrayItems().size();
            if (!more) {
                int const outer = f.level;
                char const closer = isObject ? '}' : ']';
                stack_.pop_back();
                if (kPretty)
                    Serializer::indent(out_, attributes_, outer);
                out_ += closer;
                continue;
            }
            if (!f.first)
                out_ += ',';
            f.first = false;
            int const inner = f.level >= 0 ? f.level + 1 : f.level;
            if (kPretty)
                Serializer::indent(out_, attributes_, inner);
            Value const* member;
            if (isObject) {
                writeString(out_, f.member->first.data(),
                            f.member->first.data() + f.member->first.size());
                out_ += ':';
                if (kPretty)
                    out_ += ' ';
                member = &f.member->second;
                ++f.member;
            } else {
                member = &f.value->arrayItems()[f.index++];
            }
            if (!writeValue(*member, inner)) // may push; `f` is not used after this
                return false;
        }
        return true;
    }

private:
    struct Frame {
        Value const* value;
        Value::Object::const_iterator member;
        std::size_t index;
        int level;
        bool first;
    };

    // Writes a scalar or an empty container whole; opens a non-empty container on the stack.
    bool writeValue(Value const& v, int level) {
        switch (v.type()) {
        case Type::Null:
            out_ += "null";
            return true;
        case Type::Boolean:
            if (v.toBool(false))
                out_ += "true";
            else
                out_ += "false";
            return true;
        case Type::Integer:
            writeInteger(out_, v.toInt64(0));
            return true;
        case Type::Double: {
            double const d = v.toDouble(0.0);
            if (!std::isfinite(d)) {
                if (error_)
                    *error_ = kNanOrInf;
                return false;
            }
            if (d == 0.0) {
                out_ += "0.0";
            } else {
                char buf[32];
                out_.append(buf, Double::formatFinite(d, buf));
            }
            return true;
        }
        case Type::String: {
            std::string const& s = v.stringValue();
            writeString(out_, s.data(), s.data() + s.size());
            return true;
        }
        case Type::Object:
            if (v.objectItems().empty()) {
                out_ += "{}";
                return true;
            }
            out_ += '{';
            stack_.push_back(Frame{&v, v.objectItems().begin(), 0, level, true});
            return true;
        case Type::Array:
            if (v.arrayItems().empty()) {
                out_ += "[]";
                return true;
            }
            out_ += '[';
            stack_.push_back(Frame{&v, {}, 0, level, true});
            return true;
        }
        return true; // a tag outside the seven types writes nothing
    }

    std::string& out_;
    Serializer::Attributes const& attributes_;
    std::string* error_;
    std::vector<Frame> stack_;
};

} // namespace

void Serializer::indent(std::string& out, Attributes const& attributes, int const& level) {
    out += attributes.newline;
    if (attributes.indent.empty())
        return;
    for (int i = 0; i < level; ++i)
        out += attributes.indent;
}

void Serializer::serialize_string(std::string& out, std::string const& s) {
    writeString(out, s.data(), s.data() + s.size());
}

bool Serializer::serialize(std::string& out, Value const& value, Attributes const& attributes,
                           int const& level, std::string* error) {
    if (attributes.pretty)
        return Writer<true>(out, attributes, error).run(value, level);
    return Writer<false>(out, attributes, error).run(value, level);
}

} // namespace pocketjson
