// A sound file.

#include "cli/SoundFile.h"
#include "fuzz/Target.h"
#include "tests/support/TemporaryFolder.h"

#include <cmath>
#include <fstream>

namespace lingrelay {

namespace {

void run(std::string_view input)
{
    static TemporaryFolder const folder;
    std::ofstream(folder / "sound", std::ios::binary) << input;
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

FuzzTarget const target("sound", run);

} // namespace

} // namespace lingrelay
