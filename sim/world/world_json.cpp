// The world's JSON form: reading with checks that name the bad member's path, and writing.
#include "sim/world/world_json.h"

#include "json/pocketjson.h"

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>

namespace sim {
namespace json {

using pocketjson::Type;
using pocketjson::Value;

namespace {

[[noreturn]] void fail(std::string const& path, std::string const& what) {
    throw BadWorld(path + ": " + what);
}

// Byte-wise check: well-formed UTF-8 without NUL (the libraries hand out C strings).
void checkText(std::string const& text, std::string const& path) {
    std::size_t i = 0;
    while (i < text.size()) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c == 0)
            fail(path, "must not contain NUL");
        std::size_t extra = 0;
        std::uint32_t codePoint = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            codePoint = c & 0x1Fu;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            codePoint = c & 0x0Fu;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            codePoint = c & 0x07u;
        } else {
            fail(path, "must be valid UTF-8");
        }
        if (i + extra >= text.size())
            fail(path, "must be valid UTF-8");
        for (std::size_t k = 1; k <= extra; ++k) {
            auto const next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0u) != 0x80u)
                fail(path, "must be valid UTF-8");
            codePoint = (codePoint << 6) | (next & 0x3Fu);
        }
        bool const overlong =
            (extra == 2 && codePoint < 0x800) || (extra == 3 && codePoint < 0x10000);
        if (overlong || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            fail(path, "must be valid UTF-8");
        i += extra + 1;
    }
}

// One JSON object being read: checks its members against the schema's names, reads them with
// defaults. A member whose value is null counts as absent.
class Obj {
public:
    Obj(Value const& value, std::string path, std::initializer_list<char const*> members)
        : value_(value), path_(std::move(path)) {
        if (value.type() != Type::Object)
            fail(path_, "must be an object");
        for (auto const& member : value.objectItems()) {
            bool known = false;
            for (char const* name : members)
                known = known || member.first == name;
            if (!known)
                fail(at(member.first), "unknown member");
        }
    }

    std::string const& path() const { return path_; }
    std::string at(std::string const& key) const { return path_ + "." + key; }

    bool has(char const* key) const { return !value_[key].isNull(); }
    Value const& operator[](char const* key) const { return value_[key]; }

    std::string text(char const* key, std::string const& def, std::size_t minBytes = 0,
                     std::size_t maxBytes = std::numeric_limits<std::size_t>::max()) const {
        if (!has(key)) {
            if (minBytes > 0)
                fail(at(key), "is required");
            return def;
        }
        Value const& v = value_[key];
        if (v.type() != Type::String)
            fail(at(key), "must be a string");
        std::string const& s = v.stringValue();
        checkText(s, at(key));
        if (s.size() < minBytes || s.size() > maxBytes) {
            if (maxBytes == std::numeric_limits<std::size_t>::max())
                fail(at(key), "must not be empty");
            fail(at(key), "must be a string of " + std::to_string(minBytes) + " to " +
                              std::to_string(maxBytes) + " bytes");
        }
        return s;
    }

    bool flag(char const* key, bool def) const {
        if (!has(key))
            return def;
        if (value_[key].type() != Type::Boolean)
            fail(at(key), "must be true or false");
        return value_[key].toBool(def);
    }

    // Integers in [min, max]; `hexText` also accepts a string "0x..." (USB ids).
    template <typename I>
    I integer(char const* key, I def, std::int64_t min, std::int64_t max, bool required = false,
              bool hexText = false) const {
        if (!has(key)) {
            if (required)
                fail(at(key), "is required");
            return def;
        }
        Value const& v = value_[key];
        std::int64_t n = 0;
        if (v.type() == Type::Integer) {
            n = v.toInt64(0);
        } else if (hexText && v.type() == Type::String) {
            std::string const& s = v.stringValue();
            bool ok = s.size() > 2 && s.size() <= 6 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
            for (std::size_t i = 2; ok && i < s.size(); ++i) {
                char const c = s[i];
                int digit = -1;
                if (c >= '0' && c <= '9')
                    digit = c - '0';
                else if (c >= 'a' && c <= 'f')
                    digit = c - 'a' + 10;
                else if (c >= 'A' && c <= 'F')
                    digit = c - 'A' + 10;
                ok = digit >= 0;
                n = n * 16 + digit;
            }
            if (!ok)
                fail(at(key), "must be an integer or a hexadecimal string \"0x...\"");
        } else {
            fail(at(key), hexText ? "must be an integer or a hexadecimal string \"0x...\""
                                  : "must be an integer");
        }
        if (n < min || n > max)
            fail(at(key), "must be between " + std::to_string(min) + " and " + std::to_string(max));
        return static_cast<I>(n);
    }

