#include "cli/terminal/Presenter.h"

#include <sys/ioctl.h>

namespace lingrelay {

namespace {

TerminalView::Size terminalSize(int descriptor)
{
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return {};
    return {size.ws_col, size.ws_row == 0 ? 24 : size.ws_row};
}

bool isNotice(AppModel::StatusKind kind)
{
    return kind == AppModel::StatusKind::warning || kind == AppModel::StatusKind::error;
}

} // namespace

char const* rawValue(EndReason reason)
{
    switch (reason) {
    case EndReason::finished:
        return "finished";
    case EndReason::stopped:
        return "stopped";
    case EndReason::failed:
        return "failed";
    case EndReason::refused:
        return "refused";
    case EndReason::exhausted:
        return "exhausted";
    }
    return "";
}

void EventWriter::status(AppModel::StatusKind kind, std::string const& text)
{
    write({{"event", "status"}, {"kind", rawValue(kind)}, {"text", text}});
}

void EventWriter::caption(CaptionKind kind, std::string const& text)
{
    write({{"event", "caption"}, {"kind", rawValue(kind)}, {"text", text}});
}

void EventWriter::line(AppModel::Line const& line)
{
    write({{"event", "line"}, {"direction", rawValue(line.direction)}, {"source", line.source},
        {"translation", line.translation}, {"speaker", line.speaker}});
}

void EventWriter::speech(int seq, double age) { write({{"event", "speech"}, {"seq", seq}, {"seconds", age}}); }

void EventWriter::archived(std::string const& path) { write({{"event", "session"}, {"path", path}}); }

void EventWriter::recovered(std::string const& path) { write({{"event", "recovered"}, {"path", path}}); }

void EventWriter::end(EndReason reason) { write({{"event", "end"}, {"reason", rawValue(reason)}}); }

void EventWriter::write(nlohmann::ordered_json event)
{
    nlohmann::ordered_json timed{{"t", std::round(toSeconds(m_clock.now() - m_start) * 1e6) / 1e6}};
    timed.update(event);
    m_output.write(timed.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n');
}

void PlainPresenter::status(AppModel::StatusKind kind, std::string const& text)
{
    if (isNotice(kind))
        notice(text);
}

/// The status often repeats a warning that came without one.
void PlainPresenter::notice(std::string const& text)
{
    constexpr std::string_view mark = "⚠ ";
    auto const words = text.starts_with(mark) ? text.substr(mark.size()) : text;
    if (words == m_lastNotice)
        return;
    m_lastNotice = words;
    m_notices.write(printable(text) + '\n');
}

void PlainPresenter::line(AppModel::Line const& line)
{
    auto const label = line.speaker.empty() ? "" : "Speaker " + printable(line.speaker) + ": ";
    m_output.write(fmt::format("{}{}\n  → {}\n", label, printable(line.source), printable(line.translation)));
}

TerminalPresenter::TerminalPresenter(OutputQueue& output, int descriptor, TerminalView::Colours colours)
    : m_output(output)
    , m_descriptor(descriptor)
    , m_view(colours, terminalSize(descriptor))
{
}

void TerminalPresenter::status(AppModel::StatusKind kind, std::string const& text)
{
    m_output.write(m_view.status(kind, text));
}

void TerminalPresenter::caption(CaptionKind kind, std::string const& text)
{
    m_output.write(m_view.caption(kind, text));
}

void TerminalPresenter::line(AppModel::Line const& line) { m_output.write(m_view.line(line)); }

void TerminalPresenter::progress(double position, double length) { m_output.write(m_view.progress(position, length)); }

void TerminalPresenter::resized() { m_output.write(m_view.resize(terminalSize(m_descriptor))); }

void TerminalPresenter::end(EndReason) { m_output.write(m_view.finish()); }

} // namespace lingrelay
