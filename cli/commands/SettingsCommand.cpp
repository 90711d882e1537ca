#include "cli/commands/SettingsCommand.h"

#include "base/Registry.h"
#include "cli/commands/Paths.h"
#include "cli/commands/StoredKeys.h"
#include "cli/commands/TranslateCommand.h"
#include "cli/terminal/Complaint.h"
#include "platform/linux/FileDefaults.h"

#include <algorithm>
#include <cstdio>

namespace lingrelay {

namespace {

int store(std::filesystem::path const& path, std::string const& key, std::string const& text)
{
    auto value = storedValue(key, text);
    if (!value) {
        complain(value.error().message);
        return exitBadArguments;
    }
    FileDefaults(path).set(key, *value); // written when it goes
    // Read from the disk again: the store keeps to itself what it could not write.
    if (FileDefaults(path).value(key) == *value)
        return exitDone;
    complain(path.string() + ": cannot be written");
    return exitFailed;
}

} // namespace

int settingsCommand(Arguments const& arguments)
{
    Registry registry;
    registry.put<Defaults>(std::shared_ptr(openDefaults(arguments)));
    auto const& words = arguments.words;
    if (words.size() > 2) {
        complain("settings takes a key and a value: \"" + words[2] + "\" is one too many");
        return exitBadArguments;
    }
    if (words.size() == 2)
        return store(defaultsPath(arguments), words[0], words[1]);
    auto const keys = storedKeys();
    if (words.empty()) {
        for (auto const& key : keys)
            fmt::print("{}={}\n", key, storedText(key));
    } else if (std::find(keys.begin(), keys.end(), words[0]) == keys.end()) {
        complain("there is no setting \"" + words[0] + '"');
        return exitBadArguments;
    } else {
        fmt::print("{}\n", storedText(words[0]));
    }
    return std::fflush(stdout) == 0 ? exitDone : exitFailed;
}

} // namespace lingrelay
