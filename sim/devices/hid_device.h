// The HID handle that the monitor-control stand-in hands out and the sensor stand-in reads.
#pragma once

#include <cstdint>

// Names one monitor by serial and product. libvqc never frees one, so a handle from before a
// search still names its monitor when the plug-in asks libpelto for that monitor's sensor.
struct VqHidDevice {
    static constexpr std::uint32_t kMagic = 0x56514844; // "VQHD"

    std::uint32_t magic = kMagic;
    char serial[9] = {};
    char product[17] = {};
};
