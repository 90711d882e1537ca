#include "sessions/TranscriptForms.h"

#include "base/Json.h"
#include "config/L10n.h"
#include "sessions/StoredForm.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr auto cueLength = std::chrono::seconds(3);

std::string speakerWord(AppModel::Direction direction)
{
    return direction == AppModel::Direction::speak ? T("YOU", "BẠN") : T("THEM", "HỌ");
}

std::string stamp(Date::duration time, char beforeThousandths)
{
    auto const all = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    return fmt::format(
        "{:02}:{:02}:{:02}{}{:03}", all / 3'600'000, all / 60'000 % 60, all / 1000 % 60, beforeThousandths, all % 1000);
}

std::string span(AppModel::Line const& line, Date startedAt, char beforeThousandths)
{
    // Lines of the run before, or a wall clock that was set back, must not give a negative stamp.
    auto const start = std::max(line.at - startedAt, Date::duration::zero());
    return stamp(start, beforeThousandths) + " --> " + stamp(start + cueLength, beforeThousandths);
}

/// Cue text as WebVTT wants it: no markup of its own, and no row that would end the cue.
std::string escaped(std::string_view text)
{
    std::string result;
    for (auto const c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else
            result += c == '\n' || c == '\r' ? ' ' : c;
    }
    return result;
}

} // namespace

std::string TranscriptForms::text(Lines const& lines)
{
    std::string result;
    for (auto const& line : lines) {
        if (!result.empty())
            result += '\n';
        result += fmt::format(
            "[{}] {}\n  {}\n  → {}\n", clockTime(line.at), speakerWord(line.direction), line.source, line.translation);
    }
    return result;
}

std::string TranscriptForms::sessionText(Lines const& lines)
{
    std::string result;
    for (auto const& line : lines) {
        if (!result.empty())
            result += '\n';
        auto const source = line.source.empty() ? "" : line.source + " → ";
        result += fmt::format("{}: {}{}", speakerWord(line.direction), source, line.translation);
    }
    return result;
}

std::string TranscriptForms::srt(Lines const& lines, Date startedAt)
{
    std::string result;
    int number = 0;
    for (auto const& line : lines) {
        if (++number > 1)
            result += '\n';
        result += fmt::format("{}\n{}\n{}\n", number, span(line, startedAt, ','), line.translation);
    }
    return result;
}

std::string TranscriptForms::vtt(Lines const& lines, Date startedAt)
{
    std::string result = "WEBVTT\n";
    int number = 0;
    for (auto const& line : lines) {
        auto const voice = line.speaker.empty() ? "" : fmt::format("<v Speaker {}>", escaped(line.speaker));
        result
            += fmt::format("\n{}\n{}\n{}{}\n", ++number, span(line, startedAt, '.'), voice, escaped(line.translation));
    }
    return result;
}

std::string TranscriptForms::json(SessionStore::Session const& session)
{
    auto record = StoredForm::fields(session);
    auto& lines = record["lines"] = nlohmann::ordered_json::array();
    for (auto const& line : session.lines)
        lines.push_back(StoredForm::line(line));
    return record.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

} // namespace lingrelay
