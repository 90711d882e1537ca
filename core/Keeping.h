#pragma once

#include "base/Result.h"
#include "core/StatusLine.h"
#include "desktop/OverlayWindow.h"
#include "sessions/Journal.h"
#include "sessions/SessionStore.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// What was said is kept: line by line in the journal of the running session, as a file in the archive at its end.
/// Main; the model, the settings and the schedulers outlive it.
class Keeping {
public:
    struct Services {
        Scheduler& main;
        Scheduler& disk;
        AppModel& model;
        StatusLine& status;
        OverlayWindow& overlay;
    };

    /// `settings` is the controller's record.
    Keeping(Services services, AppSettings const& settings);

    /// A session was written to the archive, or why it could not be. Told again for lines that came after the end.
    std::function<void(SessionStore::Session const& session, Result<std::filesystem::path> const& file)> onArchived;

    /// A session has begun.
    void begin();
    /// Its settings or its profile have changed.
    void describe();
    /// A line was added to the transcript, or all of them were taken away.
    void transcriptChanged();
    /// The session ends. False when it could not be kept and nobody but the user is left to be told: the status must
    /// say so.
    bool end();
    /// A line of the session that has just ended: a stream had finished it before it was told to stop.
    void keepLate();

private:
    SessionStore::Session session() const;
    std::optional<Error> beginJournal();
    bool archive();
    void tell(Error const& error);

    Services m_services;
    AppSettings const& m_settings;
    bool m_running = false;
    SessionStore::Session m_session; ///< the one that runs, or ran last, without its lines
    /// Of the session that runs; none when its file could not be made yet. Of the last one while it is not archived.
    std::unique_ptr<Journal> m_journal;
};

} // namespace lingrelay
