// What changed between two device lists, and the JSON and event forms that every device kind shares.
#pragma once

#include "bridge/tolma_logger.h"
#include "json/value.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kavri::device {

// The entries of `after` with no equal in `before` (plugged in) and those of `before` with no
// equal in `after` (plugged out), each in list order. Equality is `same(a, b)`; each search is
// linear (a handful of devices) and duplicates are not merged, so two equal entries after and one
// before give nothing added.
template <typename Device>
struct ListChanges {
    std::vector<Device> added;
    std::vector<Device> removed;
};

template <typename Device, typename Same>
ListChanges<Device> CompareDeviceLists(std::vector<Device> const& before,
                                       std::vector<Device> const& after, Same same) {
    auto hasEqualIn = [&same](Device const& device, std::vector<Device> const& list) {
        for (Device const& other : list)
            if (same(device, other))
                return true;
        return false;
    };
    ListChanges<Device> changes;
    for (Device const& device : after)
        if (!hasEqualIn(device, before))
            changes.added.push_back(device);
    for (Device const& device : before)
        if (!hasEqualIn(device, after))
            changes.removed.push_back(device);
    return changes;
}

// Devices named by serial and product (monitors, lighting devices): the same device when both
// texts are equal, byte for byte.
template <typename Device>
bool SameSerialProduct(Device const& a, Device const& b) {
    return a.serial == b.serial && a.product == b.product;
}

// [{"serial": ..., "product": ...}, ...] in list order.
template <typename Device>
pocketjson::Value SerialProductArrayToJson(std::vector<Device> const& devices) {
    pocketjson::Value array(pocketjson::Type::Array);
    for (Device const& device : devices) {
        pocketjson::Value item(pocketjson::Type::Object);
        item["serial"] = pocketjson::Value(device.serial);
        item["product"] = pocketjson::Value(device.product);
        array.push_back(item);
    }
    return array;
}

// product + "(" + serial + ")": how the event log names such a device.
template <typename Device>
std::string SerialProductLogName(Device const& device) {
    return device.product + "(" + device.serial + ")";
}

// Appends the changes to the caller's lists and logs each under `event`: "Add " + name(device)
// for every added device, then, for every removed one, forget(device) and "Remove " +
// name(device). A null side is neither collected, forgotten nor logged.
template <typename Device, typename Name, typename Forget>
void CollectChanges(char const* event, ListChanges<Device> const& changes,
                    std::vector<Device>* added, std::vector<Device>* removed, Name name,
                    Forget forget) {
    TolmaLogger& log = TolmaLogger::Instance();
    if (added != nullptr) {
        for (Device const& device : changes.added) {
            added->push_back(device);
            log.logEvent(event, "Add " + name(device));
        }
    }
    if (removed != nullptr) {
        for (Device const& device : changes.removed) {
            removed->push_back(device);
            forget(device);
            log.logEvent(event, "Remove " + name(device));
        }
    }
}

// Pushes `name` with the compact text of {"added": added, "removed": removed}. Callers send
// nothing when both lists are empty.
void DispatchDeviceChangeEvent(char const* name, pocketjson::Value added,
                               pocketjson::Value removed);

} // namespace kavri::device
