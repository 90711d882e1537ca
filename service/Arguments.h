#pragma once

#include "base/Result.h"
#include "service/script/Script.h"
#include "service/wire/SessionBook.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay::service {

/// What the command line asks for.
struct Arguments {
    std::uint16_t port = 0; ///< 0: any free one
    std::optional<Script> script;
    SessionBook::Plan sessions; ///< the script's, changed by options
    bool help = false;

    static char const* usage();
    /// The error is one line that says what to do.
    static Result<Arguments> parse(std::vector<std::string> const& words);
};

} // namespace lingrelay::service
