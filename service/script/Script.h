#pragma once

#include "base/Json.h"
#include "base/Result.h"
#include "service/wire/Limits.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay::service {

/// One thing that a scripted connection does, once its trigger has come. Steps run in order.
struct ScriptStep {
    enum class Action { message, stall, drop, nothing };

    std::optional<double> atMs; ///< after the first message
    std::optional<double> afterAudioMs; ///< of sound received on this connection
    std::optional<int> afterTexts; ///< text frames received, the first message included
    bool afterEnd = false; ///< an empty frame has come
    double delayMs = 0; ///< after the trigger
    Action action = Action::nothing;
    std::string data; ///< the frame that is sent
    double stallMs = 0; ///< for which nothing is read and nothing is sent
};

/// One connection, from the handshake on.
struct ScriptConnection {
    int httpStatus = 0; ///< answers the upgrade with this, when not 0
    double acceptDelayMs = 0;
    bool offline = false; ///< the real engine serves it
    bool checkKey = true; ///< a wrong key gets the error frame
    std::vector<ScriptStep> steps;
};

/// The answer to one request.
struct ScriptAnswer {
    enum class Kind { scripted, offline, silence };

    Kind kind = Kind::scripted;
    int status = 200;
    std::string body;
    double delayMs = 0;
};

/// The timed answers and faults of a script file; README.md in this folder describes the form.
///
/// The nth connection or request gets the nth entry of its list, and the last entry serves all that follow. What has
/// no list is served by the offline engines.
class Script {
public:
    static Result<Script> parse(std::string_view text);
    /// The error names the file.
    static Result<Script> load(std::string const& path);

    /// `index` counts from 0; nothing without a list.
    ScriptConnection const* stt(std::size_t index) const { return entry(m_stt, index); }
    ScriptConnection const* tts(std::size_t index) const { return entry(m_tts, index); }
    /// `operation` is "start", "tick", "end", "balance", "summary" or "translate".
    ScriptAnswer const* answer(std::string const& operation, std::size_t index) const;
    /// Whether any stream may need the recogniser.
    bool needsRecogniser() const;

    Limits limits;
    std::string record; ///< the file that takes what clients send; empty for none

private:
    template <class Entry> static Entry const* entry(std::vector<Entry> const& list, std::size_t index)
    {
        return list.empty() ? nullptr : &list[std::min(index, list.size() - 1)];
    }

    std::vector<ScriptConnection> m_stt;
    std::vector<ScriptConnection> m_tts;
    std::map<std::string, std::vector<ScriptAnswer>> m_answers;
};

} // namespace lingrelay::service
