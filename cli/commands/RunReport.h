#pragma once

#include "base/async/Lifetime.h"
#include "cli/commands/Arguments.h"
#include "cli/commands/ClauseLog.h"
#include "cli/terminal/Presenter.h"
#include "core/Engine.h"
#include "desktop/OverlayWindow.h"
#include "program/Headless.h"
#include "program/Secrecy.h"
#include "sessions/SessionStore.h"
#include "speech/HostedSession.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// What is told of one run: captions, lines, status and notices to the presenter while it lasts; at its end what the
/// user must be told beside that, and the transcripts and the trace as files. Secrets are taken out of all of it.
///
/// Main, but for the callbacks that it gives to engines. It outlives them.
class RunReport {
public:
    RunReport(Scheduler& main, Presenter& presenter, Secrecy& secrecy, Arguments const& arguments, Instant start);

    /// The captions panel and the shell of a program without windows: what they are given becomes notices.
    OverlayWindow& overlay() { return m_overlay; }
    AppShell& shell() { return m_shell; }

    /// From here on the model's status and lines are told.
    void observeModel();
    /// A connection is announced ahead of the controller, whose own announcement is then left out.
    void announceConnecting();
    /// Clauses and failures of one direction; `pipeline` is the scheduler on which the engine tells of speech.
    void observe(Engine& engine, AppModel::Direction direction, Scheduler& pipeline);
    /// The session that the transcripts hold: empty as it begins, whole once it is archived.
    void began(SessionStore::Session session) { m_session = std::move(session); }
    void archived(SessionStore::Session const& session, Result<std::filesystem::path> const& file);
    bool hasLines() const { return !m_session.lines.empty(); }

    /// For the moment; without events it is shown on the terminal at once.
    void notice(std::string const& text);
    /// For the end.
    void complain(std::string message) { m_complaints.push_back(clean(std::move(message))); }
    /// A file that could not be written, when there is an error.
    void lose(std::optional<Error> const& error);
    /// The service failed for good.
    void serviceFailed();
    /// There is no session, for want of the backend or because it will not have one.
    void refused(HostedSession::Failure const& failure);

    /// Nothing of the model and the engines is told any more.
    void end();
    void writeFiles();

    /// In order; lines without the program's name.
    std::vector<std::string> const& complaints() const { return m_complaints; }
    bool lostFiles() const { return m_lostFiles; }
    std::string clean(std::string text) { return m_secrecy.clean(std::move(text)); }

private:
    class Overlay final : public OverlayWindow {
    public:
        explicit Overlay(RunReport& report) : m_report(report) { }
        void update(CaptionKind kind, std::string const& text) override;
        void showStatus(std::string const& text) override;
        void orderFrontRegardless() override { }
        void orderOut() override { }

    private:
        RunReport& m_report;
    };

    /// Nobody can be asked here: what to do is told instead.
    class Shell final : public NoShell {
    public:
        explicit Shell(RunReport& report) : m_report(report) { }
        bool ask(std::string const&, std::string const&, std::string const&, std::string const&) override;

    private:
        RunReport& m_report;
    };

    void noteStatus(Engine::Status status, std::string const& message);
    void onMain(std::function<void()> job) { m_main.post(m_lifetime.whileAlive(std::move(job))); }

    Scheduler& m_main;
    Presenter& m_presenter;
    Secrecy& m_secrecy;
    Arguments const& m_arguments;
    ClauseLog m_listenClauses;
    ClauseLog m_speakClauses;
    Overlay m_overlay{*this};
    Shell m_shell{*this};
    std::vector<Subscription> m_subscriptions;
    bool m_announced = false; ///< "connecting" was shown before the controller said it
    std::string m_lastLine; ///< id
    SessionStore::Session m_session;
    std::string m_archivedFile; ///< that the presenter was told of
    std::string m_lastError;
    std::string m_serviceError; ///< the service's own words, until it is well again
    std::vector<std::string> m_complaints;
    bool m_lostFiles = false;
    Lifetime m_lifetime; ///< of what callbacks post
};

} // namespace lingrelay
