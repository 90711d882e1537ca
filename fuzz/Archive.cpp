// An archived session's file; the same bytes as a journal that a killed program has left.

#include "base/Text.h"
#include "fuzz/Target.h"
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

void run(std::string_view input)
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

FuzzTarget const target("archive", run);

} // namespace

} // namespace lingrelay
