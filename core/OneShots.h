#pragma once

#include "core/Engine.h"
#include "core/HostedLease.h"
#include "core/Routing.h"
#include "core/StatusLine.h"
#include "desktop/AppShell.h"
#include "desktop/OverlayWindow.h"

#include <functional>
#include <string>

namespace lingrelay {

/// What is done once, with a session or without: a typed line is spoken, the last line is heard again, the last
/// minutes are summed up, the voice is tried. Each speaks past the clause pipeline, straight into a player.
/// Main; all that it refers to outlives it. Before it dies: `shutdown`, then wait until it is `idle`.
class OneShots {
public:
    struct Services {
        Scheduler& main;
        Network& network;
        AppModel& model;
        Engine& listen;
        Engine& speak;
        Routing& routing;
        HostedLease& lease;
        StatusLine& status;
        OverlayWindow& overlay;
        AppShell& shell;
        /// Takes secrets out of what services say.
        std::function<std::string(std::string)> clean;
    };

    /// `settings` is the controller's record.
    OneShots(Services services, AppSettings const& settings);

    /// What happens to a line when the user and the other side speak the same language.
    enum class OneLanguage { translated, asItIs };
    /// Speaks a text of the user's, translated, where the other side hears it; logged and captioned, a long one in
    /// pieces. `done` is called once with what could not be spoken, empty when all of it was.
    void typeToSpeak(std::string text, OneLanguage oneLanguage, std::function<void(std::string const& unspoken)> done);
    /// Speaks the last line again where only the user hears it, or both do who share one machine.
    void replayLast();
    /// A recap of what was said in the last `span`, into the model's `quickSummary`.
    void summarizeRecent(Duration span);
    /// Speaks a sentence where the translation will go. `done` is called in every case.
    void testVoice(std::function<void()> done);

    void shutdown() { m_tasks.cancel(); }
    bool idle() const { return m_tasks.running() == 0; }

private:
    struct Speech {
        std::string text;
        std::string language;
        AppModel::StatusKind failureKind = AppModel::StatusKind::warning;
        std::string failurePrefix{};
    };
    enum class Spoken { yes, no };

    Task<void> speakTyped(std::string text, OneLanguage oneLanguage, std::function<void(std::string const&)> done);
    Task<Spoken> speakPiece(std::string piece, OneLanguage oneLanguage, HostedLease::Hold& session);
    Task<void> replay(Speech speech, Engine& engine);
    Task<void> recap(std::string text);
    Task<void> speakTest(std::function<void()> done);
    /// Puts its hold of the hosted session into `session`, so that what follows goes on with it.
    Task<Spoken> speakOnce(Speech speech, Engine& engine, HostedLease::Hold& session);
    void showPanel();

    Services m_services;
    AppSettings const& m_settings;
    int m_typed = 0; ///< texts that are being translated and spoken
    TaskGroup m_tasks;
};

} // namespace lingrelay
