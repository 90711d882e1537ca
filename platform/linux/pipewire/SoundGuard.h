#pragma once

#include "base/Json.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <sys/types.h>

namespace lingrelay {

/// A small process that outlives this one, by a minute at most: it is told what was changed in the sound server, and
/// puts it back when this process dies without having done so. Started with the first thing that it must know, and anew
/// when it is found to be gone, on a thread of its own: that can take longer than a caller may wait. Any thread.
class SoundGuard {
public:
    /// `program` is lingrelay-sound-guard; an empty path goes without a guard.
    explicit SoundGuard(std::filesystem::path program) : m_program(std::move(program)) { }
    /// What has not been put back is put back now, by the guard.
    ~SoundGuard();
    SoundGuard(SoundGuard const&) = delete;
    SoundGuard& operator=(SoundGuard const&) = delete;

    /// {"sink": NAME} names the sink that swallows sound. {"stream": ID, "target": VALUE, "type": TYPE}: that stream
    /// was moved there and had this target before, or none (null). {"input": PATH}: the default input was
    /// switched, as that file of SwitchedInput tells; {"input": null}: it is back.
    void note(Json const& change);

private:
    enum class Kind { input, sink, stream }; ///< in the order in which a guard must be told

    void replace();
    pid_t spawn(int input) const;
    void end();
    void keep(Json const& change);
    bool send(Json const& change) const;

    std::filesystem::path m_program;
    std::mutex m_mutex;
    std::thread m_starter; ///< replaces the guard; it alone uses process and pipe while it does
    bool m_starting = false;
    std::map<std::pair<Kind, std::int64_t>, Json> m_known; ///< what a guard must know, to tell it to the next one
    pid_t m_process = -1;
    int m_pipe = -1;
};

} // namespace lingrelay
