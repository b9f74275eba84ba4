// CancelScreenSaver: the pointer warp that ends a running screen saver, through libX11 opened
// at run time.
#include "loader/dynamic_library.h"
#include "system/session_state.h"

// Only the types and the default-screen macro: the functions are looked up at run time.
#include <X11/Xlib.h>

namespace kavri::system {

namespace {

// The seven Xlib calls of the warp, resolved from one run-time opening of the library.
struct Xlib {
    explicit Xlib(DynamicLibrary const& x11)
        : openDisplay(KAVRI_LOOKUP(x11, XOpenDisplay)),
          closeDisplay(KAVRI_LOOKUP(x11, XCloseDisplay)),
          screenCount(KAVRI_LOOKUP(x11, XScreenCount)), rootWindow(KAVRI_LOOKUP(x11, XRootWindow)),
          queryPointer(KAVRI_LOOKUP(x11, XQueryPointer)),
          warpPointer(KAVRI_LOOKUP(x11, XWarpPointer)), flush(KAVRI_LOOKUP(x11, XFlush)) {}

    bool complete() const {
        return openDisplay && closeDisplay && screenCount && rootWindow && queryPointer &&
               warpPointer && flush;
    }

    decltype(&XOpenDisplay) openDisplay;
    decltype(&XCloseDisplay) closeDisplay;
    decltype(&XScreenCount) screenCount;
    decltype(&XRootWindow) rootWindow;
    decltype(&XQueryPointer) queryPointer;
    decltype(&XWarpPointer) warpPointer;
    decltype(&XFlush) flush;
};

} // namespace

void CancelScreenSaver() {
    // Opened once and kept: the host's own X connection usually holds the library anyway.
    static DynamicLibrary x11;
    if (!x11.open(fs::Path("libX11.so.6")))
        return;
    Xlib const xlib(x11);
    if (!xlib.complete())
        return;
    Display* display = xlib.openDisplay(nullptr);
    if (display == nullptr)
        return;
    bool found = false;
    int x = 0;
    int y = 0;
    for (int screen = 0; !found && screen < xlib.screenCount(display); ++screen) {
        Window root = 0;
        Window child = 0;
        int windowX = 0;
        int windowY = 0;
        unsigned mask = 0;
        found = xlib.queryPointer(display, xlib.rootWindow(display, screen), &root, &child, &x, &y,
                                  &windowX, &windowY, &mask) != False;
    }
    if (found)
        xlib.warpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, x, y);
    xlib.flush(display);
    xlib.closeDisplay(display);
}

} // namespace kavri::system
