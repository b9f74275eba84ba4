// Value: construction, sharing, copy-on-write detach, conversions and non-recursive destruction.
#include "json/value.h"

#include "json/number_text.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace pocketjson {

namespace {

using StringContainer = Value::Container<std::string>;
using ObjectContainer = Value::Container<Value::Object>;
using ArrayContainer = Value::Container<Value::Array>;

// Containers whose last reference is gone and whose children still need releasing. Destroying a
// tree this way keeps the machine stack flat whatever the nesting depth. Typical trees fit the
// inline slots; deeper ones spill to the heap.
class ReleaseQueue {
public:
    struct Item {
        Value::AbstractContainer* container;
        Type type;
    };

    bool push(Item item) noexcept {
        if (size_ < kInline) {
            inline_[size_++] = item;
            return true;
        }
        try {
            spill_.push_back(item);
        } catch (...) {
            return false;
        }
        ++size_;
        return true;
    }

    bool pop(Item& item) noexcept {
        if (size_ == 0)
            return false;
        --size_;
        if (size_ >= kInline) {
            item = spill_.back();
            spill_.pop_back();
        } else {
            item = inline_[size_];
        }
        return true;
    }

private:
    static constexpr std::size_t kInline = 32;
    Item inline_[kInline];
    std::vector<Item> spill_;
    std::size_t size_ = 0;
};

} // namespace

void Value::release() noexcept {
    if (!isContainer())
        return;
    AbstractContainer* c = payload_.container;
    Type t = type_;
    type_ = Type::Null;
    payload_.word = 0;
    if (--c->count > 0)
        return;
    if (t == Type::String) {
        delete c;
        return;
    }
    ReleaseQueue queue;
    ReleaseQueue::Item item{c, t};
    // Each child handle of a dying container is emptied here. When it held the last reference, a
    // string is freed at once and an array or object is queued. If the queue cannot grow, the
    // child is deleted directly, which recurses only in that out-of-memory corner.
    auto takeChild = [&queue](Value& child) {
        if (!child.isContainer())
            return;
        AbstractContainer* cc = child.payload_.container;
        Type ct = child.type_;
        child.type_ = Type::Null;
        child.payload_.word = 0;
        if (--cc->count > 0)
            return;
        if (ct == Type::String || !queue.push({cc, ct}))
            delete cc;
    };
    do {
        if (item.type == Type::Array) {
            for (Value& v : static_cast<ArrayContainer*>(item.container)->value)
                takeChild(v);
        } else {
            for (auto& member : static_cast<ObjectContainer*>(item.container)->value)
                takeChild(member.second);
        }
        delete item.container;
    } while (queue.pop(item));
}

void Value::becomeEmpty(Type t) {
    switch (t) {
    case Type::String:
        payload_.container = new StringContainer();
        break;
    case Type::Object:
        payload_.container = new ObjectContainer();
        break;
    case Type::Array:
        payload_.container = new ArrayContainer();
        break;
    default:
        payload_.word = 0;
        break;
    }
    type_ = t;
}

Value::Value(Type const& type) : type_(Type::Null) {
    payload_.word = 0;
    becomeEmpty(type);
}

Value::Value(std::string const& text) : type_(Type::String) {
    payload_.container = new StringContainer(text);
}

Value::Value(std::string&& text) : type_(Type::String) {
    payload_.container = new StringContainer(std::move(text));
}

Value::Value(char const* text) : type_(Type::String) {
    payload_.container = new StringContainer(std::string(text ? text : ""));
}

Value& Value::operator=(Value const& other) noexcept {
    if (this == &other)
        return *this;
    // Take the new reference before dropping the old one: `other` may live inside this value.
    if (other.isContainer())
        ++other.payload_.container->count;
    Type t = other.type_;
    Payload p = other.payload_;
    release();
    type_ = t;
    payload_ = p;
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    if (this == &other)
        return *this;
    Type t = other.type_;
    Payload p = other.payload_;
    other.type_ = Type::Null;
    other.payload_.word = 0;
    release();
    type_ = t;
    payload_ = p;
    return *this;
}

