#include <QGuiApplication>
#include <gtest/gtest.h>

// Image and text code needs a QGuiApplication (fonts); the offscreen platform needs no display.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
