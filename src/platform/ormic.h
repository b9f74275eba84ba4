/* System information (libormic_x64.so.1, linked; 12 functions through dlsym only). */
#ifndef TOLMA_PLATFORM_ORMIC_H
#define TOLMA_PLATFORM_ORMIC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Lifetime codes of returned strings and handles:
   [T] valid until the next call of the same function on the same thread.
   [S] valid until OrmReleaseSnapshot of the snapshot that owns the entry.
   [P] valid for the life of the process.
   Called from request threads with no lock of the plug-in, possibly several at once: every
   function is thread-safe. A snapshot and its entries are used by one thread at a time. */

typedef struct OrmSnapshot OrmSnapshot; /* one type for every kind of snapshot */
typedef struct OrmProcess OrmProcess;   /* entry types: one per kind, each [S] */
typedef struct OrmUSBDevice OrmUSBDevice;
typedef struct OrmApplication OrmApplication;
typedef struct OrmApplicationWindow OrmApplicationWindow;
typedef struct OrmKEXT OrmKEXT;
typedef struct OrmPrinter OrmPrinter;
typedef struct OrmVGA OrmVGA;     /* graphics adapter, [P] */
typedef struct MiScreen MiScreen; /* repeated from scrinfo2.h (identical typedef) */

/* 16 bytes: total @0, available @4, usage @8; units are the library's, passed through. */
typedef struct OrmMemoryInformation {
    uint32_t total;
    uint32_t available;
    double usage;
} OrmMemoryInformation;

/* Facts. Every string is [T] and "" when unknown. */
const char* OrmGetOSName(void);
const char* OrmGetOSNameShort(void);
const char* OrmGetKernelVersion(void);
const char* OrmGetBuildNumber(void);
const char* OrmGetOSArchitecture(void);
const char* OrmGetLocaleName(void);
/* User's languages in order of preference; NULL past the end. */
const char* OrmEnumLocaleLanguage(uint32_t index);
const char* OrmGetLocaleDecimalSeparator(void);
const char* OrmGetLocaleThousandSeparator(void);
const char* OrmGetTimezoneName(void);
/* The library's unit, passed through; 0 when unknown. */
int32_t OrmGetTimezoneOffset(void);
const char* OrmGetCPUName(void);
const char* OrmGetCPUArchitectureName(void);
/* Nonzero = filled; untouched on failure. */
uint8_t OrmGetMemoryInformation(OrmMemoryInformation* info);
const char* OrmGetPCName(void);
const char* OrmGetPCModelName(void);
const char* OrmGetPCVendorName(void);
const char* OrmGetPCSerialNumber(void);
/* family 1 = IPv4, 2 = IPv6; "" past the end; any other family -> "". */
const char* OrmEnumIPAddress(uint32_t family, uint32_t index);
/* [P]; NULL past the end. */
OrmVGA* OrmEnumVGA(uint32_t index);
/* The libscrinfo2 handle, passed unchanged; [P]; NULL = no adapter. */
OrmVGA* OrmGetVGAOfScreen(MiScreen* screen);
const char* OrmGetVGAName(OrmVGA* vga);          /* [T] */
const char* OrmGetVGAVendor(OrmVGA* vga);        /* [T] */
const char* OrmGetVGADriverName(OrmVGA* vga);    /* [T] */
const char* OrmGetVGADriverVersion(OrmVGA* vga); /* [T] */
/* The library's unit; 0 when unknown. */
uint64_t OrmGetVGAVRAMSize(OrmVGA* vga);

/* Snapshots. Creating one returns NULL on failure. Every OrmEnum... accepts a NULL snapshot and
   returns NULL; enumeration runs by index from 0 and stops at the first NULL; the enumerator of
   another kind yields NULL. */

