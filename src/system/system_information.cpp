// SystemInformation: the computer's facts from the system-information library, by section.
#include "loader/loaders.h"
#include "platform/ormic.h"
#include "system/graphics_card.h"
#include "system/system_resources.h"
#include "system/system_text.h"

#include <cstdint>

namespace kavri::bridge {

namespace {

using pocketjson::Type;
using pocketjson::Value;
using system::LibraryText;

Value osSection() {
    Value os(Type::Object);
    os["name"] = LibraryText(OrmGetOSName());
    os["shortName"] = LibraryText(OrmGetOSNameShort());
    os["kernelVersion"] = LibraryText(OrmGetKernelVersion());
    os["buildNumber"] = LibraryText(OrmGetBuildNumber());
    os["architecture"] = LibraryText(OrmGetOSArchitecture());
    return os;
}

Value localeSection() {
    Value locale(Type::Object);
    locale["name"] = LibraryText(OrmGetLocaleName());
    Value languages(Type::Array);
    for (std::string const& language : system::UserLanguages())
        languages.push_back(language);
    locale["languages"] = languages;
    locale["decimalSeparator"] = LibraryText(OrmGetLocaleDecimalSeparator());
    locale["thousandSeparator"] = LibraryText(OrmGetLocaleThousandSeparator());
    if (auto country = KAVRI_LOOKUP(ormicLoader::loader(), OrmGetLocaleCountry))
        locale["country"] = LibraryText(country());
    return locale;
}

Value timeZoneSection() {
    Value zone(Type::Object);
    zone["name"] = LibraryText(OrmGetTimezoneName());
    zone["offset"] = OrmGetTimezoneOffset();
    return zone;
}

Value cpuSection() {
    Value cpu(Type::Object);
    cpu["name"] = LibraryText(OrmGetCPUName());
    cpu["architecture"] = LibraryText(OrmGetCPUArchitectureName());
    return cpu;
}

// Null when the library cannot read the memory figures: the section is then left out.
Value memorySection() {
    OrmMemoryInformation info{};
    if (OrmGetMemoryInformation(&info) == 0)
        return Value();
    Value memory(Type::Object);
    memory["total"] = info.total;
    memory["available"] = info.available;
    memory["usage"] = info.usage;
    return memory;
}

Value pcSection() {
    Value pc(Type::Object);
    pc["name"] = LibraryText(OrmGetPCName());
    pc["model"] = LibraryText(OrmGetPCModelName());
    pc["vendor"] = LibraryText(OrmGetPCVendorName());
    pc["serialNumber"] = LibraryText(OrmGetPCSerialNumber());
    return pc;
}

// The addresses of one family up to the first index without one.
void appendAddresses(Value& addresses, std::uint32_t family, char const* type) {
    for (std::uint32_t i = 0;; ++i) {
        std::string const address = LibraryText(OrmEnumIPAddress(family, i));
        if (address.empty())
            return;
        Value entry(Type::Object);
        entry["address"] = address;
        entry["type"] = type;
        addresses.push_back(entry);
    }
}

Value ipAddressSection() {
    Value addresses(Type::Array);
    appendAddresses(addresses, 1, "IPv4");
    appendAddresses(addresses, 2, "IPv6");
    return addresses;
}

Value graphicsCardsSection() {
    Value cards(Type::Array);
    for (std::uint32_t i = 0;; ++i) {
        OrmVGA* vga = OrmEnumVGA(i);
        if (vga == nullptr)
            break;
        cards.push_back(system::GraphicsCardJson(vga));
    }
    return cards;
}

struct Section {
    char const* key;
    Value (*build)();
};

// In the order the library is asked.
constexpr Section kSections[] = {
    {"os", osSection},
    {"locale", localeSection},
    {"timeZone", timeZoneSection},
    {"cpu", cpuSection},
    {"memory", memorySection},
    {"pc", pcSection},
    {"ipAddress", ipAddressSection},
    {"graphicsCards", graphicsCardsSection},
};

// Options of size 0 (null, a boolean, a number, "", {} or []) ask for every section; otherwise
// only an object's keys select, so a non-empty string or array selects none.
bool selects(Value const& options, char const* key) {
    return options.size() == 0 || options.contains(key);
}

} // namespace

BridgeResult SystemInformation::Get(BridgeData const& data) {
    uri += "System/Information";
    Value answer(Type::Object);
    for (Section const& section : kSections) {
        if (!selects(data.query, section.key))
            continue;
        Value value = section.build();
        if (!value.isNull())
            answer[section.key] = value;
    }
    return BridgeResultOK(answer);
}

} // namespace kavri::bridge