void Value::assignText(char const* text, std::size_t length) {
    if (type_ == Type::String && payload_.container->count < 2) {
        stringRef().assign(text, length);
        return;
    }
    auto* fresh = new StringContainer(std::string(text, length));
    release();
    type_ = Type::String;
    payload_.container = fresh;
}

Value& Value::operator=(char const* text) {
    if (text == nullptr)
        text = "";
    assignText(text, std::strlen(text));
    return *this;
}

void Value::setString(std::string const& text) {
    assignText(text.data(), text.size());
}

// The shared empties are never destroyed: a plug-in thread still running while the process exits
// may read them after the static destructors have run.
Value const& Value::s_null() {
    static Value const& null = *new Value();
    return null;
}

void Value::setType(Type const& type) {
    if (type == type_)
        return;
    release();
    becomeEmpty(type);
}

inline Value::Object& Value::objectForWrite() {
    if (type_ != Type::Object) {
        release();
        becomeEmpty(Type::Object);
    } else if (payload_.container->count > 1) {
        auto* copy = new ObjectContainer(objectRef());
        --payload_.container->count;
        payload_.container = copy;
    }
    return objectRef();
}

Value& Value::operator[](std::string const& key) {
    return objectForWrite().try_emplace(key).first->second;
}

Value& Value::operator[](std::string&& key) {
    return objectForWrite().try_emplace(std::move(key)).first->second;
}

Value const& Value::operator[](std::string const& key) const {
    if (type_ != Type::Object)
        return s_null();
    Object const& members = objectRef();
    auto it = members.find(key);
    return it == members.end() ? s_null() : it->second;
}

Value& Value::operator[](unsigned long const& index) {
    if (type_ != Type::Array) {
        release();
        becomeEmpty(Type::Array);
    } else if (payload_.container->count > 1) {
        auto* copy = new ArrayContainer(arrayRef());
        --payload_.container->count;
        payload_.container = copy;
    }
    Array& elements = arrayRef();
    if (index >= elements.size())
        elements.resize(index + 1);
    return elements[index];
}

Value const& Value::operator[](unsigned long const& index) const {
    if (type_ != Type::Array || index >= arrayRef().size())
        return s_null();
    return arrayRef()[index];
}

void Value::push_back(Value const& v) {
    if (&v == this)
        return;
    if (type_ != Type::Array) {
        Value keep(v); // `v` may live inside the content about to be dropped
        release();
        becomeEmpty(Type::Array);
        arrayRef().push_back(std::move(keep));
        return;
    }
    arrayRef().push_back(v);
}

void Value::reserve(std::size_t count) {
    if (type_ != Type::Array) {
        release();
        becomeEmpty(Type::Array);
    }
    arrayRef().reserve(count);
}

std::size_t Value::size() const {
    switch (type_) {
    case Type::String:
        return static_cast<StringContainer const*>(payload_.container)->value.size();
    case Type::Object:
        return objectRef().size();
    case Type::Array:
        return arrayRef().size();
    default:
        return 0;
    }
}

bool Value::contains(std::string const& key) const {
    return type_ == Type::Object && objectRef().count(key) != 0;
}

std::string Value::toString(std::string const& def) const {
    switch (type_) {
    case Type::Boolean:
        return payload_.boolean ? "true" : "false";
    case Type::Integer:
        return std::to_string(static_cast<long long>(payload_.integer));
    case Type::Double:
        return Double(payload_.number).toString();
    case Type::String:
        return static_cast<StringContainer const*>(payload_.container)->value;
    default:
        return def;
    }
}

// strtoll in base 0 over the whole text; false when the text has anything after the number.
static bool parseWholeInteger(std::string const& text, long long& out) {
    char const* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    out = std::strtoll(begin, &end, 0);
    return end == begin + text.size();
}

