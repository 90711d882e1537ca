#pragma once

#include "cli/commands/Arguments.h"
#include "cli/commands/Choice.h"

#include <span>
#include <string>
#include <string_view>

namespace lingrelay {

inline constexpr Word<Arguments::Form> formWords[] = {{"txt", Arguments::Form::text}, {"srt", Arguments::Form::srt},
    {"vtt", Arguments::Form::vtt}, {"json", Arguments::Form::json}};

/// One option of the command line: what it takes and what it does to the arguments.
struct Option {
    /// Commands that an option belongs to.
    enum Commands : unsigned { translating = 1, archive = 2, settingsStore = 4, speaking = 8, deviceList = 16 };

    std::string_view name;
    std::string_view value; ///< what it takes, for the help; empty: it stands alone
    std::string_view help;
    /// Gives one line about a value that cannot be used; empty when it can.
    std::string (*take)(Arguments&, std::string_view option, std::string const& text);
    unsigned commands = translating;

    /// In the order of the help. A name stands once a command.
    static std::span<Option const> all();
    static Option const* find(std::string_view name, unsigned command);
};

} // namespace lingrelay
