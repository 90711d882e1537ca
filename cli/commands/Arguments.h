#pragma once

#include "base/Json.h"
#include "base/Result.h"
#include "cli/soundfiles/Pace.h"
#include "config/Preset.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace lingrelay {

/// What the command line asks for, checked as far as that goes without the settings store: every file can be opened
/// and every address used when this exists. Nobody has been contacted.
struct Arguments {
    enum class Action { translate, say, testVoice, devices, sessions, settings, help, version };
    enum class Output { automatic, none, device, file };
    enum class Events { captions, json };
    enum class Form { text, srt, vtt, json };
    enum class Listing { people, json };
    struct Transcript {
        std::filesystem::path path;
        Form form;
    };

    Action action = Action::translate;
    std::optional<Action> helpFor; ///< the command that help is asked for; nothing: all
    std::optional<std::filesystem::path> input;
    std::optional<Preset> preset;
    std::optional<AppSettings::Mode> mode;
    std::optional<std::string> from;
    std::optional<std::string> to;
    Output output = Output::automatic;
    std::filesystem::path outputFile;
    Pace pace = Pace::realtime;
    Events events = Events::captions;
    std::vector<std::pair<std::string, Json>> settings; ///< of --set, in order, each of its key's type
    std::optional<std::filesystem::path> defaults;
    std::optional<std::filesystem::path> sessions;
    std::string sttUrl;
    std::string ttsUrl;
    std::string apiUrl;
    std::string backendUrl;
    std::vector<Transcript> transcripts;
    std::optional<std::filesystem::path> trace;
    std::string mic; ///< names of devices; empty: automatic
    std::string speakers;

    std::vector<std::string> words; ///< behind a command that is not `translate`
    std::optional<Form> format;
    Listing listing = Listing::people;

    /// `words` are the arguments behind the program's name. The error is one line for the user; it holds no value of
    /// --set, which may be a key.
    static Result<Arguments> parse(std::span<std::string const> words);

    /// The form that a file's ending stands for.
    static std::optional<Form> formOf(std::filesystem::path const& path);

    /// In small letters, with its dot.
    static std::string ending(std::filesystem::path const& path);

    /// What the user reads about a command, or all.
    static std::string help(std::optional<Action> command = {});
};

} // namespace lingrelay
