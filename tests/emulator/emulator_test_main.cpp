// The emulator answers on the thread that owns it, so every test runs a Qt
// event loop on the main thread while it waits for a reply.
#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
