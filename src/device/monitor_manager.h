// kavri::device::MonitorManager: the maker's attached monitors, their changes and built-in sensors.
#pragma once

#include "json/value.h"
#include "platform/vqc.h"

#include <mutex>
#include <string>
#include <vector>

namespace kavri::device {

// One attached monitor. Two monitors are the same when serial and product are equal; the HID
// handle takes no part in that.
struct Monitor {
    VqHidDevice* hidHandle = nullptr; // null when the library gave none
    std::string serial;               // at most 8 bytes
    std::string product;              // at most 16 bytes
};

pocketjson::Value ConvertMonitorArrayToJsonArray(std::vector<Monitor> const& monitors);

// Keeps no list of its own: the last known list is the monitor-control library's, as it stands
// before a fresh search. Updates come from hot-plug threads and requests; mutex_ serialises them
// and is always taken before the sensor library's lock (PeltoLockSensors), which is released
// first. Events go out with neither held.
class MonitorManager {
public:
    static MonitorManager& Instance();

    // The library's current list, without a new search; takes no lock.
    std::vector<Monitor> getCurrentMonitorsWithoutUpdate() const;
    // Searches again and appends what was plugged in and out (either may be null: that side is
    // then neither collected nor logged, and an unplugged built-in sensor is not forgotten).
    void update(std::vector<Monitor>* added, std::vector<Monitor>* removed);
    void dispatchMonitorChangeEvent(std::vector<Monitor> const& added,
                                    std::vector<Monitor> const& removed);
    void updateAndDispatchEvent();

private:
    MonitorManager() = default;

    std::recursive_mutex mutex_;
};

} // namespace kavri::device
