// Test worlds of the screen tests and the descriptions the plug-in gives of their screens.
#pragma once

#include <string>
#include <vector>

namespace screentest {

// Test worlds deliver no RandR event (event base 0): loading them starts no delayed re-read.
inline std::string const kNoEvents = R"("display":{"randrEventBase":0})";

// The adapter that drives screens naming "gpu", and what the plug-in answers for it.
inline std::string const kAdapters =
    R"("system":{"graphicsAdapters":[{"id":"gpu","name":"Adapter X","vendor":"Vendor",)"
    R"("driverName":"drv","driverVersion":"1.2.3","vram":8192,"deviceLocationId":4096}]})";
inline std::string const kGraphicsCard =
    R"({"deviceLocationId":4096,"driverName":"drv","driverVersion":"1.2.3","name":"Adapter X",)"
    R"("vendor":"Vendor","vram":8192})";

inline std::string worldOf(std::string const& screens) {
    return R"({"screens":)" + screens + "," + kAdapters + "," + kNoEvents + "}";
}

// A screen as the world has it and its description as the plug-in answers it.
struct DescriptionRow {
    char const* what;
    std::string screen;
    std::string description;
};

inline std::vector<DescriptionRow> const& descriptionRows() {
    static std::vector<DescriptionRow> const rows = {
        {"no EDID, scale 0.5, 59.94 Hz",
         R"({"id":"S","bounds":{"x":10,"y":20,"width":1920,"height":1080},"colorDepth":30,)"
         R"("refreshRate":59.94,"rotation":90,"scale":{"x":0.5,"y":0.5},)"
         R"("renderingSize":{"width":1920,"height":1080},"primary":true,"supportsProfile":false,)"
         R"("pixelRatio":{"x":1.25,"y":2.0},"graphicsAdapter":"gpu"})",
         R"({"bounds":{"height":1080,"width":1920,"x":10,"y":20},"colorDepth":30,)"
         R"("isMirroring":false,"isPrimary":true,"pixelRatio":{"x":1.25,"y":2},)"
         R"("refreshRate":59.939999999999998,"renderingSize":{"height":1080,"width":1920},)"
         R"("rotation":90,"scale":{"x":0.5,"y":0.5},"supportsGraphicsCardGamma":true,)"
         R"("supportsProfile":false,"virtualSize":{"height":1080,"width":1920}})"},
        {"EDID with a model year, scale 2, 60 Hz",
         R"({"id":"S","bounds":{"x":-3840,"y":0,"width":3840,"height":2160},"refreshRate":60.0,)"
         R"("scale":{"x":2.0,"y":2.0},"renderingSize":{"width":1920,"height":1080},)"
         R"("mirroring":true,"graphicsAdapter":"gpu","edid":{"isOvakMonitor":true,)"
         R"("manufacturer":"OVK","productName":"OVK-P24","serialNumber":"12345678",)"
         R"("preferredResolution":{"width":3840,"height":2160},"chromaticity":{)"
         R"("red":{"x":0.625,"y":0.328125},"green":{"x":0.3125,"y":0.59375},)"
         R"("blue":{"x":0.15625,"y":0.0625},"white":{"x":0.3125,"y":0.328125}},)"
         R"("manufactureYear":{"isModelYear":true,"year":2024,"week":0}}})",
         R"({"bounds":{"height":2160,"width":3840,"x":-3840,"y":0},"colorDepth":24,"edid":{)"
         R"("chromaticity":{"blue":{"x":0.15625,"y":0.0625},"green":{"x":0.3125,"y":0.59375},)"
         R"("red":{"x":0.625,"y":0.328125},"white":{"x":0.3125,"y":0.328125}},)"
         R"("isOvakMonitor":true,"manufactureYear":{"type":"ModelYear","week":0,"year":2024},)"
         R"("manufacturer":"OVK","preferredResolution":{"height":2160,"width":3840},)"
         R"("productName":"OVK-P24","serialNumber":"12345678"},"isMirroring":true,)"
         R"("isPrimary":false,"pixelRatio":{"x":1,"y":1},"refreshRate":60,)"
         R"("renderingSize":{"height":1080,"width":1920},"rotation":0,"scale":{"x":2,"y":2},)"
         R"("supportsGraphicsCardGamma":true,"supportsProfile":true,)"
         R"("virtualSize":{"height":540,"width":960}})"},
        {"EDID with a year of manufacture, scale 1.5, 0 Hz",
         R"({"id":"S","bounds":{"x":0,"y":0,"width":1366,"height":768},"refreshRate":0.0,)"
         R"("rotation":270,"scale":{"x":1.5,"y":1.5},"edid":{"manufacturer":"BOE",)"
         R"("manufactureYear":{"isModelYear":false,"year":2019,"week":52}}})",
         R"({"bounds":{"height":768,"width":1366,"x":0,"y":0},"colorDepth":24,"edid":{)"
         R"("chromaticity":{"blue":{"x":0.0,"y":0.0},"green":{"x":0.0,"y":0.0},)"
         R"("red":{"x":0.0,"y":0.0},"white":{"x":0.0,"y":0.0}},"isOvakMonitor":false,)"
         R"("manufactureYear":{"type":"ManufactureYear","week":52,"year":2019},)"
         R"("manufacturer":"BOE","preferredResolution":{"height":0,"width":0},)"
         R"("productName":"","serialNumber":""},"isMirroring":false,"isPrimary":false,)"
         R"("pixelRatio":{"x":1,"y":1},"refreshRate":0.0,)"
         R"("renderingSize":{"height":768,"width":1366},"rotation":270,)"
         R"("scale":{"x":1.5,"y":1.5},"supportsGraphicsCardGamma":true,"supportsProfile":true,)"
         R"("virtualSize":{"height":512,"width":911}})"},
        {"EDID whose year the library cannot read, scale (1, 2)",
         R"({"id":"S","bounds":{"x":0,"y":0,"width":800,"height":600},"scale":{"x":1.0,"y":2.0},)"
         R"("edid":{"productName":"P","serialNumber":"S1","manufactureYear":null}})",
         R"({"bounds":{"height":600,"width":800,"x":0,"y":0},"colorDepth":24,"edid":{)"
         R"("chromaticity":{"blue":{"x":0.0,"y":0.0},"green":{"x":0.0,"y":0.0},)"
         R"("red":{"x":0.0,"y":0.0},"white":{"x":0.0,"y":0.0}},"isOvakMonitor":false,)"
         R"("manufacturer":"","preferredResolution":{"height":0,"width":0},"productName":"P",)"
         R"("serialNumber":"S1"},"isMirroring":false,"isPrimary":false,"pixelRatio":{"x":1,"y":1},)"
         R"("refreshRate":60,"renderingSize":{"height":600,"width":800},"rotation":0,)"
         R"("scale":{"x":1,"y":2},"supportsGraphicsCardGamma":true,"supportsProfile":true,)"
         R"("virtualSize":{"height":300,"width":800}})"},
    };
    return rows;
}

// The JSON text without the member `key` (its value an object or a scalar without braces) and
// the comma that joined it to its neighbours.
inline std::string withoutMember(std::string text, std::string const& key) {
    std::string const start = "\"" + key + "\":";
    std::size_t const at = text.find(start);
    if (at == std::string::npos)
        return text;
    std::size_t end = at + start.size();
    int depth = 0;
    for (; end < text.size(); ++end) {
        char const c = text[end];
        if (c == '{' || c == '[')
            ++depth;
        else if ((c == '}' || c == ']') && depth-- == 0)
            break;
        else if (c == ',' && depth == 0)
            break;
    }
    if (end < text.size() && text[end] == ',')
        return text.erase(at, end + 1 - at);
    // The last member: the comma before it goes.
    return text.erase(at - 1, end - at + 1);
}

} // namespace screentest