unsigned int Value::toUInt(unsigned int const& def) const {
    constexpr std::uint64_t kMax = 4294967295ULL;
    switch (type_) {
    case Type::Boolean:
        return payload_.boolean ? 1u : 0u;
    case Type::Integer:
        return static_cast<std::uint64_t>(payload_.integer) <= kMax
                   ? static_cast<unsigned int>(payload_.integer)
                   : def;
    case Type::Double: {
        double r = std::round(payload_.number);
        return (r >= 0.0 && r <= 4294967295.0) ? static_cast<unsigned int>(r) : def;
    }
    case Type::String: {
        long long n = 0;
        if (!parseWholeInteger(stringValue(), n))
            return def;
        return static_cast<std::uint64_t>(n) <= kMax ? static_cast<unsigned int>(n) : def;
    }
    default:
        return def;
    }
}

bool Value::toBool(bool def) const {
    return type_ == Type::Boolean ? payload_.boolean : def;
}

std::int64_t Value::toInt64(std::int64_t def) const {
    switch (type_) {
    case Type::Boolean:
        return payload_.boolean ? 1 : 0;
    case Type::Integer:
        return payload_.integer;
    case Type::Double: {
        double r = std::round(payload_.number);
        // [-2^63, 2^63): the range a signed 64-bit integer holds exactly at the ends.
        return (r >= -9223372036854775808.0 && r < 9223372036854775808.0)
                   ? static_cast<std::int64_t>(r)
                   : def;
    }
    case Type::String: {
        long long n = 0;
        if (!parseWholeInteger(stringValue(), n) || errno == ERANGE)
            return def;
        return n;
    }
    default:
        return def;
    }
}

double Value::toDouble(double def) const {
    switch (type_) {
    case Type::Boolean:
        return payload_.boolean ? 1.0 : 0.0;
    case Type::Integer:
        return static_cast<double>(payload_.integer);
    case Type::Double:
        return payload_.number;
    case Type::String: {
        bool ok = false;
        double d = Double::strToDouble(stringValue().c_str(), &ok);
        return ok && !stringValue().empty() ? d : def;
    }
    default:
        return def;
    }
}

std::string const& Value::stringValue() const {
    static std::string const& empty = *new std::string();
    return type_ == Type::String ? static_cast<StringContainer const*>(payload_.container)->value
                                 : empty;
}

Value::Object const& Value::objectItems() const {
    static Object const& empty = *new Object();
    return type_ == Type::Object ? objectRef() : empty;
}

Value::Array const& Value::arrayItems() const {
    static Array const& empty = *new Array();
    return type_ == Type::Array ? arrayRef() : empty;
}

// Compares pairs from an explicit worklist so that deep trees do not recurse.
bool operator==(Value const& a, Value const& b) {
    std::vector<std::pair<Value const*, Value const*>> work;
    work.emplace_back(&a, &b);
    while (!work.empty()) {
        Value const& x = *work.back().first;
        Value const& y = *work.back().second;
        work.pop_back();
        if (x.type_ != y.type_)
            return false;
        switch (x.type_) {
        case Type::Null:
            break;
        case Type::Boolean:
            if (x.payload_.boolean != y.payload_.boolean)
                return false;
            break;
        case Type::Integer:
            if (x.payload_.integer != y.payload_.integer)
                return false;
            break;
        case Type::Double:
            if (!(x.payload_.number == y.payload_.number))
                return false;
            break;
        case Type::String:
            if (x.stringValue() != y.stringValue())
                return false;
            break;
        case Type::Array: {
            if (x.payload_.container == y.payload_.container)
                break;
            Value::Array const& xs = x.arrayRef();
            Value::Array const& ys = y.arrayRef();
            if (xs.size() != ys.size())
                return false;
            for (std::size_t i = 0; i < xs.size(); ++i)
                work.emplace_back(&xs[i], &ys[i]);
            break;
        }
        case Type::Object: {
            if (x.payload_.container == y.payload_.container)
                break;
            Value::Object const& xs = x.objectRef();
            Value::Object const& ys = y.objectRef();
            if (xs.size() != ys.size())
                return false;
            for (auto i = xs.begin(), j = ys.begin(); i != xs.end(); ++i, ++j) {
                if (i->first != j->first)
                    return false;
                work.emplace_back(&i->second, &j->second);
            }
            break;
        }
        }
    }
    return true;
}

} // namespace pocketjson