    template <typename I>
    I usbId(char const* key, I def) const {
        return integer<I>(key, def, 0, 0xFFFF, false, true);
    }

    double number(char const* key, double def, double min = -std::numeric_limits<double>::max(),
                  char const* rangeText = nullptr) const {
        if (!has(key))
            return def;
        Value const& v = value_[key];
        if (v.type() != Type::Integer && v.type() != Type::Double)
            fail(at(key), "must be a number");
        double const d = v.toDouble(def);
        if (!std::isfinite(d))
            fail(at(key), "must be a finite number");
        if (d < min)
            fail(at(key), rangeText != nullptr ? rangeText : "is out of range");
        return d;
    }

private:
    Value const& value_;
    std::string path_;
};

// Calls read(item, path) for each element of the array member `key` (absent: none).
template <typename F>
void eachItem(Obj const& obj, char const* key, F&& read) {
    if (!obj.has(key))
        return;
    Value const& array = obj[key];
    if (array.type() != Type::Array)
        fail(obj.at(key), "must be an array");
    auto const& items = array.arrayItems();
    for (std::size_t i = 0; i < items.size(); ++i)
        read(items[i], obj.at(key) + "[" + std::to_string(i) + "]");
}

std::vector<std::string> textList(Obj const& obj, char const* key, bool nonEmpty) {
    std::vector<std::string> out;
    eachItem(obj, key, [&](Value const& item, std::string const& path) {
        if (item.type() != Type::String)
            fail(path, "must be a string");
        checkText(item.stringValue(), path);
        if (nonEmpty && item.stringValue().empty())
            fail(path, "must not be empty");
        out.push_back(item.stringValue());
    });
    return out;
}

constexpr std::int64_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kUInt32Max = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

Size readSize(Value const& v, std::string const& path) {
    Obj const o(v, path, {"width", "height"});
    Size s;
    s.width = o.integer<std::int32_t>("width", 0, 0, kInt32Max);
    s.height = o.integer<std::int32_t>("height", 0, 0, kInt32Max);
    return s;
}

Factors readFactors(Value const& v, std::string const& path) {
    Obj const o(v, path, {"x", "y"});
    Factors f;
    f.x = o.number("x", 1.0, std::numeric_limits<double>::min(), "must be greater than 0");
    f.y = o.number("y", 1.0, std::numeric_limits<double>::min(), "must be greater than 0");
    return f;
}

Chromaticity readChromaticity(Value const& v, std::string const& path) {
    Obj const o(v, path, {"x", "y"});
    Chromaticity c;
    c.x = o.number("x", 0.0);
    c.y = o.number("y", 0.0);
    return c;
}

Edid readEdid(Value const& v, std::string const& path) {
    Obj const o(v, path,
                {"isOvakMonitor", "manufacturer", "productName", "serialNumber",
                 "preferredResolution", "chromaticity", "manufactureYear"});
    Edid e;
    e.isOvakMonitor = o.flag("isOvakMonitor", false);
    e.manufacturer = o.text("manufacturer", "");
    e.productName = o.text("productName", "");
    e.serialNumber = o.text("serialNumber", "");
    if (o.has("preferredResolution"))
        e.preferredResolution = readSize(o["preferredResolution"], o.at("preferredResolution"));
    if (o.has("chromaticity")) {
        Obj const c(o["chromaticity"], o.at("chromaticity"), {"red", "green", "blue", "white"});
        if (c.has("red"))
            e.red = readChromaticity(c["red"], c.at("red"));
        if (c.has("green"))
            e.green = readChromaticity(c["green"], c.at("green"));
        if (c.has("blue"))
            e.blue = readChromaticity(c["blue"], c.at("blue"));
        if (c.has("white"))
            e.white = readChromaticity(c["white"], c.at("white"));
    }
    if (o.has("manufactureYear")) {
        Obj const y(o["manufactureYear"], o.at("manufactureYear"), {"isModelYear", "year", "week"});
        ManufactureYear m;
        m.isModelYear = y.flag("isModelYear", false);
        m.year = y.integer<std::int32_t>("year", 0, 0, 9999);
        m.week = y.integer<std::int32_t>("week", 0, 0, 54);
        e.manufactureYear = m;
    }
    return e;
}