/* Any kind; NULL is a no-op; ends every [S] entry and string of it. */
void OrmReleaseSnapshot(OrmSnapshot* snapshot);
OrmSnapshot* OrmCreateRunningProcessSnapshot(void);
OrmProcess* OrmEnumRunningProcess(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetProcessName(OrmProcess* process); /* [S] */
/* pid_t width. */
int32_t OrmGetProcessPID(OrmProcess* process);
const char* OrmGetProcessCommand(OrmProcess* process); /* [S] */
OrmSnapshot* OrmCreateUSBDeviceSnapshot(void);
OrmUSBDevice* OrmEnumUSBDevice(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetUSBDeviceName(OrmUSBDevice* device); /* [S] */
/* The descriptor's 16 bits. */
uint16_t OrmGetUSBDeviceVendorID(OrmUSBDevice* device);
uint16_t OrmGetUSBDeviceProductID(OrmUSBDevice* device);
/* BCD release number as the descriptor holds it. */
uint16_t OrmGetUSBDeviceBcdDevice(OrmUSBDevice* device);
OrmSnapshot* OrmCreateInstalledApplicationSnapshot(void);
OrmApplication* OrmEnumInstalledApplication(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetApplicationName(OrmApplication* application); /* [S] */
OrmSnapshot* OrmCreateLoadedKEXTSnapshot(void);
OrmKEXT* OrmEnumLoadedKEXT(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetKEXTName(OrmKEXT* kext);    /* [S] */
const char* OrmGetKEXTVersion(OrmKEXT* kext); /* [S] */
OrmSnapshot* OrmCreatePrinterSnapshot(void);
OrmPrinter* OrmEnumPrinter(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetPrinterName(OrmPrinter* printer);          /* [S] */
const char* OrmGetPrinterDriverName(OrmPrinter* printer);    /* [S] */
const char* OrmGetPrinterDriverVersion(OrmPrinter* printer); /* [S] */
/* Nonzero = the default printer. */
uint8_t OrmGetPrinterDefault(OrmPrinter* printer);

/* Run time only, through dlsym. Req: a missing symbol fails the request with 404. Opt: the key is
   left out. */

/* Req; released with OrmReleaseSnapshot. */
OrmSnapshot* OrmCreateCurrentApplicationWindowSnapshot(void);
/* Req; [S]; NULL past the end. */
OrmApplicationWindow* OrmEnumApplicationWindow(OrmSnapshot* snapshot, uint32_t index);
const char* OrmGetApplicationWindowTitle(OrmApplicationWindow* window);         /* Req; [S] */
const char* OrmGetApplicationWindowProcessName(OrmApplicationWindow* window);   /* Req; [S] */
const char* OrmGetApplicationWindowLocalizedName(OrmApplicationWindow* window); /* Req; [S] */
/* Req; nonzero = active. */
uint8_t OrmIsActiveApplicationWindow(OrmApplicationWindow* window);
const char* OrmGetApplicationWindowClassName(OrmApplicationWindow* window); /* Req; [S] */
/* Req; the plug-in passes flags 0; nonzero = running. */
uint8_t OrmIsProcessRunning(const char* processName, uint32_t flags);
/* Opt; [T]; "" = unknown (the key is left out). */
const char* OrmGetUserName(void);
/* Opt; [T]; "" = unknown (the key is left out). */
const char* OrmGetDomainName(void);
/* Opt; [T]. */
const char* OrmGetLocaleCountry(void);
/* Opt; answered as a JSON integer. */
uint32_t OrmGetVGADeviceLocationID(OrmVGA* vga);

#ifdef __cplusplus
} /* extern "C" */
#endif

#if defined(__cplusplus)
static_assert(sizeof(OrmMemoryInformation) == 16, "OrmMemoryInformation is 16 bytes");
#if defined(__GNUC__)
static_assert(__builtin_offsetof(OrmMemoryInformation, available) == 4, "available at 4");
static_assert(__builtin_offsetof(OrmMemoryInformation, usage) == 8, "usage at 8");
#endif
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(OrmMemoryInformation) == 16, "OrmMemoryInformation is 16 bytes");
#if defined(__GNUC__)
_Static_assert(__builtin_offsetof(OrmMemoryInformation, available) == 4, "available at 4");
_Static_assert(__builtin_offsetof(OrmMemoryInformation, usage) == 8, "usage at 8");
#endif
#endif

#endif /* TOLMA_PLATFORM_ORMIC_H */
