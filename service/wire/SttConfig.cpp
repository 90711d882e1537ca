#include "service/wire/SttConfig.h"

#include "base/Text.h"
#include "service/engines/Languages.h"

namespace lingrelay::service {

namespace {

ProtocolError invalid(std::string message) { return {400, std::move(message)}; }

std::vector<std::string> hintsOf(Json const& message)
{
    std::vector<std::string> hints;
    if (auto const* list = jsonMember(message, "language_hints"); list && list->is_array()) {
        for (auto const& hint : *list) {
            if (hint.is_string())
                hints.push_back(hint.get<std::string>());
        }
    }
    return hints;
}

/// Characters of every text in the context, keys left out.
std::size_t textLength(Json const& value)
{
    if (value.is_string())
        return characterCount(value.get_ref<std::string const&>());
    std::size_t count = 0;
    if (value.is_structured()) {
        for (auto const& part : value)
            count += textLength(part);
    }
    return count;
}

bool contains(std::vector<std::string> const& list, std::string const& item)
{
    return std::find(list.begin(), list.end(), item) != list.end();
}

std::optional<ProtocolError> checkSound(Json const& message, SttConfig& config)
{
    if (!jsonString(message, "model"))
        return invalid("\"model\" must be given as a string.");
    auto const format = jsonString(message, "audio_format").value_or("");
    if (format != "pcm_s16le")
        return invalid(fmt::format("Unsupported audio_format \"{}\": the local service takes pcm_s16le.", format));
    auto const rate = jsonInteger(message, "sample_rate").value_or(0);
    if (rate < 8000 || rate > 48000)
        return invalid("\"sample_rate\" must be from 8000 to 48000.");
    if (jsonInteger(message, "num_channels").value_or(1) != 1)
        return invalid("\"num_channels\" must be 1.");
    config.sampleRate = static_cast<int>(rate);
    return {};
}

void readEndpoints(Json const& message, SttConfig& config)
{
    config.endpoints = jsonBool(message, "enable_endpoint_detection").value_or(false);
    auto const sensitivity = std::clamp(jsonNumber(message, "endpoint_sensitivity").value_or(0), -1.0, 1.0);
    auto const adjustment
        = std::clamp<std::int64_t>(jsonInteger(message, "endpoint_latency_adjustment").value_or(0), 0, 3);
    // More sensitive: shorter pauses count. The first adjustment of latency saves the most.
    config.pauseMs = static_cast<int>(400 - 100 * sensitivity - 30 * static_cast<double>(adjustment));
}

std::variant<std::optional<std::string>, ProtocolError> targetOf(
    Json const& message, std::vector<std::string> const& targets)
{
    auto const* translation = jsonMember(message, "translation");
    if (!translation)
        return std::nullopt;
    auto const type = jsonString(*translation, "type").value_or("");
    std::string target;
    if (type == "one_way") {
        target = jsonString(*translation, "target_language").value_or("");
        auto hints = hintsOf(message);
        // Clients hint at the source, then the target; what is left is the source, or nothing when it is unknown.
        if (auto const found = std::find(hints.rbegin(), hints.rend(), target); found != hints.rend())
            hints.erase(std::next(found).base());
        if (!hints.empty() && !contains(hints, "en"))
            return unsupportedLanguages(targets);
    } else if (type == "two_way") {
        auto const first = jsonString(*translation, "language_a").value_or("");
        auto const second = jsonString(*translation, "language_b").value_or("");
        if (first != "en" && second != "en")
            return unsupportedLanguages(targets);
        target = first == "en" ? second : first;
    } else {
        return invalid("\"translation\" must have the type \"one_way\" or \"two_way\".");
    }
    if (target != "en" && !contains(targets, target))
        return unsupportedLanguages(targets);
    return target;
}

} // namespace

Json ProtocolError::frame() const
{
    return {{"tokens", Json::array()}, {"error_code", code}, {"error_message", message}};
}

ProtocolError unsupportedLanguages(std::vector<std::string> const& targets)
{
    std::string list;
    for (auto const& target : targets)
        list += (list.empty() ? "" : ", ") + languageLabel(target);
    if (list.empty())
        list = "no language (no translation pair is installed)";
    return invalid(fmt::format("The local service recognises English only. It translates English to: {}.", list));
}

std::variant<SttConfig, ProtocolError> SttConfig::parse(
    Json const& message, std::vector<std::string> const& targets, Limits const& limits)
{
    SttConfig config;
    if (auto problem = checkSound(message, config))
        return *problem;
    if (auto const* context = jsonMember(message, "context");
        context && textLength(*context) > limits.contextCharacters)
        return invalid(fmt::format("Context is too long (max length {}).", limits.contextCharacters));
    readEndpoints(message, config);
    config.speakers = jsonBool(message, "enable_speaker_diarization").value_or(false);
    auto target = targetOf(message, targets);
    if (auto* problem = std::get_if<ProtocolError>(&target))
        return *problem;
    config.target = std::get<0>(target);
    return config;
}

} // namespace lingrelay::service