GammaRamps readGamma(Value const& v, std::string const& path) {
    Obj const o(v, path, {"red", "green", "blue"});
    GammaRamps ramps = GammaRamps::linear();
    auto readRamp = [&](char const* key, GammaRamp& ramp) {
        if (!o.has(key))
            return;
        Value const& array = o[key];
        if (array.type() != Type::Array || array.size() != ramp.size())
            fail(o.at(key), "must be an array of 256 numbers");
        for (std::size_t i = 0; i < ramp.size(); ++i) {
            Value const& entry = array.arrayItems()[i];
            std::string const entryPath = o.at(key) + "[" + std::to_string(i) + "]";
            if (entry.type() != Type::Integer && entry.type() != Type::Double)
                fail(entryPath, "must be a number");
            ramp[i] = entry.toDouble(0.0);
            if (!std::isfinite(ramp[i]))
                fail(entryPath, "must be a finite number");
        }
    };
    readRamp("red", ramps.red);
    readRamp("green", ramps.green);
    readRamp("blue", ramps.blue);
    return ramps;
}

} // namespace

Screen readScreen(Value const& v, std::string const& path) {
    Obj const o(v, path,
                {"id", "bounds", "colorDepth", "refreshRate", "rotation", "scale", "renderingSize",
                 "primary", "mirroring", "supportsProfile", "supportsGraphicsCardGamma",
                 "pixelRatio", "edid", "profile", "gamma", "graphicsAdapter"});
    Screen s;
    s.id = o.text("id", "", 1);
    if (o.has("bounds")) {
        Obj const b(o["bounds"], o.at("bounds"), {"x", "y", "width", "height"});
        s.bounds.x = b.integer<std::int32_t>("x", 0, kInt32Min, kInt32Max);
        s.bounds.y = b.integer<std::int32_t>("y", 0, kInt32Min, kInt32Max);
        s.bounds.width = b.integer<std::int32_t>("width", 0, 0, kInt32Max);
        s.bounds.height = b.integer<std::int32_t>("height", 0, 0, kInt32Max);
    }
    s.colorDepth = o.integer<std::int32_t>("colorDepth", 24, 0, 64);
    s.refreshRate = o.number("refreshRate", 60.0, 0.0, "must not be negative");
    s.rotation = o.integer<std::int32_t>("rotation", 0, 0, 270);
    if (s.rotation % 90 != 0)
        fail(o.at("rotation"), "must be 0, 90, 180 or 270");
    if (o.has("scale"))
        s.scale = readFactors(o["scale"], o.at("scale"));
    s.renderingSize = Size{s.bounds.width, s.bounds.height};
    if (o.has("renderingSize"))
        s.renderingSize = readSize(o["renderingSize"], o.at("renderingSize"));
    s.primary = o.flag("primary", false);
    s.mirroring = o.flag("mirroring", false);
    s.supportsProfile = o.flag("supportsProfile", true);
    s.supportsGraphicsCardGamma = o.flag("supportsGraphicsCardGamma", true);
    if (o.has("pixelRatio"))
        s.pixelRatio = readFactors(o["pixelRatio"], o.at("pixelRatio"));
    if (o.has("edid"))
        s.edid = readEdid(o["edid"], o.at("edid"));
    s.profile = o.text("profile", "");
    if (o.has("gamma"))
        s.gamma = readGamma(o["gamma"], o.at("gamma"));
    s.graphicsAdapter = o.text("graphicsAdapter", "");
    return s;
}

Monitor readMonitor(Value const& v, std::string const& path) {
    Obj const o(v, path, {"serial", "product", "productId", "bcdDevice", "sensor", "attached"});
    Monitor m;
    m.serial = o.text("serial", "", 1, 8);
    m.product = o.text("product", "", 1, 16);
    m.productId = o.usbId<std::uint16_t>("productId", m.productId);
    m.bcdDevice = o.usbId<std::uint16_t>("bcdDevice", m.bcdDevice);
    if (o.has("sensor")) {
        Obj const s(o["sensor"], o.at("sensor"), {"deviceId", "individualId"});
        BuiltInSensor b;
        b.deviceId = s.integer<std::uint32_t>("deviceId", 0, 0, kUInt32Max, true);
        b.individualId = s.integer<std::uint64_t>("individualId", 0, 0, kInt64Max);
        m.sensor = b;
    }
    m.attached = o.flag("attached", true);
    return m;
}

Sensor readSensor(Value const& v, std::string const& path) {
    Obj const o(
        v, path,
        {"deviceId", "individualId", "name", "vendorId", "productId", "bcdDevice", "attached"});
    Sensor s;
    s.deviceId = o.integer<std::uint32_t>("deviceId", 0, 0, kUInt32Max, true);
    s.individualId = o.integer<std::uint64_t>("individualId", 0, 0, kInt64Max);
    s.name = o.text("name", s.name);
    s.vendorId = o.usbId<std::uint16_t>("vendorId", s.vendorId);
    s.productId = o.usbId<std::uint16_t>("productId", s.productId);
    s.bcdDevice = o.usbId<std::uint16_t>("bcdDevice", s.bcdDevice);
    s.attached = o.flag("attached", true);
    return s;
}

