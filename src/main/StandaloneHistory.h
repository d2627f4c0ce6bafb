#pragma once

// The history as a command line sees it while no Pictavia runs. The resident app is the
// only writer of the index file: a command appends its changes to the journal beside it,
// which the app folds in, and reads the index only when it needs to (a search, the keep
// flags when pruning).
namespace StandaloneHistory {

// Makes HistoryIndex::shared() the journal-writing index of a command line. Call before
// its first use.
void useJournal();

// Registers the history folder's index hooks for a capture: the new capture is appended
// to the journal without reading the index; pruning reads the keep flags only when it has
// something to prune.
void attach();

} // namespace StandaloneHistory
