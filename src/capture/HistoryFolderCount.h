#pragma once

#include <QString>

#include <optional>

// How many files the history folder holds, remembered in a small file beside it, so that a
// capture does not list a folder of 100,000 files to learn that nothing needs pruning.
//
// The remembered count holds while the folder's modification time is the one written with
// it: a file added, deleted or renamed by anyone else changes that time, and the count is
// then unknown until the folder is listed again. Captures added through this class keep it
// current. Two programs adding at the same moment may count one file too few, which only
// delays pruning until the next listing; a listing is forced every `maxIncrements` adds.
class HistoryFolderCount {
public:
    static constexpr int maxIncrements = 64;

    HistoryFolderCount(QString folder, QString countFile);

    // The number of files, when the remembered one still holds.
    std::optional<qsizetype> known() const;

    // Around writing one new file into the folder.
    void beforeAdd();
    void afterAdd();

    // After a listing: the folder holds `count` files now.
    void reset(qsizetype count);

private:
    struct State {
        qint64 modified = 0; // the folder's modification time, in nanoseconds
        qsizetype count = 0;
        int increments = 0;
    };
    std::optional<State> read() const;
    void write(const State& state) const;
    qint64 folderModified() const;

    QString m_folder;
    QString m_countFile;
    std::optional<State> m_beforeAdd;
};