SerialSensor readSerialSensor(Value const& v, std::string const& path) {
    Obj const o(v, path, {"deviceId", "name", "vendorId", "productId", "bcdDevice", "attached"});
    SerialSensor s;
    s.deviceId = o.integer<std::uint32_t>("deviceId", 0, 0, kUInt32Max, true);
    s.name = o.text("name", s.name);
    s.vendorId = o.usbId<std::uint16_t>("vendorId", s.vendorId);
    s.productId = o.usbId<std::uint16_t>("productId", s.productId);
    s.bcdDevice = o.usbId<std::uint16_t>("bcdDevice", s.bcdDevice);
    s.attached = o.flag("attached", true);
    return s;
}

LightingDevice readLightingDevice(Value const& v, std::string const& path) {
    Obj const o(v, path, {"product", "serial", "productId", "bcdDevice", "status", "attached"});
    LightingDevice d;
    d.product = o.text("product", "", 1);
    d.serial = o.text("serial", "", 1);
    d.productId = o.usbId<std::uint16_t>("productId", d.productId);
    d.bcdDevice = o.usbId<std::uint16_t>("bcdDevice", d.bcdDevice);
    if (o.has("status")) {
        Obj const s(o["status"], o.at("status"), {"retrieve", "product", "serial"});
        d.status.retrieve = s.integer<std::int32_t>("retrieve", 0, kInt32Min, kInt32Max);
        auto readString = [&](char const* key, StringStatus& out) {
            if (!s.has(key))
                return;
            Obj const t(s[key], s.at(key), {"fixedData", "featureArray"});
            out.fixedData = t.integer<std::int32_t>("fixedData", 0, kInt32Min, kInt32Max);
            out.featureArray = t.integer<std::int32_t>("featureArray", 0, kInt32Min, kInt32Max);
        };
        readString("product", d.status.product);
        readString("serial", d.status.serial);
    }
    d.attached = o.flag("attached", true);
    return d;
}

