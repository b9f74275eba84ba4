/* The device stand-ins' control header compiled as C: a C test or tool can include it. */
#include "sim/devices/devices_control.h"

int32_t (*const kRemovedAt)(size_t, uint32_t*, uint64_t*, const char**,
                            int32_t*) = SimPeltoRemovedAt;
