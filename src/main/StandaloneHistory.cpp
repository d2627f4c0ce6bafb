#include "main/StandaloneHistory.h"

#include "capture/HistoryManager.h"
#include "history/HistoryIndex.h"

namespace StandaloneHistory {

void useJournal() {}

void attach() {
    HistoryIndex::attachShared();
    HistoryIndex::shared().deferScans();
}

} // namespace StandaloneHistory