namespace {

System readSystem(Value const& v, std::string const& path) {
    Obj const o(v, path,
                {"os", "locale", "timeZone", "cpu", "memory", "pc", "ipAddresses",
                 "graphicsAdapters", "processes", "usbDevices", "applications", "windows",
                 "kernelExtensions", "printers", "userName", "domainName"});
    System s;
    if (o.has("os")) {
        Obj const os(o["os"], o.at("os"),
                     {"name", "shortName", "kernelVersion", "buildNumber", "architecture"});
        s.os.name = os.text("name", "");
        s.os.shortName = os.text("shortName", "");
        s.os.kernelVersion = os.text("kernelVersion", "");
        s.os.buildNumber = os.text("buildNumber", "");
        s.os.architecture = os.text("architecture", "");
    }
    if (o.has("locale")) {
        Obj const l(o["locale"], o.at("locale"),
                    {"name", "languages", "decimalSeparator", "thousandSeparator", "country"});
        s.locale.name = l.text("name", "");
        s.locale.languages = textList(l, "languages", false);
        s.locale.decimalSeparator = l.text("decimalSeparator", "");
        s.locale.thousandSeparator = l.text("thousandSeparator", "");
        s.locale.country = l.text("country", "");
    }
    if (o.has("timeZone")) {
        Obj const t(o["timeZone"], o.at("timeZone"), {"name", "offset"});
        s.timeZone.name = t.text("name", "");
        s.timeZone.offset = t.integer<std::int32_t>("offset", 0, -24 * 60, 24 * 60);
    }
    if (o.has("cpu")) {
        Obj const c(o["cpu"], o.at("cpu"), {"name", "architecture"});
        s.cpu.name = c.text("name", "");
        s.cpu.architecture = c.text("architecture", "");
    }
    if (o.has("memory")) {
        Obj const m(o["memory"], o.at("memory"), {"total", "available", "usage"});
        s.memory.total = m.integer<std::uint32_t>("total", 0, 0, kUInt32Max);
        s.memory.available = m.integer<std::uint32_t>("available", 0, 0, kUInt32Max);
        s.memory.usage = m.number("usage", 0.0, 0.0, "must not be negative");
    }
    if (o.has("pc")) {
        Obj const p(o["pc"], o.at("pc"), {"name", "model", "vendor", "serialNumber"});
        s.pc.name = p.text("name", "");
        s.pc.model = p.text("model", "");
        s.pc.vendor = p.text("vendor", "");
        s.pc.serialNumber = p.text("serialNumber", "");
    }
    if (o.has("ipAddresses")) {
        Obj const ip(o["ipAddresses"], o.at("ipAddresses"), {"ipv4", "ipv6"});
        s.ipv4 = textList(ip, "ipv4", true);
        s.ipv6 = textList(ip, "ipv6", true);
    }
    std::set<std::string> adapterIds;
    eachItem(o, "graphicsAdapters", [&](Value const& item, std::string const& itemPath) {
        Obj const g(
            item, itemPath,
            {"id", "name", "vendor", "driverName", "driverVersion", "vram", "deviceLocationId"});
        GraphicsAdapter a;
        a.id = g.text("id", "", 1);
        if (!adapterIds.insert(a.id).second)
            fail(g.at("id"), "\"" + a.id + "\" is used twice");
        a.name = g.text("name", "");
        a.vendor = g.text("vendor", "");
        a.driverName = g.text("driverName", "");
        a.driverVersion = g.text("driverVersion", "");
        a.vram = g.integer<std::uint64_t>("vram", 0, 0, kInt64Max);
        a.deviceLocationId = g.integer<std::uint32_t>("deviceLocationId", 0, 0, kUInt32Max);
        s.graphicsAdapters.push_back(a);
    });
    eachItem(o, "processes", [&](Value const& item, std::string const& itemPath) {
        Obj const p(item, itemPath, {"name", "pid", "command"});
        s.processes.push_back(Process{p.text("name", ""),
                                      p.integer<std::int32_t>("pid", 0, 0, kInt32Max),
                                      p.text("command", "")});
    });
    eachItem(o, "usbDevices", [&](Value const& item, std::string const& itemPath) {
        Obj const u(item, itemPath, {"name", "vendorId", "productId", "bcdDevice"});
        UsbDevice d;
        d.name = u.text("name", "");
        d.vendorId = u.usbId<std::uint16_t>("vendorId", 0);
        d.productId = u.usbId<std::uint16_t>("productId", 0);
        d.bcdDevice = u.usbId<std::uint16_t>("bcdDevice", 0);
        s.usbDevices.push_back(d);
    });
    eachItem(o, "applications", [&](Value const& item, std::string const& itemPath) {
        Obj const a(item, itemPath, {"name"});
        s.applications.push_back(Application{a.text("name", "")});
    });
    eachItem(o, "windows", [&](Value const& item, std::string const& itemPath) {
        Obj const w(item, itemPath,
                    {"title", "processName", "localizedName", "active", "className"});
        s.windows.push_back(Window{w.text("title", ""), w.text("processName", ""),
                                   w.text("localizedName", ""), w.flag("active", false),
                                   w.text("className", "")});
    });
    eachItem(o, "kernelExtensions", [&](Value const& item, std::string const& itemPath) {
        Obj const k(item, itemPath, {"name", "version"});
        s.kernelExtensions.push_back(KernelExtension{k.text("name", ""), k.text("version", "")});
    });
    eachItem(o, "printers", [&](Value const& item, std::string const& itemPath) {
        Obj const p(item, itemPath, {"name", "driverName", "driverVersion", "isDefault"});
        s.printers.push_back(Printer{p.text("name", ""), p.text("driverName", ""),
                                     p.text("driverVersion", ""), p.flag("isDefault", false)});
    });
    s.userName = o.text("userName", "");
    s.domainName = o.text("domainName", "");
    return s;
}

template <typename T, typename Key>
void requireUnique(std::vector<T> const& items, std::string const& collection, char const* member,
                   Key key) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (key(items[i]) == key(items[j]))
                fail("$." + collection + "[" + std::to_string(i) + "]." + member,
                     "\"" + key(items[i]) + "\" is used twice");
        }
    }
}

} // namespace

