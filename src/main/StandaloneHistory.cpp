#include "main/StandaloneHistory.h"

#include "app/AppPaths.h"
#include "capture/HistoryManager.h"
#include "editor/ProjectStore.h"
#include "history/HistoryIndex.h"
#include "history/HistoryJournal.h"
#include "main/CommandOutput.h"

namespace StandaloneHistory {

void useJournal() {
    HistoryIndex::setSharedMode(HistoryIndex::Mode::Journal);
}

void attach() {
    useJournal();
    HistoryManager::setIndex(
        {[](const QString& path, const CaptureContext& context) {
             HistoryJournal::Entry entry;
             entry.record = HistoryIndex::newRecord(path, context);
             const QString indexFile = HistoryIndex::sharedIndexFile();
             if (const auto appended = HistoryJournal::append(indexFile, entry); !appended)
                 CommandOutput::error(appended.error().message);
         },
         // Read only when pruning has a file to consider: most captures never load the index.
         [](const QString& name) { return HistoryIndex::shared().isKept(name); },
         [](const QSet<QString>& remaining) {
             HistoryIndex::shared().keepOnly(remaining);
             ProjectStore::pruneOrphans(remaining);
         }});
}

} // namespace StandaloneHistory
