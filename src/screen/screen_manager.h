// kavri::screen::ScreenManager: the one owner of the screen-information library's screen list.
#pragma once

#include "json/value.h"
#include "platform/scrinfo2.h"

#include <mutex>
#include <string>
#include <vector>

namespace kavri::screen {

// Every call into the screen-information library goes through this manager, under its recursive
// mutex. A screen handle stays valid only until the library's list is rebuilt (update(), also
// run by the screen-change watcher on its own thread), so a request takes lock() once and keeps
// it while it selects screens and uses their handles.
//
// Lock order: dispatchMutex_ before mutex_. Requests take only mutex_. Events are pushed to the
// page with mutex_ released; dispatchMutex_, which only updateAndDispatchEvent takes, stays held
// across the push so that two delayed updates publish in the order in which they read the screens.
class ScreenManager {
public:
    using Lock = std::unique_lock<std::recursive_mutex>;

    static ScreenManager& Instance();

    ScreenManager();
    ~ScreenManager();
    ScreenManager(ScreenManager const&) = delete;
    ScreenManager& operator=(ScreenManager const&) = delete;

    // Holds the manager's lock for the caller's scope (it may be taken again on the same thread).
    Lock lock();

    // The library rebuilds (update) or empties (release) its list; every handle ends.
    void update();
    void release();
    // Whether the library lists no screen. Takes no lock.
    bool empty() const;

    // The path of the profile set on the screen; false, with `path` untouched, when there is none
    // or the library fails.
    bool getScreenProfile(MiScreen* screen, std::string& path);
    bool setScreenProfile(MiScreen* screen, std::string const& path);
    // Unsets the screen's profile; when that succeeds and `path` is not empty, deletes the file at
    // `path` (one trailing separator dropped). Only the unsetting decides the result.
    bool removeScreenProfile(MiScreen* screen, std::string const& path);
    bool getScreenGamma(MiScreen* screen, double (*red)[256], double (*green)[256],
                        double (*blue)[256]);
    bool setScreenGamma(MiScreen* screen, double const (*red)[256], double const (*green)[256],
                        double const (*blue)[256]);

    // Screens in the library's index order; an index without a screen is skipped.
    std::vector<MiScreen*> getScreensForMonitor(std::string const& product,
                                                std::string const& serial);
    std::vector<MiScreen*> getScreens();
    std::vector<MiScreen*> getScreensForPoint(int x, int y);

    // The JSON description of one screen (screen_description.cpp).
    pocketjson::Value getScreenInfo(MiScreen* screen);
    // The compact JSON text of the array of every screen's description; "[]" without screens.
    std::string getScreensInfoString();
    // Takes the current description as the baseline that later changes are compared with.
    void storeCurrentScreens();
    // Re-reads the screens and, when their description differs from the baseline and is not "[]",
    // makes it the baseline, logs the change and pushes "screenChanged" with it.
    void updateAndDispatchEvent();

private:
    mutable std::recursive_mutex mutex_;
    std::string storedScreensInfo; // guarded by mutex_
    std::mutex dispatchMutex_;
};

} // namespace kavri::screen
