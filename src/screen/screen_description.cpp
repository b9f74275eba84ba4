// The description of one screen and its companions: sizes, colours, gamma and graphics card.
#include "screen/screen_description.h"

#include "bridge/bridge_result.h"
#include "loader/loaders.h"
#include "platform/ormic.h"
#include "screen/screen_manager.h"
#include "system/graphics_card.h"

#include <algorithm>
#include <cstdint>

namespace kavri {

namespace {

// Each colour letter and the record member it reads.
struct Component {
    char letter;
    double MiColor::*member;
};

constexpr Component kComponents[] = {
    {'R', &MiColor::rgbR}, {'G', &MiColor::rgbG}, {'B', &MiColor::rgbB}, {'X', &MiColor::xyzX},
    {'Y', &MiColor::xyzY}, {'Z', &MiColor::xyzZ}, {'x', &MiColor::x},    {'y', &MiColor::y},
    {'L', &MiColor::L},    {'a', &MiColor::a},    {'b', &MiColor::b},    {'C', &MiColor::lchC},
    {'h', &MiColor::lchH},
};

// The libraries return "" for unknown text; an unexpected null is read the same way.
std::string textOf(char const* s) {
    return s != nullptr ? s : "";
}

pocketjson::Value scaleJson(MiScale const& scale) {
    pocketjson::Value v(pocketjson::Type::Object);
    v["x"] = scale.x;
    v["y"] = scale.y;
    return v;
}

// Rendering size over the scale, a scale below 1.0 counting as 1.0, rounded half up.
pocketjson::Value virtualSize(MiSize const& rendering, MiScale const& scale) {
    auto const scaled = [](std::int32_t length, double factor) {
        return static_cast<std::int64_t>(length / std::max(1.0, factor) + 0.5);
    };
    pocketjson::Value v(pocketjson::Type::Object);
    v["width"] = scaled(rendering.width, scale.x);
    v["height"] = scaled(rendering.height, scale.y);
    return v;
}

pocketjson::Value boundsJson(MiRect const& r) {
    pocketjson::Value v(pocketjson::Type::Object);
    v["x"] = r.x;
    v["y"] = r.y;
    v["width"] = r.width;
    v["height"] = r.height;
    return v;
}

char const* primaryName(char letter) {
    switch (letter) {
    case 'R':
        return "red";
    case 'G':
        return "green";
    case 'B':
        return "blue";
    case 'W':
        return "white";
    case 'K':
        return "black";
    default:
        return nullptr;
    }
}

pocketjson::Value edidJson(MiEdid* edid) {
    pocketjson::Value v(pocketjson::Type::Object);
    v["isOvakMonitor"] = MiIsEdidOvakMonitor(edid) != 0;
    v["manufacturer"] = textOf(MiGetEdidManufacturer(edid));
    v["productName"] = textOf(MiGetEdidProductName(edid));
    v["serialNumber"] = textOf(MiGetEdidSerialNumber(edid));
    v["preferredResolution"] = screen::ToJson(MiGetEdidPreferredResolution(edid));
    pocketjson::Value& chromaticity = v["chromaticity"];
    chromaticity.setType(pocketjson::Type::Object);
    for (char const letter : std::string("RGBW")) {
        if (char const* key = primaryName(letter))
            chromaticity[key] = ToJson(MiGetEdidChromaticity(edid, letter), "xy");
    }
    if (auto year = KAVRI_LOOKUP(libscrinfo2Loader::loader(), MiGetEdidManufactureYear)) {
        std::uint8_t isModelYear = 0;
        std::int32_t number = 0;
        std::int32_t week = 0;
        if (year(edid, &isModelYear, &number, &week) != 0) {
            pocketjson::Value& made = v["manufactureYear"];
            made["type"] = isModelYear != 0 ? "ModelYear" : "ManufactureYear";
            made["year"] = number;
            made["week"] = week;
        }
    }
    return v;
}

} // namespace

pocketjson::Value ToJson(colour const& value, std::string const& space) {
    pocketjson::Value v(pocketjson::Type::Object);
    if (space == "CMYK") {
        v["C"] = value.cmykC;
        v["M"] = value.cmykM;
        v["Y"] = value.cmykY;
        v["K"] = value.cmykK;
        return v;
    }
    for (char const letter : space) {
        if (letter == 'T') {
            v["T"] = value.T;
            continue;
        }
        for (Component const& c : kComponents) {
            if (c.letter == letter)
                v[std::string(1, letter)] = value.*c.member;
        }
    }
    return v;
}

namespace screen {

pocketjson::Value ToJson(MiSize const& size) {
    pocketjson::Value v(pocketjson::Type::Object);
    v["width"] = size.width;
    v["height"] = size.height;
    return v;
}

pocketjson::Value ScreenManager::getScreenInfo(MiScreen* screen) {
    Lock const held(mutex_);
    pocketjson::Value v(pocketjson::Type::Object);
    v["bounds"] = boundsJson(MiGetScreenBounds(screen));
    v["colorDepth"] = MiGetScreenColorDepth(screen);
    v["refreshRate"] = MiGetScreenRefreshRate(screen);
    v["rotation"] = MiGetScreenRotation(screen);
    MiScale const scale = MiGetScreenScale(screen);
    v["scale"] = scaleJson(scale);
    MiSize const rendering = MiGetScreenRenderingSize(screen);
    v["renderingSize"] = ToJson(rendering);
    v["virtualSize"] = virtualSize(rendering, scale);
    v["isPrimary"] = MiIsScreenPrimary(screen) != 0;
    v["isMirroring"] = MiIsScreenMirroring(screen) != 0;
    v["supportsProfile"] = MiSupportsScreenProfile(screen) != 0;
    v["supportsGraphicsCardGamma"] = MiSupportsScreenGraphicsCardGamma(screen) != 0;
    if (auto pixelRatio = KAVRI_LOOKUP(libscrinfo2Loader::loader(), MiGetScreenPixelRatio))
        v["pixelRatio"] = scaleJson(pixelRatio(screen));
    if (MiEdid* edid = MiGetScreenEdid(screen))
        v["edid"] = edidJson(edid);
    return v;
}

} // namespace screen

namespace bridge {

pocketjson::Value GetScreenGamma(MiScreen* screen) {
    double red[256] = {};
    double green[256] = {};
    double blue[256] = {};
    BridgeCheckError(screen::ScreenManager::Instance().getScreenGamma(screen, &red, &green, &blue),
                     "Failed to get screen gamma.");
    pocketjson::Value v(pocketjson::Type::Object);
    auto const ramp = [](double const(&values)[256]) {
        pocketjson::Value a(pocketjson::Type::Array);
        a.reserve(256);
        for (double const d : values)
            a.push_back(d);
        return a;
    };
    v["red"] = ramp(red);
    v["green"] = ramp(green);
    v["blue"] = ramp(blue);
    return v;
}

pocketjson::Value GetScreenGraphicsCard(MiScreen* screen) {
    OrmVGA* vga = OrmGetVGAOfScreen(screen);
    if (vga == nullptr)
        return pocketjson::Value(pocketjson::Type::Object);
    return system::GraphicsCardJson(vga);
}

} // namespace bridge

} // namespace kavri
