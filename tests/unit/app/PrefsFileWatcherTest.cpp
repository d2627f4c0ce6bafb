#include "app/PrefsFileWatcher.h"

#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QSaveFile>

namespace {

class PrefsFileWatcherTest : public testsupport::PlatformTest {};

TEST_F(PrefsFileWatcherTest, AFileReplacedByAnEditorIsReadAgainEachTime) {
    Prefs::setValue("captureSound", true);
    Prefs::sync();
    PrefsFileWatcher watcher;
    int changes = 0;
    QObject::connect(&watcher, &PrefsFileWatcher::changed, [&] { ++changes; });

    // Twice: a watch on a file ends when another file is renamed over it.
    for (const char* value : {"false", "true"}) {
        const int before = changes;
        QSaveFile file(Prefs::filePath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("; edited by hand\ncaptureSound = ") + value + "\n");
        ASSERT_TRUE(file.commit());
        ASSERT_TRUE(testsupport::waitUntil([&] { return changes > before; })) << value;
        EXPECT_EQ(Prefs::flag("captureSound"), QByteArray(value) == "true");
    }
}

} // namespace
