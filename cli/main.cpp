#include "cli/commands/DevicesCommand.h"
#include "cli/commands/SessionsCommand.h"
#include "cli/commands/SettingsCommand.h"
#include "cli/commands/TranslateCommand.h"
#include "cli/terminal/Complaint.h"

#include <csignal>
#include <cstdio>

#include <fmt/format.h>

using namespace lingrelay;

int main(int argumentCount, char** argumentTexts)
{
    auto const start = Clock::now();
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> const words(argumentTexts + std::min(1, argumentCount), argumentTexts + argumentCount);
    auto const arguments = Arguments::parse(words);
    if (!arguments) {
        complain(arguments.error().message);
        return exitBadArguments;
    }
    switch (arguments->action) {
    case Arguments::Action::help:
        fmt::print("{}", Arguments::help());
        return exitDone;
    case Arguments::Action::version:
        fmt::print("lingrelay-cli {}\n", LINGRELAY_VERSION);
        return exitDone;
    case Arguments::Action::sessions:
        return sessionsCommand(*arguments);
    case Arguments::Action::settings:
        return settingsCommand(*arguments);
    case Arguments::Action::devices:
        return devicesCommand(*arguments);
    case Arguments::Action::translate:
    case Arguments::Action::say:
    case Arguments::Action::testVoice:
        break;
    }
    return translateCommand(*arguments, start);
}
