#include "service/script/Script.h"

#include "base/Base64.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <numbers>

namespace lingrelay::service {

namespace {

using Action = ScriptStep::Action;

/// Thrown and caught while one script is read; the text says where and what.
struct Wrong {
    std::string text;
};

/// An object whose keys are all known; what nobody asked for is a mistake in the script.
class Fields {
public:
    Fields(Json const& object, std::string place) : m_object(object), m_place(std::move(place))
    {
        if (!object.is_object())
            throw Wrong{m_place + " must be an object"};
    }

    Json const* any(char const* key)
    {
        m_known.push_back(key);
        return jsonMember(m_object, key);
    }
    template <class T> std::optional<T> get(char const* key)
    {
        auto const* value = any(key);
        if (!value)
            return {};
        try {
            return value->get<T>();
        } catch (Json::exception const&) {
            throw Wrong{fmt::format("{}: \"{}\" is of a wrong type", m_place, key)};
        }
    }
    std::optional<double> number(char const* key)
    {
        auto const value = get<double>(key);
        if (value && !(*value >= 0 && *value <= 1e9))
            throw Wrong{fmt::format("{}: \"{}\" must be a number from 0", m_place, key)};
        return value;
    }
    bool flag(char const* key, bool standard = false) { return get<bool>(key).value_or(standard); }
    /// Call last.
    void noMore() const
    {
        for (auto const& [key, value] : m_object.items()) {
            if (std::find(m_known.begin(), m_known.end(), key) == m_known.end())
                throw Wrong{fmt::format("{} has an unknown key \"{}\"", m_place, key)};
        }
    }

private:
    Json const& m_object;
    std::string m_place;
    std::vector<std::string> m_known;
};

/// A message with `ms` of a quiet tone.
std::string toneMessage(double ms)
{
    auto const count = static_cast<std::size_t>(ms * 24);
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        auto const value
            = static_cast<std::int16_t>(8000 * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(i) / 24000));
        bytes += static_cast<char>(value & 0xFF);
        bytes += static_cast<char>(value >> 8);
    }
    return jsonText({{"stream_id", "$stream_id"}, {"audio", encodeBase64(bytes)}});
}

void setAction(ScriptStep& step, Action action, std::string data, std::string const& place)
{
    if (step.action != Action::nothing)
        throw Wrong{place + " does two things: make two steps of it"};
    step.action = action;
    step.data = std::move(data);
}

ScriptStep readStep(Json const& object, std::string const& place)
{
    Fields fields(object, place);
    ScriptStep step;
    step.atMs = fields.number("at_ms");
    step.afterAudioMs = fields.number("after_audio_ms");
    if (auto const texts = fields.number("after_texts"))
        step.afterTexts = static_cast<int>(*texts);
    step.afterEnd = fields.flag("after_end");
    step.delayMs = fields.number("delay_ms").value_or(0);

    if (auto const* message = fields.any("send"))
        setAction(step, Action::message, jsonText(*message), place);
    if (auto const ms = fields.number("tone_ms"))
        setAction(step, Action::message, toneMessage(std::min(*ms, 10000.0)), place);
    if (auto const ms = fields.number("stall_ms")) {
        setAction(step, Action::stall, "", place);
        step.stallMs = *ms;
    }
    if (fields.flag("drop"))
        setAction(step, Action::drop, "", place);
    fields.noMore();
    return step;
}

ScriptConnection readConnection(Json const& object, std::string const& place)
{
    Fields fields(object, place);
    ScriptConnection connection;
    connection.offline = fields.flag("offline");
    connection.checkKey = fields.flag("check_key", true);
    if (auto const* accept = fields.any("accept")) {
        Fields how(*accept, place + ", \"accept\"");
        connection.acceptDelayMs = how.number("delay_ms").value_or(0);
        connection.httpStatus = static_cast<int>(how.number("http_status").value_or(0));
        how.noMore();
    }
    if (auto const* steps = fields.any("steps")) {
        if (!steps->is_array())
            throw Wrong{place + ": \"steps\" must be a list"};
        for (std::size_t i = 0; i < steps->size(); ++i)
            connection.steps.push_back(readStep((*steps)[i], fmt::format("{}, step {}", place, i)));
    }
    fields.noMore();
    return connection;
}

ScriptAnswer readAnswer(Json const& object, std::string const& place)
{
    using Kind = ScriptAnswer::Kind;
    Fields fields(object, place);
    ScriptAnswer answer;
    auto const* body = fields.any("body");
    if (fields.flag("offline"))
        answer.kind = Kind::offline;
    else if (fields.flag("silence"))
        answer.kind = Kind::silence;
    else if (!body)
        throw Wrong{place + " has no answer"};
    else
        answer.body = jsonText(*body);
    answer.status = static_cast<int>(fields.number("status").value_or(200));
    answer.delayMs = fields.number("delay_ms").value_or(0);
    fields.noMore();
    return answer;
}

template <class Read> auto readList(Json const* list, std::string const& place, Read read)
{
    std::vector<decltype(read(*list, place))> entries;
    if (!list)
        return entries;
    if (!list->is_array() || list->empty())
        throw Wrong{place + " must be a list with at least one entry"};
    for (std::size_t i = 0; i < list->size(); ++i)
        entries.push_back(read((*list)[i], fmt::format("{}[{}]", place, i)));
    return entries;
}

} // namespace

Result<Script> Script::parse(std::string_view text)
{
    auto const object = parseJson(text);
    if (!object)
        return Error{Error::Kind::other, "it is not JSON"};
    try {
        Script script;
        Fields fields(*object, "the script");
        if (auto const* limits = fields.any("limits")) {
            auto const parsed = Limits::parse(*limits);
            if (!parsed)
                return parsed.error();
            script.limits = *parsed;
        }
        script.record = fields.get<std::string>("record").value_or("");
        script.m_stt = readList(fields.any("stt"), "stt", readConnection);
        script.m_tts = readList(fields.any("tts"), "tts", readConnection);
        if (auto const* answers = fields.any("http")) {
            Fields operations(*answers, "\"http\"");
            for (auto const* name : {"start", "tick", "end", "balance", "summary", "translate"})
                script.m_answers[name] = readList(operations.any(name), fmt::format("http.{}", name), readAnswer);
            operations.noMore();
        }
        fields.noMore();
        return script;
    } catch (Wrong const& wrong) {
        return Error{Error::Kind::other, wrong.text};
    }
}

Result<Script> Script::load(std::string const& path)
{
    std::ifstream file(path);
    if (!file)
        return Error{Error::Kind::other, fmt::format("the script {} cannot be read: {}", path, std::strerror(errno))};
    auto script = parse(std::string(std::istreambuf_iterator<char>(file), {}));
    if (!script)
        return Error{Error::Kind::other, fmt::format("the script {} is wrong: {}", path, script.error().message)};
    return script;
}

ScriptAnswer const* Script::answer(std::string const& operation, std::size_t index) const
{
    auto const found = m_answers.find(operation);
    return found == m_answers.end() ? nullptr : entry(found->second, index);
}

bool Script::needsRecogniser() const
{
    return m_stt.empty() || std::any_of(m_stt.begin(), m_stt.end(), [](auto const& each) { return each.offline; });
}

} // namespace lingrelay::service
