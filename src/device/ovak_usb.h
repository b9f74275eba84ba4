// The maker's USB vendor id, shared by the plug-in's device code and the simulator.
#pragma once

#include <cstdint>

namespace kavri {

constexpr std::uint16_t kOvakVendorId = 0x29AB;

} // namespace kavri
