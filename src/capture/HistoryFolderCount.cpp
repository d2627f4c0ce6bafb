#include "capture/HistoryFolderCount.h"

#include <QFile>

#include <sys/stat.h>

HistoryFolderCount::HistoryFolderCount(QString folder, QString countFile)
    : m_folder(std::move(folder)), m_countFile(std::move(countFile)) {}

qint64 HistoryFolderCount::folderModified() const {
    struct stat status {};
    if (::stat(QFile::encodeName(m_folder).constData(), &status) != 0) return 0;
    return qint64(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
}

std::optional<HistoryFolderCount::State> HistoryFolderCount::read() const {
    QFile file(m_countFile);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    // "modified count increments"; anything else, a torn write among them, is no count.
    const QList<QByteArray> fields = file.read(128).trimmed().split(' ');
    if (fields.size() != 3) return std::nullopt;
    bool ok[3] = {};
    const State state{fields[0].toLongLong(&ok[0]), qsizetype(fields[1].toLongLong(&ok[1])),
                      fields[2].toInt(&ok[2])};
    if (!ok[0] || !ok[1] || !ok[2] || state.count < 0 || state.increments < 0) return std::nullopt;
    return state;
}

void HistoryFolderCount::write(const State& state) const {
    // Rewritten in place, not replaced: a rename would wake whoever watches the data folder.
    QFile file(m_countFile);
    if (!file.open(QIODevice::ReadWrite)) return;
    const QByteArray line = QByteArray::number(state.modified) + ' ' + QByteArray::number(state.count) + ' ' +
                            QByteArray::number(state.increments) + '\n';
    if (file.write(line) == line.size()) file.resize(line.size());
}

std::optional<qsizetype> HistoryFolderCount::known() const {
    const auto state = read();
    if (!state || state->modified != folderModified() || state->increments >= maxIncrements)
        return std::nullopt;
    return state->count;
}

void HistoryFolderCount::beforeAdd() {
    m_beforeAdd = read();
    if (m_beforeAdd && m_beforeAdd->modified != folderModified()) m_beforeAdd.reset();
}

void HistoryFolderCount::afterAdd() {
    if (!m_beforeAdd) return;
    write({folderModified(), m_beforeAdd->count + 1, m_beforeAdd->increments + 1});
    m_beforeAdd.reset();
}

void HistoryFolderCount::reset(qsizetype count) {
    write({folderModified(), count, 0});
}
