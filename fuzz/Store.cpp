// The file of settings, and the profiles in it.

#include "base/Text.h"
#include "config/AppSettings.h"
#include "context/ContextProfile.h"
#include "fuzz/Target.h"
#include "platform/linux/FileDefaults.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/World.h"

#include <fstream>

namespace lingrelay {

namespace {

void run(std::string_view input)
{
    static TemporaryFolder const folder;
    World world;
    std::ofstream(folder / "defaults.json", std::ios::binary) << input;
    {
        world.registry.put<Defaults>(std::make_shared<FileDefaults>(folder / "defaults.json"));
        auto settings = AppSettings::load();
        settings.save();
        fuzzExpect(settings.sourceLang == AppSettings::load().sourceLang);
        ContextProfile::load();
    }
    world.registry.put<Defaults>(std::make_shared<SimDefaults>());
    auto const profiles = ContextProfile::listFromText(input);
    if (!profiles)
        return;
    fuzzExpect(ContextProfile::listFromText(ContextProfile::listText(*profiles)) == profiles);
    for (auto const& profile : *profiles) {
        auto const payload = profile.payload("what was said before");
        fuzzExpect(!payload || isUtf8(jsonText(*payload)));
    }
}

FuzzTarget const target("store", run);

} // namespace

} // namespace lingrelay
