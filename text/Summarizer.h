#pragma once

#include "base/Result.h"
#include "base/async/Task.h"

#include <string>

namespace lingrelay {

/// Asks the hosted language model for a recap of a conversation. The wording is the backend's: only text, language and
/// style go out. Holds no state; any task.
class Summarizer {
public:
    /// `style` is "brief" or "full"; `token` identifies the caller. Of a long text the end is summarised. The error is
    /// for the user, and its code the answer's status where there was one.
    static Task<Result<std::string>> summarize(
        std::string text, std::string target, std::string token, std::string style);
};

} // namespace lingrelay
