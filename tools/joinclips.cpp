// lingrelay-joinclips PAUSE OUTPUT.wav CLIP...: one mono WAV of all clips, with PAUSE seconds of silence after each.

#include <fmt/core.h>
#include <sndfile.hh>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

int fail(std::string const& message)
{
    fmt::print(stderr, "lingrelay-joinclips: {}\n", message);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    double pause = -1;
    if (argc >= 4)
        std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), pause);
    if (!(pause >= 0 && pause <= 60))
        return fail("usage: lingrelay-joinclips PAUSE OUTPUT.wav CLIP...   (PAUSE: 0 to 60 seconds)");

    SndfileHandle output;
    for (int i = 3; i < argc; ++i) {
        SndfileHandle clip(argv[i]);
        if (clip.error() != SF_ERR_NO_ERROR)
            return fail(fmt::format("cannot read {}: {}", argv[i], clip.strError()));
        if (clip.channels() != 1)
            return fail(fmt::format("{} is not mono", argv[i]));
        if (i == 3)
            output = SndfileHandle(argv[2], SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, clip.samplerate());
        if (output.error() != SF_ERR_NO_ERROR)
            return fail(fmt::format("cannot write {}: {}", argv[2], output.strError()));
        if (clip.samplerate() != output.samplerate())
            return fail(fmt::format("{} has another sample rate than {}", argv[i], argv[3]));

        std::vector<short> samples(static_cast<std::size_t>(clip.frames()));
        samples.resize(static_cast<std::size_t>(clip.readf(samples.data(), clip.frames())));
        samples.resize(samples.size() + static_cast<std::size_t>(pause * clip.samplerate()), 0);
        auto const count = static_cast<sf_count_t>(samples.size());
        if (output.writef(samples.data(), count) != count)
            return fail(fmt::format("cannot write {}: {}", argv[2], output.strError()));
    }
    return 0;
}
