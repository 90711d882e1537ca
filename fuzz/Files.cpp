// Files that are read.

#include "base/Text.h"
#include "cli/soundfiles/SoundFile.h"
#include "config/AppSettings.h"
#include "fuzz/Target.h"
#include "model/ContextProfile.h"
#include "platform/linux/FileDefaults.h"
#include "sessions/Journal.h"
#include "sessions/TranscriptForms.h"
#include "sessions/UserLocale.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/World.h"

#include <fstream>

namespace lingrelay {

namespace {

void write(std::filesystem::path const& path, std::string_view content)
{
    std::ofstream(path, std::ios::binary) << content;
}

/// An archived session's file; the same bytes as a journal that a killed program has left.
void archive(std::string_view input)
{
    static TemporaryFolder const folder;
    World const world;
    SessionStore store(folder.path());
    write(folder / "one.json", input);
    if (auto const session = SessionStore::read(folder / "one.json")) {
        write(folder / "one.json", TranscriptForms::json(*session));
        auto const again = SessionStore::read(folder / "one.json");
        fuzzExpect(again && TranscriptForms::json(*again) == TranscriptForms::json(*session));
        for (auto const& text : {TranscriptForms::text(session->lines), TranscriptForms::sessionText(session->lines),
                 TranscriptForms::srt(session->lines, session->startedAt),
                 TranscriptForms::vtt(session->lines, session->startedAt)})
            fuzzExpect(isUtf8(text));
        store.load();
        store.search("a");
    }
    std::filesystem::remove(folder / "one.json");
    std::filesystem::create_directories(Journal::folder(store));
    write(Journal::folder(store) / "left.jsonl", input);
    for (auto const& path : Journal::recover(store)) {
        fuzzExpect(SessionStore::read(path).has_value());
        std::filesystem::remove(path);
    }
    std::filesystem::remove_all(Journal::folder(store));
}

/// The file of settings, and the profiles in it.
void store(std::string_view input)
{
    static TemporaryFolder const folder;
    World world;
    write(folder / "defaults.json", input);
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

/// A sound file.
void sound(std::string_view input)
{
    static TemporaryFolder const folder;
    write(folder / "sound", input);
    auto file = SoundFile::open(folder / "sound");
    if (!file)
        return fuzzExpect(!file.error().message.empty());
    for (std::size_t pieces = 0; pieces < 50; ++pieces) {
        auto const samples = file->read(1600);
        fuzzExpect(samples.size() <= 1600);
        if (samples.size() < 1600)
            break;
    }
    file->seek(file->length() / 2);
    file->read(10);
}

FuzzTarget const targets[] = {{"archive", archive}, {"store", store}, {"sound", sound}};

} // namespace

} // namespace lingrelay
