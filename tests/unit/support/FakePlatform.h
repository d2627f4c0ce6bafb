#pragma once

#include "app/Prefs.h"
#include "app/Usage.h"
#include "platform/Platform.h"
#include "platform/archive/LibarchiveArchiver.h"
#include "platform/codecs/StandardImageCodecs.h"

#include <QMap>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace testsupport {

// A screen with chosen displays, windows and pixels.
class FakeScreen : public platform::ScreenBackend {
public:
    QList<platform::DisplayInfo> displayList;
    QList<platform::WindowInfo> windowList; // front to back
    std::optional<uint32_t> active;
    QPoint pointer;
    QImage desktop; // the root window's pixels
    QHash<uint32_t, QImage> windowPixels;
    QList<QRect> grabbedAreas;

    QList<platform::DisplayInfo> displays() override { return displayList; }
    Result<QImage> grabArea(const QRect& rootRect) override {
        grabbedAreas.append(rootRect);
        return desktop.copy(rootRect);
    }
    Result<QImage> grabWindow(uint32_t id) override {
        if (!windowPixels.contains(id)) return Error{QStringLiteral("Window not found"), {}, 2};
        return windowPixels.value(id);
    }
    QList<platform::WindowInfo> windows() override { return windowList; }
    std::optional<uint32_t> activeWindow() override { return active; }
    QPoint pointerPosition() override { return pointer; }

    std::optional<Cursor> pointerImage;
    std::optional<Cursor> cursor() override { return pointerImage; }

    // With `arranges`, windows take the frame asked for at once; else the system default.
    bool arranges = false;
    Result<bool> arrangeWindow(uint32_t id, std::optional<QPoint> topLeft, std::optional<QSize> clientSize,
                               bool raise) override {
        if (!arranges) return ScreenBackend::arrangeWindow(id, topLeft, clientSize, raise);
        for (platform::WindowInfo& window : windowList) {
            if (window.id != id) continue;
            if (clientSize) window.frame.setSize(*clientSize);
            if (topLeft) window.frame.moveTopLeft(*topLeft);
        }
        return true;
    }
};

class FakeClipboard : public platform::Clipboard {
public:
    QList<QImage> images;
    QList<QByteArray> pngs;
    QStringList texts;
    void setImage(const QImage& image, const QByteArray& png) override {
        images.append(image);
        pngs.append(png);
    }
    void setText(const QString& text) override { texts.append(text); }
    QList<QStringList> files;
    void setFiles(const QStringList& paths) override { files.append(paths); }
    Contents held;
    Contents contents() const override { return held; }
};

class FakeSound : public platform::SoundPlayer {
public:
    int shutters = 0;
    void playShutter() override { ++shutters; }
};

class FakeToasts : public platform::ToastPresenter {
public:
    QStringList shown;
    void show(const QString& text, double) override { shown.append(text); }
};

class FakeNamePrompt : public platform::NamePrompt {
public:
    std::optional<QString> answer;
    QString offered;
    std::optional<QString> askForName(const QString&, const QString&, const QString& defaultName) override {
        offered = defaultName;
        return answer;
    }
};

class FakeHotkeys : public platform::GlobalHotkeys {
public:
    QMap<int, std::pair<QKeySequence, std::function<void()>>> bound;
    QList<QKeySequence> taken; // combinations another program holds
    int next = 1;
    Result<int> bind(const QKeySequence& keys, std::function<void()> pressed) override {
        if (taken.contains(keys)) return Error{keys.toString() + QStringLiteral(" is taken")};
        // Like the X server, one combination has one holder.
        for (const auto& [sequence, pressed] : std::as_const(bound))
            if (sequence == keys) return Error{keys.toString() + QStringLiteral(" is bound twice")};
        bound.insert(next, {keys, std::move(pressed)});
        return next++;
    }
    void unbind(int handle) override { bound.remove(handle); }
    // Presses a bound combination; false when nothing holds it.
    bool press(const QKeySequence& keys) {
        for (const auto& [sequence, pressed] : std::as_const(bound))
            if (sequence == keys) {
                pressed();
                return true;
            }
        return false;
    }
};

class FakeDesktopCover : public platform::DesktopCover {
public:
    bool covered = false;
    int covers = 0;
    void cover() override {
        covered = true;
        ++covers;
    }
    void uncover() override { covered = false; }
};

// Hands out cookies and remembers which are held.
class FakeSleepGuard : public platform::SleepGuard {
public:
    QList<uint32_t> held;
    QStringList reasons;
    Result<uint32_t> inhibit(const QString& reason) override {
        reasons << reason;
        held << ++m_next;
        return m_next;
    }
    void release(uint32_t cookie) override { held.removeAll(cookie); }

private:
    uint32_t m_next = 0;
};

// A recogniser that returns the lines a test gives it, whatever the image.
class FakeTextRecognition : public platform::TextRecognitionEngine {
public:
    QList<platform::RecognizedLine> lines;
    std::optional<Error> failure;
    QList<std::pair<platform::RecognitionLevel, bool>> requests; // level, language correction
    Result<QList<platform::RecognizedLine>> recognize(const QImage&, platform::RecognitionLevel level,
                                                      bool languageCorrection) override {
        requests.append({level, languageCorrection});
        if (failure) return *failure;
        return lines;
    }
};

