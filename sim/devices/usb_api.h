// libusb-1.0's public declarations for the fake libusb: Debian's header, or the few it needs.
#pragma once

#if __has_include(<libusb-1.0/libusb.h>) && !defined(TOLMA_SIM_OWN_LIBUSB_DECLARATIONS)
#include <libusb-1.0/libusb.h>
#else
// The same types, values and prototypes as libusb 1.0.26's header, for machines without it.
#include <stdint.h>
#include <sys/time.h>

extern "C" {

typedef struct libusb_context libusb_context;
typedef struct libusb_device libusb_device;
typedef int libusb_hotplug_callback_handle;

struct libusb_device_descriptor {
    uint8_t bLength;
    uint8_t bDescriptorType;
    uint16_t bcdUSB;
    uint8_t bDeviceClass;
    uint8_t bDeviceSubClass;
    uint8_t bDeviceProtocol;
    uint8_t bMaxPacketSize0;
    uint16_t idVendor;
    uint16_t idProduct;
    uint16_t bcdDevice;
    uint8_t iManufacturer;
    uint8_t iProduct;
    uint8_t iSerialNumber;
    uint8_t bNumConfigurations;
};

enum libusb_error {
    LIBUSB_SUCCESS = 0,
    LIBUSB_ERROR_INVALID_PARAM = -2,
    LIBUSB_ERROR_NOT_SUPPORTED = -12,
    LIBUSB_ERROR_OTHER = -99
};
enum libusb_descriptor_type { LIBUSB_DT_DEVICE = 0x01 };
#define LIBUSB_DT_DEVICE_SIZE 18
enum libusb_capability { LIBUSB_CAP_HAS_CAPABILITY = 0x0000U, LIBUSB_CAP_HAS_HOTPLUG = 0x0001U };
typedef enum {
    LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED = (1 << 0),
    LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT = (1 << 1)
} libusb_hotplug_event;
typedef enum { LIBUSB_HOTPLUG_ENUMERATE = (1 << 0) } libusb_hotplug_flag;
#define LIBUSB_HOTPLUG_MATCH_ANY -1

typedef int (*libusb_hotplug_callback_fn)(libusb_context* ctx, libusb_device* device,
                                          libusb_hotplug_event event, void* user_data);

int libusb_init(libusb_context** ctx);
void libusb_exit(libusb_context* ctx);
int libusb_has_capability(uint32_t capability);
int libusb_get_device_descriptor(libusb_device* dev, struct libusb_device_descriptor* desc);
int libusb_handle_events_timeout_completed(libusb_context* ctx, struct timeval* tv, int* completed);
int libusb_hotplug_register_callback(libusb_context* ctx, int events, int flags, int vendor_id,
                                     int product_id, int dev_class,
                                     libusb_hotplug_callback_fn cb_fn, void* user_data,
                                     libusb_hotplug_callback_handle* callback_handle);
void libusb_hotplug_deregister_callback(libusb_context* ctx,
                                        libusb_hotplug_callback_handle callback_handle);

} // extern "C"
#endif
