#include "cli/commands/SettingsCommand.h"

#include "base/Registry.h"
#include "cli/commands/Paths.h"
#include "cli/commands/StoredKeys.h"
#include "cli/terminal/Replies.h"
#include "platform/linux/FileDefaults.h"

#include <algorithm>

namespace lingrelay {

namespace {

int store(std::filesystem::path const& path, std::string const& key, std::string const& text)
{
    auto value = storedValue(key, text);
    if (!value)
        return badArguments(value.error().message);
    FileDefaults(path).set(key, *value); // written when it goes
    // Read from the disk again: the store keeps to itself what it could not write.
    if (FileDefaults(path).value(key) == *value)
        return exitDone;
    return failed(path.string() + ": cannot be written");
}

} // namespace

int settingsCommand(Arguments const& arguments)
{
    Registry registry;
    registry.put<Defaults>(std::shared_ptr(openDefaults(arguments)));
    auto const& words = arguments.words;
    if (words.size() > 2)
        return badArguments("settings takes a key and a value: \"" + words[2] + "\" is one too many");
    if (words.size() == 2)
        return store(defaultsPath(arguments), words[0], words[1]);
    auto const keys = storedKeys();
    if (!words.empty() && std::find(keys.begin(), keys.end(), words[0]) == keys.end())
        return badArguments("there is no setting \"" + words[0] + '"');
    if (!words.empty())
        return print(storedText(words[0]) + '\n');
    std::string all;
    for (auto const& key : keys)
        all += fmt::format("{}={}\n", key, storedText(key));
    return print(all);
}

} // namespace lingrelay
