/* Screen information (libscrinfo2_x64.so.2, linked; 2 functions through dlsym only). */
#ifndef TOLMA_PLATFORM_SCRINFO2_H
#define TOLMA_PLATFORM_SCRINFO2_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Lifetime codes of returned strings and handles:
   [L] valid until the next MiFindScreens or MiReleaseScreens.
   Calls are made under the plug-in's screen mutex, except MiGetScreenCount (no lock) and
   MiGetX11ScreenEventBase (host's event thread): both are safe from any thread at any time. */

typedef struct MiScreen MiScreen; /* [L] */
typedef struct MiEdid MiEdid;     /* owned by its screen, [L] */

/* 8 bytes */
typedef struct MiSize {
    int32_t width;
    int32_t height;
} MiSize;

/* 8 bytes (widths = MiSize's) */
typedef struct MiPoint {
    int32_t x;
    int32_t y;
} MiPoint;

/* 16 bytes */
typedef struct MiRect {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
} MiRect;

/* 16 bytes; scale and pixel ratio */
typedef struct MiScale {
    double x;
    double y;
} MiScale;

/* The "colour" record: 18 slots of 8 bytes = 144 bytes, in this order. */
typedef struct MiColor {
    double cmykC, cmykM, cmykY, cmykK; /* slots  0-3   CMYK */
    double rgbR, rgbG, rgbB;           /* slots  4-6   RGB */
    double xyzX, xyzY, xyzZ;           /* slots  7-9   CIE XYZ */
    double x, y;                       /* slots 10-11  CIE xy chromaticity */
    int64_t T;                         /* slot  12     colour temperature, signed integer */
    double L, a, b;                    /* slots 13-15  CIE L*a*b* (L is also LCh's L) */
    double lchC, lchH;                 /* slots 16-17  LCh chroma, hue */
} MiColor;

/* Screen lists. The count is the number of indices; a NULL result at an index means no screen
   there. The list is empty at load and after MiReleaseScreens; only MiFindScreens builds it.
   A monitor is named (product, serial) here, but (serial, product) in vqc.h and pelto.h. */

/* Rebuilds the list; invalidates every [L] handle and string. */
void MiFindScreens(void);
/* Empties the list; same invalidation; harmless when already empty. */
void MiReleaseScreens(void);
/* 0 = none. */
uint32_t MiGetScreenCount(void);
/* [L]; NULL when index >= count or no screen there. */
MiScreen* MiGetScreenAtIndex(uint32_t index);
/* 0 = no screen on that monitor. */
uint32_t MiGetScreenCountForMonitor(const char* product, const char* serial);
/* [L]; NULL when index >= count or no screen there. */
MiScreen* MiGetScreenForMonitorAtIndex(const char* product, const char* serial, uint32_t index);
/* Pure, cannot fail. */
MiPoint MiPointMake(int32_t x, int32_t y);
/* Screens whose bounds contain the desktop point; 0 = none. */
uint32_t MiGetScreenCountForPoint(MiPoint point);
/* [L]; NULL when index >= count or no screen there. */
MiScreen* MiGetScreenForPointAtIndex(MiPoint point, uint32_t index);

/* Profile and gamma. Each returns a nonzero byte on success. */

/* buffer NULL: *length := bytes the path needs INCLUDING its NUL, 0 when the screen has no
   profile; returns nonzero. buffer set: *length = capacity on entry; copies path + NUL; too
   small -> 0 and *length := bytes needed. Other failure -> 0, *length untouched. */
uint8_t MiGetScreenProfile(MiScreen* screen, char* buffer, uint32_t* length);
/* path NULL = unset the profile; the library never deletes files; 0 = failure. */
uint8_t MiSetScreenProfile(MiScreen* screen, const char* path);
/* Fills 256 entries of each ramp, values in the library's scale (passed through); 0 = failure,
   arrays untouched. */
uint8_t MiGetScreenGraphicsCardGamma(MiScreen* screen, double (*red)[256], double (*green)[256],
                                     double (*blue)[256]);
/* 0 = failure. C callers before C23 need a cast from double (*)[256]; C++ does not. */
uint8_t MiSetScreenGraphicsCardGamma(MiScreen* screen, const double (*red)[256],
                                     const double (*green)[256], const double (*blue)[256]);

/* Description. A screen or EDID handle is never NULL in the plug-in's calls; for an invalid one
   the "unknown" value listed is returned. */

/* Pure, cannot fail. */
MiSize MiSizeMake(int32_t width, int32_t height);
/* The screen's rectangle on the desktop; all 0 when unknown. */
MiRect MiGetScreenBounds(MiScreen* screen);
/* Bits per pixel; 0 when unknown. */
int32_t MiGetScreenColorDepth(MiScreen* screen);
/* Hz; 0.0 when unknown. */
double MiGetScreenRefreshRate(MiScreen* screen);
/* Degrees 0/90/180/270; 0 when unknown. */
int32_t MiGetScreenRotation(MiScreen* screen);
/* Horizontal and vertical factors; {1.0, 1.0} when unknown. */
MiScale MiGetScreenScale(MiScreen* screen);
/* All 0 when unknown. */
MiSize MiGetScreenRenderingSize(MiScreen* screen);
uint8_t MiIsScreenPrimary(MiScreen* screen);
uint8_t MiIsScreenMirroring(MiScreen* screen);
uint8_t MiSupportsScreenProfile(MiScreen* screen);
uint8_t MiSupportsScreenGraphicsCardGamma(MiScreen* screen);
/* [L]; NULL = the screen has no EDID. */
MiEdid* MiGetScreenEdid(MiScreen* screen);
/* Nonzero = one of the maker's own monitors. */
uint8_t MiIsEdidOvakMonitor(MiEdid* edid);
/* [L]; "" when unknown. */
const char* MiGetEdidManufacturer(MiEdid* edid);
/* [L]; "" when unknown. */
const char* MiGetEdidProductName(MiEdid* edid);
/* [L]; "" when unknown. */
const char* MiGetEdidSerialNumber(MiEdid* edid);
/* All 0 when unknown. */
MiSize MiGetEdidPreferredResolution(MiEdid* edid);
/* primary 'R', 'G', 'B', 'W' (also 'K'): x and y set, every other slot 0; any other letter, or no
   data: all slots 0; cannot fail. */
MiColor MiGetEdidChromaticity(MiEdid* edid, char primary);
/* RandR event base of the host's display; 0 = unknown (asked again later). */
int32_t MiGetX11ScreenEventBase(void);

/* Run time only, through dlsym, both optional; the plug-in never calls them directly. */

/* {x, y}; cannot fail: a missing symbol is the only "absent" case. */
MiScale MiGetScreenPixelRatio(MiScreen* screen);
/* Nonzero = success; isModelYear nonzero -> "ModelYear", else "ManufactureYear"; year and week
   as the library decodes them (full year, week 0-54), passed through unchanged; outputs
   untouched on failure. */
uint8_t MiGetEdidManufactureYear(MiEdid* edid, uint8_t* isModelYear, int32_t* year, int32_t* week);

#ifdef __cplusplus
} /* extern "C" */
#endif

