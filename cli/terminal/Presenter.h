#pragma once

#include "base/async/Scheduler.h"
#include "cli/terminal/OutputQueue.h"
#include "cli/terminal/TerminalView.h"
#include "cli/terminal/TextLayout.h"
#include "model/AppModel.h"
#include "model/CaptionKind.h"

#include <memory>
#include <string>

namespace lingrelay {

enum class EndReason { finished, stopped, failed, refused, exhausted };
char const* rawValue(EndReason reason);

/// Shows a run to whoever reads standard output. Main thread. Texts come without keys in them.
class Presenter {
public:
    virtual ~Presenter() = default;

    virtual void status(AppModel::StatusKind kind, std::string const& text) = 0;
    virtual void caption(CaptionKind kind, std::string const& text) = 0;
    virtual void line(AppModel::Line const& line) = 0;
    /// A clause starts to be heard, `age` seconds after it was finished.
    virtual void speech(int seq, double age) = 0;
    /// The session is in the archive; a journal became a session.
    virtual void archived(std::string const&) { }
    virtual void recovered(std::string const&) { }
    /// A warning beside the status.
    virtual void notice(std::string const&) { }
    virtual void progress(double position, double length) = 0;
    /// Seconds between calls of `progress` that make sense; 0 when it shows nothing.
    virtual double progressInterval() const { return 0; }
    virtual void resized() { }
    /// Once, and last.
    virtual void end(EndReason reason) = 0;
};

/// One JSON object a line, for programs.
class EventWriter final : public Presenter {
public:
    /// `t` counts from `start`.
    EventWriter(OutputQueue& output, Scheduler& clock, Instant start) : m_output(output), m_clock(clock), m_start(start)
    {
    }

    void status(AppModel::StatusKind kind, std::string const& text) override;
    void caption(CaptionKind kind, std::string const& text) override;
    void line(AppModel::Line const& line) override;
    void speech(int seq, double age) override;
    void archived(std::string const& path) override;
    void recovered(std::string const& path) override;
    void progress(double, double) override { }
    void end(EndReason reason) override;

private:
    void write(nlohmann::ordered_json event);

    OutputQueue& m_output;
    Scheduler& m_clock;
    Instant m_start;
};

/// Finished clauses alone, for files and pipes and for terminals that cannot move their cursor. Warnings go to
/// `notices`.
class PlainPresenter final : public Presenter {
public:
    PlainPresenter(OutputQueue& output, OutputQueue& notices) : m_output(output), m_notices(notices) { }

    void status(AppModel::StatusKind kind, std::string const& text) override;
    void caption(CaptionKind, std::string const&) override { }
    void line(AppModel::Line const& line) override;
    void speech(int, double) override { }
    void notice(std::string const& text) override;
    void progress(double, double) override { }
    void end(EndReason) override { }

private:
    OutputQueue& m_output;
    OutputQueue& m_notices;
    std::string m_lastNotice;
};

/// Live captions on a terminal.
class TerminalPresenter final : public Presenter {
public:
    TerminalPresenter(OutputQueue& output, int descriptor, TerminalView::Colours colours);

    void status(AppModel::StatusKind kind, std::string const& text) override;
    void caption(CaptionKind kind, std::string const& text) override;
    void line(AppModel::Line const& line) override;
    void speech(int, double) override { }
    void notice(std::string const& text) override { status(AppModel::StatusKind::warning, text); }
    void progress(double position, double length) override;
    double progressInterval() const override { return 0.5; }
    void resized() override;
    void end(EndReason reason) override;

private:
    OutputQueue& m_output;
    int m_descriptor;
    TerminalView m_view;
};

} // namespace lingrelay
