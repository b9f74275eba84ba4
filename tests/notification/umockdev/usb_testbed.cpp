// A testbed of simulated USB devices through the simulator's library.
#include "usb_testbed.h"

#include <cstdio>
#include <stdexcept>
#include <umockdev.h>

namespace test {

namespace {

std::uint8_t low(std::uint16_t value) {
    return static_cast<std::uint8_t>(value & 0xFFu);
}
std::uint8_t high(std::uint16_t value) {
    return static_cast<std::uint8_t>(value >> 8u);
}

// What the kernel's binary "descriptors" attribute holds, in hex: the device descriptor, then one
// configuration descriptor without interfaces. Multi-byte fields are little endian.
std::string descriptorsHex(std::uint16_t vendorId, std::uint16_t productId) {
    std::uint8_t const bytes[] = {
        // Device: length, type, USB 2.0, class, subclass and protocol per interface, 64-byte
        // control packets, vendor, product, release 1.00, no strings, one configuration.
        18, 0x01, 0x00, 0x02, 0, 0, 0, 64, low(vendorId), high(vendorId), low(productId),
        high(productId), 0x00, 0x01, 0, 0, 0, 1,
        // Configuration: length, type, total length 9, no interfaces, value 1, no string, bus
        // powered, 100 mA.
        9, 0x02, 9, 0, 0, 1, 0, 0x80, 50};
    std::string hex;
    for (std::uint8_t const byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", unsigned{byte});
        hex += digits;
    }
    return hex;
}

} // namespace

UsbTestbed::UsbTestbed() : testbed_(umockdev_testbed_new()) {}

UsbTestbed::~UsbTestbed() {
    g_object_unref(testbed_);
}

// The simulator answers from the first call on and caches it, so the first call must come after
// a testbed exists, as it does here.
bool UsbTestbed::active() const {
    return umockdev_in_mock_environment() != 0;
}

SimulatedUsbDevice UsbTestbed::add(std::uint16_t vendorId, std::uint16_t productId) {
    std::lock_guard<std::mutex> const held(mutex_);
    // Addresses 2..127 on bus 1, then on bus 2, and so on (address 1 is the root hub's).
    int const bus = 1 + added_ / 126;
    int const address = 2 + added_ % 126;
    ++added_;
    char path[64];
    std::snprintf(path, sizeof path, "/devices/usb%d/%d-%d", bus, bus, address - 1);
    // A description in the simulator's text format: properties (E), text attributes (A, with "\n"
    // for a newline: libusb wants busnum and devnum to end in one) and binary attributes (H).
    // Adding it from text writes all of it and sends no uevent; the "add" follows below.
    char text[512];
    std::snprintf(text, sizeof text,
                  "P: %s\n"
                  "E: SUBSYSTEM=usb\n"
                  "E: DEVTYPE=usb_device\n"
                  "E: DEVNAME=/dev/bus/usb/%03d/%03d\n"
                  "A: busnum=%d\\n\n"
                  "A: devnum=%d\\n\n"
                  "A: idVendor=%04x\\n\n"
                  "A: idProduct=%04x\\n\n"
                  "H: descriptors=%s\n",
                  path, bus, address, bus, address, vendorId, productId,
                  descriptorsHex(vendorId, productId).c_str());
    GError* error = nullptr;
    if (!umockdev_testbed_add_from_string(testbed_, text, &error)) {
        std::string const message = error != nullptr ? error->message : "no reason given";
        g_clear_error(&error);
        throw std::runtime_error("the testbed refused a USB device: " + message);
    }
    SimulatedUsbDevice device;
    device.sysfsPath = std::string("/sys") + path;
    device.bus = static_cast<std::uint8_t>(bus);
    device.address = static_cast<std::uint8_t>(address);
    umockdev_testbed_uevent(testbed_, device.sysfsPath.c_str(), "add");
    return device;
}

// libusb knows a leaving device by the device name in its uevent, which the simulator reads from
// the sysfs directory: so the uevent first, while the directory is still there.
void UsbTestbed::remove(SimulatedUsbDevice const& device) {
    std::lock_guard<std::mutex> const held(mutex_);
    umockdev_testbed_uevent(testbed_, device.sysfsPath.c_str(), "remove");
    umockdev_testbed_remove_device(testbed_, device.sysfsPath.c_str());
}

} // namespace test
