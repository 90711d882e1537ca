#pragma once

#include "base/async/Scheduler.h"

#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace lingrelay {

/// Recognises clauses from the microphone that repeat what the far end said in the last 8 seconds. Shared; any thread.
class FarEndEcho {
public:
    explicit FarEndEcho(Scheduler& clock) : m_clock(clock) { }
    static FarEndEcho& shared();

    /// Remembers a finished original of the far end.
    void note(std::string_view text);
    /// True when one remembered text holds at least 0.6 of this text's words.
    bool looksLikeEcho(std::string_view text);

private:
    struct Entry {
        std::set<std::string> words;
        Instant at;
    };

    void forgetOld();

    Scheduler& m_clock;
    std::mutex m_mutex;
    std::deque<Entry> m_recent;
};

} // namespace lingrelay
