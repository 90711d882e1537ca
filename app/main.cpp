#include "app/Program.h"
#include "base/StandardStreams.h"
#include "platform/linux/qt/SingleInstance.h"
#include "program/SignalWatch.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QIcon>

#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace {

constexpr auto usage = "usage: lingrelay [--version | --help]\n"
                       "Opens the window, or brings it to the front when the program runs already. For terminals and "
                       "scripts there is lingrelay-cli.\n";

} // namespace

int main(int argc, char** argv)
{
    lingrelay::openStandardStreams();
    bool replace = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::puts("lingrelay " LINGRELAY_VERSION);
            return 0;
        }
        replace = replace || std::strcmp(argv[i], "--replace") == 0; // after a restart from within
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(usage, stdout);
            return 0;
        }
    }
    // Where Wayland has X11 beside it, that: only there can a panel stay above all windows, in its place.
    if (!qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb;wayland");
    lingrelay::SignalWatch::block(); // the toolkit has threads of its own
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("lingrelay"));
    QGuiApplication::setDesktopFileName(QStringLiteral("lingrelay"));
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/qt/qml/Lingrelay/Controls/icons/app.svg")));
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(13);
    QApplication::setFont(font);
    using Takeover = lingrelay::SingleInstance::Takeover;
    lingrelay::SingleInstance instance("lingrelay", replace ? Takeover::yes : Takeover::no);
    if (!instance.first())
        return 0;
    lingrelay::Program program;
    instance.onRaise = [&program] { program.raise(); };
    program.onEnding = [&instance] { instance.yield(); };
    return program.run();
}
