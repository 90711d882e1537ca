#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/sim/SimPanelWindow.h"
#include "tests/platform/PanelWindowContract.h"
#include "tests/support/TestProcess.h"

#include <QCoreApplication>
#include <QRasterWindow>

namespace lingrelay {

namespace {

struct SimWorld {
    PanelWindow& window() { return panel; }
    void settle() { }

    SimPanelWindow panel;
};

struct QtWorld {
    PanelWindow& window() { return panel; }
    void settle()
    {
        eventually(
            [] {
                QCoreApplication::processEvents();
                return false;
            },
            0.2);
    }

    QRasterWindow drawn;
    QtPanelWindow panel{drawn, 16};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Sim, PanelWindowContract, SimWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, PanelWindowContract, QtWorld);

} // namespace

} // namespace lingrelay
