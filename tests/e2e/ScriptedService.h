#pragma once

#include "tests/support/LocalService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <memory>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace lingrelay {

using Program = TestProcess; ///< one of ours, run as a user does

inline Json token(std::string text, bool isFinal, bool isTranslation = false)
{
    Json token{{"text", std::move(text)}, {"is_final", isFinal}};
    if (isTranslation)
        token.update(Json{{"translation_status", "translation"}, {"language", "es"}});
    return token;
}

/// A message that finishes one clause.
inline Json clause(std::string const& source, std::string const& translation)
{
    return {{"send", {{"tokens", {token(source, true), token(translation, true, true)}}}}};
}

/// The same when the sound has come so far.
inline Json clauseAt(int audioMs, std::string const& source, std::string const& translation)
{
    auto step = clause(source, translation);
    step["after_audio_ms"] = audioMs;
    return step;
}

inline Json const finished{{"after_end", true}, {"send", {{"tokens", Json::array()}, {"finished", true}}}};

/// A synthesis connection whose every clause is half a second of a tone.
inline Json toneVoice()
{
    return Json::array({{{"steps",
        {{{"after_texts", 2}, {"tone_ms", 500}}, {{"send", {{"stream_id", "$stream_id"}, {"audio_end", true}}}},
            {{"send", {{"stream_id", "$stream_id"}, {"terminated", true}}}}}}}});
}

inline Json steps(Json list) { return {{"steps", std::move(list)}}; }

/// The local service that the program starts is one that plays a script.
class ScriptedService {
public:
    /// The service that the program starts plays this script.
    void script(Json script)
    {
        script["record"] = folder / "record";
        if (!script.contains("tts"))
            script["tts"] = toneVoice();
        if (!script.contains("http"))
            script["http"] = {{"end", {{{"offline", true}}}}};
        writeFile(folder / "script.json", script.dump());
        service(fmt::format("exec '{}' --script '{}' \"$@\"", LINGRELAY_SERVICE, folder / "script.json"));
    }
    void service(std::string const& shell) const
    {
        writeFile(folder / "service", "#!/bin/sh\n" + shell + '\n');
        std::filesystem::permissions(folder / "service", std::filesystem::perms::owner_all);
    }
    /// The program takes this one for the service that it starts.
    void join(LocalService const& other) const { service(fmt::format("echo '{}'; exec sleep 600", other.line)); }
    std::unique_ptr<LocalService> startElsewhere(Words before = {}) const
    {
        return std::make_unique<LocalService>(Words{"--script", folder / "script.json"}, std::move(before));
    }

    Words environment(Words more = {}) const
    {
        more.insert(more.end(), {"XDG_CONFIG_HOME=" + folder / "config", "XDG_DATA_HOME=" + folder / "data", "TZ=UTC"});
        if (std::filesystem::exists(folder / "service"))
            more.push_back("LINGRELAY_SERVICE=" + folder / "service");
        return more;
    }
    /// What the service has recorded: of one connection, or of all.
    std::vector<Json> record(std::string const& connection = {}) const
    {
        std::vector<Json> lines;
        std::istringstream all(readFile(folder / "record"));
        for (std::string line; std::getline(all, line);) {
            auto const parsed = parseJson(line).value_or(Json());
            if (connection.empty() || jsonString(parsed, "connection") == connection)
                lines.push_back(parsed);
        }
        return lines;
    }
    /// Seconds of sound that have reached it.
    double heard(std::string const& connection = {}) const
    {
        double bytes = 0;
        for (auto const& line : record(connection))
            bytes += jsonString(line, "event") == "binary" ? line.value("bytes", 0.0) : 0;
        return bytes / 32000;
    }

    static std::vector<Json> only(std::vector<Json> const& events, std::string const& name)
    {
        std::vector<Json> chosen;
        for (auto const& event : events) {
            if (jsonString(event, "event") == name)
                chosen.push_back(event);
        }
        return chosen;
    }

    TemporaryFolder folder;
};

} // namespace lingrelay
