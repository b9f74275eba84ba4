// pocketjson::Value: the two-word JSON value handle with shared, reference-counted containers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace pocketjson {

// The type tag. Values are bit flags so that "owns a container" is one mask test.
enum class Type : std::uint32_t {
    Null = 0,
    Boolean = 1,
    Integer = 2,
    Double = 4,
    String = 0x10,
    Object = 0x20,
    Array = 0x40,
};

constexpr std::uint32_t kContainerMask = 0x70;

constexpr bool isContainerType(Type t) {
    return (static_cast<std::uint32_t>(t) & kContainerMask) != 0;
}

class Value {
public:
    using Object = std::map<std::string, Value>;
    using Array = std::vector<Value>;

    // Base of the three shared containers. The count is deliberately plain: values belong to one
    // thread at a time.
    class AbstractContainer {
    public:
        virtual ~AbstractContainer() = default;
        std::int32_t count = 1;
    };

    template <typename T>
    class Container final : public AbstractContainer {
    public:
        Container() = default;
        explicit Container(T const& v) : value(v) {}
        explicit Container(T&& v) : value(std::move(v)) {}
        T value;
    };

    Value() noexcept : type_(Type::Null) { payload_.word = 0; }
    explicit Value(Type const& type);
    Value(std::string const& text);
    Value(std::string&& text);
    Value(char const* text);
    Value(bool b) noexcept : type_(Type::Boolean) {
        payload_.word = 0;
        payload_.boolean = b;
    }
    Value(double d) noexcept : type_(Type::Double) { payload_.number = d; }
    // Every integral type but bool becomes an integer value (avoids ambiguous overloads for int).
    template <typename I,
              typename std::enable_if<std::is_integral<I>::value && !std::is_same<I, bool>::value,
                                      int>::type = 0>
    Value(I i) noexcept : type_(Type::Integer) {
        payload_.integer = static_cast<std::int64_t>(i);
    }

    Value(Value const& other) noexcept : type_(other.type_), payload_(other.payload_) {
        if (isContainer())
            ++payload_.container->count;
    }
    Value(Value&& other) noexcept : type_(other.type_), payload_(other.payload_) {
        other.type_ = Type::Null;
        other.payload_.word = 0;
    }
    Value& operator=(Value const& other) noexcept;
    Value& operator=(Value&& other) noexcept;
    Value& operator=(char const* text);
    ~Value() { release(); }

    // Shared read-only null returned by lookups that miss.
    static Value const& s_null();

    Type type() const { return type_; }
    bool isNull() const { return type_ == Type::Null; }
    bool isContainer() const { return isContainerType(type_); }

    void setType(Type const& type);
    void setString(std::string const& text);

    // Object access. The non-const form converts to an object and detaches a shared container.
    Value& operator[](std::string const& key);
    // The same, taking the key's text into a new member instead of copying it (a literal key
    // longer than the short-string buffer is then allocated once, not twice).
    Value& operator[](std::string&& key);
    Value const& operator[](std::string const& key) const;
    // Array access. The non-const form converts to an array, detaches and grows as needed.
    Value& operator[](unsigned long const& index);
    Value const& operator[](unsigned long const& index) const;

    // Appends without detaching: a shared array grows through every handle.
    void push_back(Value const& v);
    // Room for `count` elements, so that as many push_back calls allocate nothing more. A value
    // that is not an array becomes an empty one first, as push_back makes it; the elements of an
    // array are kept (and, like push_back, a shared array is not detached).
    void reserve(std::size_t count);

    std::size_t size() const;
    bool contains(std::string const& key) const;

    std::string toString(std::string const& def) const;
    unsigned int toUInt(unsigned int const& def) const;
    // Scalar reads with a fallback when the value is of another type. toInt64 accepts integers
    // and doubles with an integral value in range; toDouble accepts doubles and integers.
    bool toBool(bool def) const;
    std::int64_t toInt64(std::int64_t def) const;
    double toDouble(double def) const;

    // Read access to the payload of strings, objects and arrays; empty statics for other types.
    std::string const& stringValue() const;
    Object const& objectItems() const;
    Array const& arrayItems() const;

    // Deep equality: same types and payloads all the way down (doubles compared with ==).
    friend bool operator==(Value const& a, Value const& b);
    friend bool operator!=(Value const& a, Value const& b) { return !(a == b); }

    // Number of handles sharing this value's container (0 for scalars). For tests and diagnostics.
    std::int32_t shareCount() const { return isContainer() ? payload_.container->count : 0; }

private:
    friend class Parser;
    template <bool>
    friend class SerializeWalk;

    union Payload {
        bool boolean;
        std::int64_t integer;
        double number;
        AbstractContainer* container;
        std::uint64_t word;
    };

    void release() noexcept;
    // The object to write a member into: converted from another type, detached when shared.
    Object& objectForWrite();
    void becomeEmpty(Type t);
    std::string& stringRef() {
        return static_cast<Container<std::string>*>(payload_.container)->value;
    }
    Object& objectRef() { return static_cast<Container<Object>*>(payload_.container)->value; }
    Array& arrayRef() { return static_cast<Container<Array>*>(payload_.container)->value; }
    Object const& objectRef() const {
        return static_cast<Container<Object> const*>(payload_.container)->value;
    }
    Array const& arrayRef() const {
        return static_cast<Container<Array> const*>(payload_.container)->value;
    }
    void assignText(char const* text, std::size_t length);

    Type type_;
    Payload payload_;
};

static_assert(sizeof(Value) == 16, "a value is a two-word handle");

} // namespace pocketjson
