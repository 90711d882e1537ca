#include "service/wire/Limits.h"

namespace lingrelay::service {

Result<Limits> Limits::parse(Json const& object)
{
    Limits limits;
    if (!object.is_object())
        return Error{Error::Kind::other, "\"limits\" must be an object"};
    for (auto const& [key, value] : object.items()) {
        if (!value.is_number() || value.get<double>() < 0 || value.get<double>() > 1e9)
            return Error{Error::Kind::other, fmt::format("\"limits\": \"{}\" must be a number from 0", key)};
        double const number = value.get<double>();
        int const count = static_cast<int>(number);
        if (key == "stt_streams")
            limits.sttStreams = count;
        else if (key == "stt_requests_a_minute")
            limits.sttRequestsAMinute = count;
        else if (key == "stt_stream_minutes")
            limits.sttStreamMinutes = number;
        else if (key == "tts_connections")
            limits.ttsConnections = count;
        else if (key == "tts_streams_a_connection")
            limits.ttsStreamsAConnection = count;
        else if (key == "tts_requests_a_minute")
            limits.ttsRequestsAMinute = count;
        else if (key == "tts_audio_seconds")
            limits.ttsAudioSeconds = number;
        else if (key == "start_seconds")
            limits.startSeconds = number;
        else if (key == "idle_seconds")
            limits.idleSeconds = number;
        else if (key == "context_characters")
            limits.contextCharacters = static_cast<std::size_t>(number);
        else
            return Error{Error::Kind::other, fmt::format("\"limits\" has no \"{}\"", key)};
    }
    return limits;
}

bool MinuteCounter::admit(int limit, Instant now)
{
    while (!m_times.empty() && now - m_times.front() >= seconds(60))
        m_times.pop_front();
    if (m_times.size() >= static_cast<std::size_t>(std::max(limit, 0)))
        return false;
    m_times.push_back(now);
    return true;
}

} // namespace lingrelay::service