void readWorld(Value const& document, WorldData& out) {
    Obj const o(document, "$",
                {"screens", "monitors", "sensors", "serialSensors", "lightingDevices", "system",
                 "display"});
    WorldData w;
    eachItem(o, "screens", [&](Value const& item, std::string const& path) {
        w.screens.push_back(readScreen(item, path));
    });
    eachItem(o, "monitors", [&](Value const& item, std::string const& path) {
        w.monitors.push_back(readMonitor(item, path));
    });
    eachItem(o, "sensors", [&](Value const& item, std::string const& path) {
        w.sensors.push_back(readSensor(item, path));
    });
    eachItem(o, "serialSensors", [&](Value const& item, std::string const& path) {
        w.serialSensors.push_back(readSerialSensor(item, path));
    });
    eachItem(o, "lightingDevices", [&](Value const& item, std::string const& path) {
        w.lightingDevices.push_back(readLightingDevice(item, path));
    });
    if (o.has("system"))
        w.system = readSystem(o["system"], o.at("system"));
    if (o.has("display")) {
        Obj const d(o["display"], o.at("display"), {"randrEventBase"});
        w.display.randrEventBase = d.integer<std::int32_t>("randrEventBase", 89, 0, 254);
    }

    requireUnique(w.screens, "screens", "id", [](Screen const& s) { return s.id; });
    requireUnique(w.monitors, "monitors", "serial", [](Monitor const& m) { return m.serial; });
    requireUnique(w.lightingDevices, "lightingDevices", "serial",
                  [](LightingDevice const& d) { return d.serial; });
    requireUnique(w.serialSensors, "serialSensors", "deviceId",
                  [](SerialSensor const& s) { return std::to_string(s.deviceId); });
    // Sensor device ids are one name space: USB sensors and monitors' built-in sensors.
    std::set<std::uint32_t> sensorIds;
    for (std::size_t i = 0; i < w.monitors.size(); ++i) {
        if (w.monitors[i].sensor && !sensorIds.insert(w.monitors[i].sensor->deviceId).second)
            fail("$.monitors[" + std::to_string(i) + "].sensor.deviceId",
                 std::to_string(w.monitors[i].sensor->deviceId) + " is used twice");
    }
    for (std::size_t i = 0; i < w.sensors.size(); ++i) {
        if (!sensorIds.insert(w.sensors[i].deviceId).second)
            fail("$.sensors[" + std::to_string(i) + "].deviceId",
                 std::to_string(w.sensors[i].deviceId) + " is used twice");
    }
    for (std::size_t i = 0; i < w.screens.size(); ++i) {
        std::string const& adapter = w.screens[i].graphicsAdapter;
        if (!adapter.empty() && w.findGraphicsAdapter(adapter) == nullptr)
            fail("$.screens[" + std::to_string(i) + "].graphicsAdapter",
                 "\"" + adapter + "\" names no entry of $.system.graphicsAdapters");
    }
    out = std::move(w);
}

// ---- Writing ---------------------------------------------------------------------------------

namespace {

Value hex16(std::uint16_t n) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(n));
    return Value(text);
}

Value sizeValue(Size const& s) {
    Value v(Type::Object);
    v["width"] = s.width;
    v["height"] = s.height;
    return v;
}

Value factorsValue(Factors const& f) {
    Value v(Type::Object);
    v["x"] = f.x;
    v["y"] = f.y;
    return v;
}

Value chromaticityValue(Chromaticity const& c) {
    Value v(Type::Object);
    v["x"] = c.x;
    v["y"] = c.y;
    return v;
}

// A JSON array of each item of `list` as `each` writes it.
template <typename List, typename Each>
Value arrayOf(List const& list, Each each) {
    Value v(Type::Array);
    for (auto const& item : list)
        v.push_back(each(item));
    return v;
}

Value rampValue(GammaRamp const& ramp) {
    return arrayOf(ramp, [](double d) { return Value(d); });
}

Value textArray(std::vector<std::string> const& list) {
    return arrayOf(list, [](std::string const& text) { return Value(text); });
}

