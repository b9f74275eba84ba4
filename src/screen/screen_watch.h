// Switching the screen-change watch on and off, with the screen re-read bound into the watcher.
#pragma once

namespace kavri::screen {

// Binds ScreenManager::updateAndDispatchEvent as the watcher's re-read (once) and switches the
// watch on.
void WatchScreenChanges();
// Switches the watch off; a re-read already started still runs.
void UnwatchScreenChanges();

} // namespace kavri::screen
