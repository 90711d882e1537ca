#pragma once

#include "base/Result.h"
#include "base/async/Task.h"

#include <string>

namespace lingrelay {

/// Translates one piece of text outside of the speech path: by the session backend, or by a public service when the
/// backend gives nothing. The text goes out whole, in one request. Holds no state; any task.
class TextTranslator {
public:
    /// `from` may be "auto" or empty; `token` identifies the caller to the backend. Text of only white space is
    /// answered with an empty text and no request. The error is the public service's, for the user, and its code the
    /// answer's status where there was one.
    static Task<Result<std::string>> translate(std::string text, std::string from, std::string to, std::string token);
};

} // namespace lingrelay