Value systemValue(System const& s) {
    Value v(Type::Object);
    Value& os = v["os"];
    os["name"] = s.os.name;
    os["shortName"] = s.os.shortName;
    os["kernelVersion"] = s.os.kernelVersion;
    os["buildNumber"] = s.os.buildNumber;
    os["architecture"] = s.os.architecture;
    Value& locale = v["locale"];
    locale["name"] = s.locale.name;
    locale["languages"] = textArray(s.locale.languages);
    locale["decimalSeparator"] = s.locale.decimalSeparator;
    locale["thousandSeparator"] = s.locale.thousandSeparator;
    locale["country"] = s.locale.country;
    v["timeZone"]["name"] = s.timeZone.name;
    v["timeZone"]["offset"] = s.timeZone.offset;
    v["cpu"]["name"] = s.cpu.name;
    v["cpu"]["architecture"] = s.cpu.architecture;
    v["memory"]["total"] = s.memory.total;
    v["memory"]["available"] = s.memory.available;
    v["memory"]["usage"] = s.memory.usage;
    Value& pc = v["pc"];
    pc["name"] = s.pc.name;
    pc["model"] = s.pc.model;
    pc["vendor"] = s.pc.vendor;
    pc["serialNumber"] = s.pc.serialNumber;
    v["ipAddresses"]["ipv4"] = textArray(s.ipv4);
    v["ipAddresses"]["ipv6"] = textArray(s.ipv6);
    v["graphicsAdapters"] = arrayOf(s.graphicsAdapters, [](GraphicsAdapter const& a) {
        Value g(Type::Object);
        g["id"] = a.id;
        g["name"] = a.name;
        g["vendor"] = a.vendor;
        g["driverName"] = a.driverName;
        g["driverVersion"] = a.driverVersion;
        g["vram"] = static_cast<std::int64_t>(a.vram);
        g["deviceLocationId"] = a.deviceLocationId;
        return g;
    });
    v["processes"] = arrayOf(s.processes, [](Process const& p) {
        Value e(Type::Object);
        e["name"] = p.name;
        e["pid"] = p.pid;
        e["command"] = p.command;
        return e;
    });
    v["usbDevices"] = arrayOf(s.usbDevices, [](UsbDevice const& d) {
        Value e(Type::Object);
        e["name"] = d.name;
        e["vendorId"] = hex16(d.vendorId);
        e["productId"] = hex16(d.productId);
        e["bcdDevice"] = hex16(d.bcdDevice);
        return e;
    });
    v["applications"] = arrayOf(s.applications, [](Application const& a) {
        Value e(Type::Object);
        e["name"] = a.name;
        return e;
    });
    v["windows"] = arrayOf(s.windows, [](Window const& w) {
        Value e(Type::Object);
        e["title"] = w.title;
        e["processName"] = w.processName;
        e["localizedName"] = w.localizedName;
        e["active"] = w.active;
        e["className"] = w.className;
        return e;
    });
    v["kernelExtensions"] = arrayOf(s.kernelExtensions, [](KernelExtension const& k) {
        Value e(Type::Object);
        e["name"] = k.name;
        e["version"] = k.version;
        return e;
    });
    v["printers"] = arrayOf(s.printers, [](Printer const& p) {
        Value e(Type::Object);
        e["name"] = p.name;
        e["driverName"] = p.driverName;
        e["driverVersion"] = p.driverVersion;
        e["isDefault"] = p.isDefault;
        return e;
    });
    v["userName"] = s.userName;
    v["domainName"] = s.domainName;
    return v;
}

} // namespace

Value screenValue(Screen const& s, bool withProfileAndGamma) {
    Value v(Type::Object);
    v["id"] = s.id;
    Value& bounds = v["bounds"];
    bounds["x"] = s.bounds.x;
    bounds["y"] = s.bounds.y;
    bounds["width"] = s.bounds.width;
    bounds["height"] = s.bounds.height;
    v["colorDepth"] = s.colorDepth;
    v["refreshRate"] = s.refreshRate;
    v["rotation"] = s.rotation;
    v["scale"] = factorsValue(s.scale);
    v["renderingSize"] = sizeValue(s.renderingSize);
    v["primary"] = s.primary;
    v["mirroring"] = s.mirroring;
    v["supportsProfile"] = s.supportsProfile;
    v["supportsGraphicsCardGamma"] = s.supportsGraphicsCardGamma;
    v["pixelRatio"] = factorsValue(s.pixelRatio);
    if (s.edid) {
        Edid const& e = *s.edid;
        Value& edid = v["edid"];
        edid["isOvakMonitor"] = e.isOvakMonitor;
        edid["manufacturer"] = e.manufacturer;
        edid["productName"] = e.productName;
        edid["serialNumber"] = e.serialNumber;
        edid["preferredResolution"] = sizeValue(e.preferredResolution);
        Value& c = edid["chromaticity"];
        c["red"] = chromaticityValue(e.red);
        c["green"] = chromaticityValue(e.green);
        c["blue"] = chromaticityValue(e.blue);
        c["white"] = chromaticityValue(e.white);
        if (e.manufactureYear) {
            Value& y = edid["manufactureYear"];
            y["isModelYear"] = e.manufactureYear->isModelYear;
            y["year"] = e.manufactureYear->year;
            y["week"] = e.manufactureYear->week;
        }
    }
    if (withProfileAndGamma) {
        v["profile"] = s.profile;
        if (!s.gamma.isLinear()) {
            Value& g = v["gamma"];
            g["red"] = rampValue(s.gamma.red);
            g["green"] = rampValue(s.gamma.green);
            g["blue"] = rampValue(s.gamma.blue);
        }
    }
    v["graphicsAdapter"] = s.graphicsAdapter;
    return v;
}

Value monitorValue(Monitor const& m) {
    Value v(Type::Object);
    v["serial"] = m.serial;
    v["product"] = m.product;
    v["productId"] = hex16(m.productId);
    v["bcdDevice"] = hex16(m.bcdDevice);
    if (m.sensor) {
        v["sensor"]["deviceId"] = m.sensor->deviceId;
        v["sensor"]["individualId"] = static_cast<std::int64_t>(m.sensor->individualId);
    }
    v["attached"] = m.attached;
    return v;
}

