// Stand-in for the measurement-device library: live enumeration of the world's connected sensors.
#pragma GCC visibility push(default)
#include "platform/meterlink.h"
#include "sim/devices/devices_control.h"
#pragma GCC visibility pop

#include "sim/devices/call_book.h"
#include "sim/world/world.h"

#include <vector>

namespace {

simdev::CallBook& book() {
    static simdev::CallBook* const instance =
        new simdev::CallBook("meterlink", {"MDEnumConnectedDevices"});
    return *instance;
}

} // namespace

extern "C" {

int32_t MDEnumConnectedDevices(uint32_t index, uint32_t* deviceId, uint64_t* individualId) {
    book().record("MDEnumConnectedDevices", simdev::argument(index));
    if (deviceId == nullptr || individualId == nullptr) {
        book().violation("MDEnumConnectedDevices with a NULL output");
        return -1;
    }
    if (simdev::failing("MDEnumConnectedDevices"))
        return -1;
    std::vector<sim::ConnectedSensor> const sensors = sim::world().snapshot()->connectedSensors();
    if (index >= sensors.size())
        return -1;
    *deviceId = sensors[index].deviceId;
    *individualId = sensors[index].individualId;
    return 0;
}

void SimMeterLinkReset(void) {
    book().reset();
}

uint64_t SimMeterLinkCallCount(const char* function) {
    return book().callCount(function);
}

size_t SimMeterLinkCallLogSize(void) {
    return book().logSize();
}

int32_t SimMeterLinkCallAt(size_t index, const char** call) {
    char const* const entry = book().logAt(index);
    if (entry == nullptr || call == nullptr)
        return -1;
    *call = entry;
    return 0;
}

size_t SimMeterLinkViolationCount(void) {
    return book().violations();
}

} // extern "C"
