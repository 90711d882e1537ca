#pragma once

#include "tests/e2e/Programs.h"

#include <filesystem>
#include <sstream>

#include <fmt/format.h>
#include <sys/stat.h>

namespace lingrelay {

using Words = std::vector<std::string>;

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
    /// The service that the program starts plays this script; `extra` is shell run first.
    void script(Json script, std::string const& extra = {})
    {
        script["record"] = folder / "record";
        if (!script.contains("tts"))
            script["tts"] = toneVoice();
        if (!script.contains("http"))
            script["http"] = {{"end", {{{"offline", true}}}}};
        writeFile(folder / "script.json", script.dump());
        service(fmt::format("{}\nexec '{}' --script '{}' \"$@\"", extra, LINGRELAY_SERVICE, folder / "script.json"));
    }
    void service(std::string const& shell)
    {
        writeFile(folder / "service", "#!/bin/sh\n" + shell + '\n');
        ::chmod((folder / "service").c_str(), 0755);
    }

    Words environment(Words more = {}) const
    {
        more.insert(more.end(), {"XDG_CONFIG_HOME=" + folder / "config", "XDG_DATA_HOME=" + folder / "data", "TZ=UTC"});
        if (std::filesystem::exists(folder / "service"))
            more.push_back("LINGRELAY_SERVICE=" + folder / "service");
        return more;
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
