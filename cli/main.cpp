#include "base/StandardStreams.h"
#include "cli/commands/DevicesCommand.h"
#include "cli/commands/SessionsCommand.h"
#include "cli/commands/SettingsCommand.h"
#include "cli/commands/TranslateCommand.h"
#include "cli/terminal/Replies.h"

#include <csignal>

using namespace lingrelay;

int main(int argumentCount, char** argumentTexts)
{
    auto const start = Clock::now();
    openStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> const words(argumentTexts + std::min(1, argumentCount), argumentTexts + argumentCount);
    auto const arguments = Arguments::parse(words);
    if (!arguments)
        return badArguments(arguments.error().message);
    switch (arguments->action) {
    case Arguments::Action::help:
        return print(Arguments::help(arguments->helpFor));
    case Arguments::Action::version:
        return print("lingrelay-cli " LINGRELAY_VERSION "\n");
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