#if defined(__cplusplus)
static_assert(sizeof(MiSize) == 8, "MiSize is 8 bytes");
static_assert(sizeof(MiPoint) == 8, "MiPoint is 8 bytes");
static_assert(sizeof(MiRect) == 16, "MiRect is 16 bytes");
static_assert(sizeof(MiScale) == 16, "MiScale is 16 bytes");
static_assert(sizeof(MiColor) == 144, "MiColor is 18 slots of 8 bytes");
#if defined(__GNUC__)
static_assert(__builtin_offsetof(MiRect, width) == 8, "MiRect width at 8");
static_assert(__builtin_offsetof(MiColor, x) == 80, "MiColor xy in slots 10-11");
static_assert(__builtin_offsetof(MiColor, T) == 96, "MiColor T in slot 12");
static_assert(__builtin_offsetof(MiColor, L) == 104, "MiColor Lab in slots 13-15");
static_assert(__builtin_offsetof(MiColor, lchH) == 136, "MiColor hue in slot 17");
#endif
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(MiSize) == 8, "MiSize is 8 bytes");
_Static_assert(sizeof(MiPoint) == 8, "MiPoint is 8 bytes");
_Static_assert(sizeof(MiRect) == 16, "MiRect is 16 bytes");
_Static_assert(sizeof(MiScale) == 16, "MiScale is 16 bytes");
_Static_assert(sizeof(MiColor) == 144, "MiColor is 18 slots of 8 bytes");
#if defined(__GNUC__)
_Static_assert(__builtin_offsetof(MiRect, width) == 8, "MiRect width at 8");
_Static_assert(__builtin_offsetof(MiColor, x) == 80, "MiColor xy in slots 10-11");
_Static_assert(__builtin_offsetof(MiColor, T) == 96, "MiColor T in slot 12");
_Static_assert(__builtin_offsetof(MiColor, L) == 104, "MiColor Lab in slots 13-15");
_Static_assert(__builtin_offsetof(MiColor, lchH) == 136, "MiColor hue in slot 17");
#endif
#endif

#endif /* TOLMA_PLATFORM_SCRINFO2_H */
