// The display-sleep guard against a bus daemon of the test's own, where a stand-in for the
// desktop's screen saver service hands out cookies and hears them handed back.

#include "ChildProcess.h"
#include "WaitUntil.h"
#include "platform/dbus/ScreenSaverSleepGuard.h"

#include <QDBusConnection>
#include <QMutex>
#include <QThread>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// The freedesktop screen saver's two calls. It lives on a thread of its own, because the
// guard's call waits for the answer without running the caller's event loop.
class FakeScreenSaver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
public:
    QStringList inhibited() const {
        QMutexLocker lock(&m_mutex);
        return m_inhibited;
    }
    QList<uint> held() const {
        QMutexLocker lock(&m_mutex);
        return m_held;
    }

public slots:
    uint Inhibit(const QString& application, const QString& reason) {
        QMutexLocker lock(&m_mutex);
        m_inhibited << application + ": " + reason;
        m_held << ++m_next + 1000;
        return m_held.last();
    }
    void UnInhibit(uint cookie) {
        QMutexLocker lock(&m_mutex);
        m_held.removeAll(cookie);
    }

private:
    mutable QMutex m_mutex;
    QStringList m_inhibited;
    QList<uint> m_held;
    uint m_next = 0;
};

class SleepGuardTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Its notes about the container's limits are no concern of the test.
        daemon = ChildProcess::start("dbus-daemon", {"--session", "--nofork", "--print-address=1"},
                                     {.err = ChildProcess::Stream::Discard});
        const auto line = daemon->readLine(std::chrono::seconds(10));
        ASSERT_TRUE(line) << "dbus-daemon did not start";
        address = QString::fromStdString(*line);
    }
    void TearDown() override {
        if (serviceThread.isRunning()) {
            serviceThread.quit();
            serviceThread.wait();
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("screen-saver"));
        daemon->stop();
    }

    // Puts the stand-in on the bus under the screen saver's name.
    FakeScreenSaver& serve() {
        service = std::make_unique<FakeScreenSaver>();
        serviceThread.start();
        service->moveToThread(&serviceThread);
        QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("screen-saver"));
        EXPECT_TRUE(bus.isConnected());
        EXPECT_TRUE(bus.registerObject(QStringLiteral("/org/freedesktop/ScreenSaver"), service.get(),
                                       QDBusConnection::ExportAllSlots));
        EXPECT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver")));
        return *service;
    }

    std::unique_ptr<ChildProcess> daemon;
    QString address;
    QThread serviceThread;
    std::unique_ptr<FakeScreenSaver> service;
};

TEST_F(SleepGuardTest, InhibitsWithTheReasonAndReleasesTheCookie) {
    FakeScreenSaver& saver = serve();
    platform::dbus::ScreenSaverSleepGuard guard(address);
    const auto cookie = guard.inhibit(QStringLiteral("Pictavia screen recording"));
    ASSERT_TRUE(cookie) << cookie.error().message.toStdString();
    EXPECT_EQ(saver.inhibited(), QStringList{"Pictavia: Pictavia screen recording"});
    EXPECT_EQ(saver.held(), QList<uint>{*cookie});

    guard.release(*cookie);
    EXPECT_TRUE(waitUntil([&] { return saver.held().isEmpty(); }, std::chrono::seconds(5)));
    guard.release(0); // nothing taken: nothing sent
}

TEST_F(SleepGuardTest, ADesktopWithoutTheServiceSaysSoInOneSentence) {
    platform::dbus::ScreenSaverSleepGuard guard(address);
    const auto cookie = guard.inhibit(QStringLiteral("Pictavia screen recording"));
    ASSERT_FALSE(cookie);
    EXPECT_TRUE(cookie.error().message.startsWith("The screen cannot be kept awake: "))
        << cookie.error().message.toStdString();

    // No bus at all is no hang either.
    platform::dbus::ScreenSaverSleepGuard nowhere(QStringLiteral("unix:path=/nonexistent/bus"));
    EXPECT_EQ(nowhere.inhibit(QStringLiteral("x")).error().message,
              "The screen cannot be kept awake: there is no session bus");
}

} // namespace

#include "SleepGuardTest.moc"
