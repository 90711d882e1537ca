#include "tests/support/DesktopServer.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace lingrelay {

DesktopServer* testDesktop = nullptr;

} // namespace lingrelay

/// Tests of windows on a desktop of their own.
int main(int argc, char** argv)
{
    lingrelay::DesktopServer desktop;
    if (!desktop.ready())
        return 1;
    lingrelay::testDesktop = &desktop;
    QApplication const application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