class FakeBarcodes : public platform::BarcodeReader {
public:
    QStringList payloads;
    QStringList read(const QImage&) override { return payloads; }
};

// A subject lifter that answers what a test sets: a fixed cut-out or a failure.
class FakeSubjectLifter : public platform::SubjectLifter {
public:
    std::optional<QImage> cutOut;
    std::optional<Error> failure;
    int requests = 0;
    Result<QImage> lift(const QImage& image) override {
        ++requests;
        if (failure) return *failure;
        return cutOut.value_or(image);
    }
};

// Movies of one colour: every frame of a file is `frameColor` at `info.size`.
class FakeMediaReader : public platform::MediaReader {
public:
    platform::MediaInfo mediaInfo{2.0, QSize(64, 48), 30, QStringLiteral("h264"), false, {}};
    QColor frameColor = Qt::magenta;
    QList<double> requestedTimes;
    Result<platform::MediaInfo> info(const QString&) override { return mediaInfo; }
    Result<QImage> frameAt(const QString&, double seconds) override {
        requestedTimes.append(seconds);
        QImage frame(mediaInfo.size, QImage::Format_ARGB32);
        frame.fill(frameColor);
        return frame;
    }
};

// PDFs of `pages` pages; page n is 100 × 50 points filled with pageColors[n - 1].
class FakeDocumentReader : public platform::DocumentReader {
public:
    QList<QColor> pageColors{Qt::red, Qt::green, Qt::blue};
    bool handles(const QString& file) const override { return file.endsWith(QLatin1String(".pdf")); }
    Result<int> pageCount(const QString&) override { return int(pageColors.size()); }
    Result<QImage> renderPage(const QString&, int page, double scale) override {
        if (page < 1 || page > pageColors.size())
            return Error{QStringLiteral("The document has %1 pages; there is no page %2.")
                             .arg(pageColors.size())
                             .arg(page)};
        QImage image(QSize(100, 50) * scale, QImage::Format_ARGB32);
        image.fill(pageColors[page - 1]);
        return image;
    }
};

// Each test gets its own preferences and data folders, the real codecs and archiver
// (neither needs a display) and fakes for everything else, reachable through the members.
class PlatformTest : public ::testing::Test {
protected:
    // Counts made in this test go to its own folder, before the folder goes.
    ~PlatformTest() override { Usage::flush(); }

    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
        qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
        qputenv("HOME", home.path().toUtf8());
        Prefs::registerDefaults();
        auto s = std::make_unique<FakeScreen>();
        auto c = std::make_unique<FakeClipboard>();
        auto so = std::make_unique<FakeSound>();
        auto t = std::make_unique<FakeToasts>();
        auto n = std::make_unique<FakeNamePrompt>();
        auto h = std::make_unique<FakeHotkeys>();
        auto d = std::make_unique<FakeDesktopCover>();
        auto r = std::make_unique<FakeTextRecognition>();
        auto b = std::make_unique<FakeBarcodes>();
        auto l = std::make_unique<FakeSubjectLifter>();
        auto m = std::make_unique<FakeMediaReader>();
        auto doc = std::make_unique<FakeDocumentReader>();
        auto sleep = std::make_unique<FakeSleepGuard>();
        screen = s.get();
        clipboard = c.get();
        sound = so.get();
        toasts = t.get();
        namePrompt = n.get();
        hotkeys = h.get();
        desktopCover = d.get();
        textRecognition = r.get();
        barcodes = b.get();
        subjectLifter = l.get();
        media = m.get();
        documents = doc.get();
        sleepGuard = sleep.get();
        platform::install({std::move(s), std::make_unique<platform::codecs::StandardImageCodecs>(),
                           std::move(c), std::move(so),
                           std::move(t), std::move(n),
                           std::move(h), std::move(d),
                           std::move(r), std::move(b),
                           std::move(l), std::make_unique<platform::archive::LibarchiveArchiver>(),
                           std::move(m), std::move(doc),
                           nullptr,      nullptr,
                           nullptr,      nullptr,
                           nullptr,      std::move(sleep),
                           nullptr,      nullptr,
                           nullptr,      nullptr,
                           nullptr,      nullptr,
                           nullptr,      nullptr,
                           nullptr});
    }

    QTemporaryDir home;
    FakeScreen* screen = nullptr;
    FakeClipboard* clipboard = nullptr;
    FakeSound* sound = nullptr;
    FakeToasts* toasts = nullptr;
    FakeNamePrompt* namePrompt = nullptr;
    FakeHotkeys* hotkeys = nullptr;
    FakeDesktopCover* desktopCover = nullptr;
    FakeTextRecognition* textRecognition = nullptr;
    FakeMediaReader* media = nullptr;
    FakeDocumentReader* documents = nullptr;
    FakeBarcodes* barcodes = nullptr;
    FakeSubjectLifter* subjectLifter = nullptr;
    FakeSleepGuard* sleepGuard = nullptr;
};

} // namespace testsupport
