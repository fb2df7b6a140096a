// folder_watch.h - hears of changes in the folder that is served.
//
// What is heard counts as a change of the listings, whether they are asked for
// or not. Where a tree cannot be watched, because it has more folders than the
// system grants watches, changes are found when listings are asked for.
#ifndef QM_SERVE_FOLDER_WATCH_H
#define QM_SERVE_FOLDER_WATCH_H

#include "qm-serve/media_folder.h"

namespace serve {

// Watches the folder and all folders in it, from a thread of its own, until
// stop_folder_watch; the folder stays until then. Only one at a time.
void start_folder_watch(const MediaFolder &folder);

// Waits for the thread, if there is one.
void stop_folder_watch();

}

#endif
