// The screen-change watch as the screens use it: the re-read bound once, then on and off.
#include "screen/screen_watch.h"

#include "bridge/tolma_logger.h"
#include "loader/loaders.h"
#include "notification/native_event_filter.h"
#include "screen/screen_manager.h"

namespace kavri::screen {

namespace {

void reReadScreens() {
    ScreenManager::Instance().updateAndDispatchEvent();
}

// Singletons die at process exit in reverse order of construction. A host may exit without
// TearDown while a re-read runs; the watcher's destructor then stops it, so everything a re-read
// touches is constructed here before the watcher and outlives it.
notification::NativeEventFilterLinux& boundWatcher() {
    static notification::NativeEventFilterLinux& watcher = *[] {
        ScreenManager::Instance();
        TolmaLogger::Instance();
        libscrinfo2Loader::loader();
        ormicLoader::loader();
        notification::BindScreenReRead(reReadScreens);
        return &notification::NativeEventFilterLinux::Instance();
    }();
    return watcher;
}

} // namespace

void WatchScreenChanges() {
    boundWatcher();
    notification::RegisterScreenChangeNotification();
}

void UnwatchScreenChanges() {
    boundWatcher();
    notification::UnregisterScreenChangeNotification();
}

} // namespace kavri::screen
