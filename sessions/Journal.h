#pragma once

#include "base/async/Scheduler.h"
#include "sessions/SessionStore.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

class FileHandle;

/// What a running session has said so far, in a file of its own, so that neither a crash nor a power cut loses it.
/// Each record is one JSON line, with the system once a call returns and on the disk a second later. A journal that is
/// destroyed without `discard` stays and is recovered by the next launch. Main; its schedulers outlive it.
class Journal {
public:
    /// The file holds `session` with its lines, those of earlier runs of the transcript, once this returns.
    /// `session.endedAt` does not matter.
    static Result<std::unique_ptr<Journal>> begin(
        SessionStore const& store, SessionStore::Session const& session, Scheduler& main, Scheduler& background);
    ~Journal();
    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    /// The session's fields have changed; its lines are not looked at.
    std::optional<Error> describe(SessionStore::Session const& session);
    /// What could not be written, for want of space, is written with the next record.
    std::optional<Error> append(AppModel::Line const& line);
    /// The transcript was emptied: what came before is not recovered.
    std::optional<Error> clear();

    /// Removes the file: nothing was said.
    void discard();
    /// Removes the file as soon as the session's file in the archive is safe from power cuts, or the user has deleted
    /// it.
    void discardFor(std::filesystem::path archived);

    /// The session's, which its archived form must have too.
    std::string const& sessionId() const { return m_sessionId; }

    /// Archives what left-over journals hold and removes them; a journal stays when its session cannot be written, and
    /// those of running programs are not touched. Gives the paths of the new sessions. The disk is waited for on
    /// `disk`, or here without one.
    static std::vector<std::filesystem::path> recover(SessionStore& store, Scheduler* disk = nullptr);

    static std::filesystem::path folder(SessionStore const& store) { return store.folder() / "Journal"; }

private:
    Journal(std::filesystem::path path, std::shared_ptr<FileHandle> file, std::string sessionId, Scheduler& main,
        Scheduler& background);
    std::optional<Error> write(std::string const& records);
    void syncSoon();

    std::filesystem::path m_path;
    std::shared_ptr<FileHandle> m_file; ///< its lock tells other instances that the session is running
    std::string m_sessionId;
    Scheduler& m_main;
    Scheduler& m_background;
    Scheduler::TimerId m_timer = 0;
    std::string m_unwritten;
};

} // namespace lingrelay
