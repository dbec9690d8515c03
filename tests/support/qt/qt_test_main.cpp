// gtest entry point for tests that need a Qt application object and event
// loop on the main thread.
#include <gmock/gmock.h>

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
