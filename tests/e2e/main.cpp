#include <QGuiApplication>
#include <gtest/gtest.h>

// The tests start their own X servers and the application on them; Qt itself draws offscreen.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