Value sensorValue(Sensor const& s) {
    Value v(Type::Object);
    v["deviceId"] = s.deviceId;
    v["individualId"] = static_cast<std::int64_t>(s.individualId);
    v["name"] = s.name;
    v["vendorId"] = hex16(s.vendorId);
    v["productId"] = hex16(s.productId);
    v["bcdDevice"] = hex16(s.bcdDevice);
    v["attached"] = s.attached;
    return v;
}

Value serialSensorValue(SerialSensor const& s) {
    Value v(Type::Object);
    v["deviceId"] = s.deviceId;
    v["name"] = s.name;
    v["vendorId"] = hex16(s.vendorId);
    v["productId"] = hex16(s.productId);
    v["bcdDevice"] = hex16(s.bcdDevice);
    v["attached"] = s.attached;
    return v;
}

Value lightingDeviceValue(LightingDevice const& d) {
    Value v(Type::Object);
    v["product"] = d.product;
    v["serial"] = d.serial;
    v["productId"] = hex16(d.productId);
    v["bcdDevice"] = hex16(d.bcdDevice);
    Value& status = v["status"];
    status["retrieve"] = d.status.retrieve;
    status["product"]["fixedData"] = d.status.product.fixedData;
    status["product"]["featureArray"] = d.status.product.featureArray;
    status["serial"]["fixedData"] = d.status.serial.fixedData;
    status["serial"]["featureArray"] = d.status.serial.featureArray;
    v["attached"] = d.attached;
    return v;
}

Value sectionValue(WorldData const& w, Section section) {
    Value v(Type::Array);
    switch (section) {
    case Section::Screens:
        for (Screen const& s : w.screens)
            v.push_back(screenValue(s, true));
        return v;
    case Section::ScreenConfiguration:
        for (Screen const& s : w.screens)
            v.push_back(screenValue(s, false));
        return v;
    case Section::Monitors:
        for (Monitor const& m : w.monitors)
            v.push_back(monitorValue(m));
        return v;
    case Section::Sensors:
        for (Sensor const& s : w.sensors)
            v.push_back(sensorValue(s));
        return v;
    case Section::SerialSensors:
        for (SerialSensor const& s : w.serialSensors)
            v.push_back(serialSensorValue(s));
        return v;
    case Section::LightingDevices:
        for (LightingDevice const& d : w.lightingDevices)
            v.push_back(lightingDeviceValue(d));
        return v;
    case Section::System:
        return systemValue(w.system);
    case Section::Display: {
        Value d(Type::Object);
        d["randrEventBase"] = w.display.randrEventBase;
        return d;
    }
    }
    return v;
}

Value worldValue(WorldData const& w) {
    Value v(Type::Object);
    v["screens"] = sectionValue(w, Section::Screens);
    v["monitors"] = sectionValue(w, Section::Monitors);
    v["sensors"] = sectionValue(w, Section::Sensors);
    v["serialSensors"] = sectionValue(w, Section::SerialSensors);
    v["lightingDevices"] = sectionValue(w, Section::LightingDevices);
    v["system"] = sectionValue(w, Section::System);
    v["display"] = sectionValue(w, Section::Display);
    return v;
}

Value mergePatch(Value const& target, Value const& patch) {
    if (patch.type() != Type::Object)
        return patch;
    Value result(Type::Object);
    if (target.type() == Type::Object) {
        for (auto const& member : target.objectItems()) {
            if (!patch.contains(member.first))
                result[member.first] = member.second;
        }
    }
    for (auto const& member : patch.objectItems()) {
        if (member.second.isNull())
            continue;
        Value const& old = target.type() == Type::Object ? target[member.first] : Value::s_null();
        result[member.first] = mergePatch(old, member.second);
    }
    return result;
}

std::string parse(std::string const& text, Value& out, char const* what) {
    pocketjson::Parser parser;
    Value parsed;
    if (!parser.parse(text, parsed))
        return std::string(what) + " is not valid JSON: " + parser.error();
    out = parsed;
    return "";
}

std::string write(Value const& value, bool pretty) {
    pocketjson::SerializeAttributes attributes;
    if (pretty) {
        attributes.pretty = true;
        attributes.indent = "  ";
        attributes.newline = "\n";
    }
    std::string out;
    pocketjson::Serializer::serialize(out, value, attributes);
    return out;
}

} // namespace json

// ---- Public entry points ----------------------------------------------------------------------

std::string worldFromJson(std::string const& text, WorldData& out) {
    pocketjson::Value document;
    std::string error = json::parse(text, document, "the world");
    if (!error.empty())
        return error;
    try {
        json::readWorld(document, out);
    } catch (json::BadWorld const& bad) {
        return bad.what();
    }
    return "";
}

std::string worldToJson(WorldData const& world, bool pretty) {
    return json::write(json::worldValue(world), pretty);
}

} // namespace sim
