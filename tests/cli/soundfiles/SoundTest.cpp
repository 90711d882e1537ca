#include "cli/soundfiles/SoundFile.h"
#include "cli/soundfiles/WavOutputs.h"
#include "platform/sim/VirtualTime.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Tones.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/stat.h>

using namespace lingrelay;
namespace fs = std::filesystem;

namespace {

TEST(SoundFileTest, anyFormatRateAndChannelCountBecomesMonoAt16kHz)
{
    TemporaryFolder const folder;
    struct Case {
        int format, rate, channels;
    };
    for (auto const& [format, rate, channels] : {Case{SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1},
             {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 44100, 2}, {SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48000, 6},
             {SF_FORMAT_OGG | SF_FORMAT_VORBIS, 22050, 1}, {SF_FORMAT_AIFF | SF_FORMAT_PCM_U8, 8000, 2}}) {
        auto const mono = tone(500, rate, 1.0);
        std::vector<float> frames;
        for (auto const sample : mono) {
            for (int channel = 0; channel < channels; ++channel)
                frames.push_back(channel == 0 ? sample * static_cast<float>(channels) / 6 : 0); // one of them speaks
        }
        writeSound(folder / "sound", frames, rate, channels, format);
        auto file = SoundFile::open(folder / "sound");
        ASSERT_TRUE(file) << file.error().message;
        EXPECT_NEAR(file->seconds(), 1.0, 0.02);
        std::vector<float> all;
        for (auto block = file->read(1600); !block.empty(); block = file->read(1600))
            all.insert(all.end(), block.begin(), block.end());
        EXPECT_NEAR(static_cast<double>(all.size()), 16000, 200) << format;
        EXPECT_NEAR(levelOf(all), levelOf(mono) - 20 * std::log10(6.0), 0.3) << format << ' ' << channels;
        ASSERT_TRUE(file->seek(8000));
        auto const again = file->read(100);
        ASSERT_EQ(again.size(), 100U);
        for (std::size_t i = 0; i < again.size(); ++i)
            EXPECT_NEAR(again[i], all[8000 + i], format & SF_FORMAT_VORBIS ? 0.05 : 1e-6) << format << ' ' << i;
    }
}

TEST(SoundFileTest, whatIsNoSoundIsRefusedWithAReason)
{
    TemporaryFolder const folder;
    auto const refusal = [&](std::string const& name) {
        auto const file = SoundFile::open(folder / name);
        return file ? "" : file.error().message;
    };
    EXPECT_NE(refusal("missing.wav").find("no such file"), std::string::npos);
    EXPECT_NE(refusal("").find("not a sound file"), std::string::npos); // the folder
    std::ofstream(folder / "text.wav") << "RIFF but not really";
    EXPECT_NE(refusal("text.wav").find("cannot be read as sound"), std::string::npos);
    std::ofstream(folder / "empty.wav").flush();
    EXPECT_NE(refusal("empty.wav"), "");
    writeSound(folder / "silent.wav", {}, 44100, 2);
    EXPECT_NE(refusal("silent.wav").find("no sound"), std::string::npos);
    writeSound(folder / "cut.wav", tone(100, 16000, 0.1));
    writeSound(folder / "slow.wav", tone(1, 10, 10), 10); // hours of sound
    EXPECT_NE(refusal("slow.wav").find("not a usable"), std::string::npos);
    fs::resize_file(folder / "cut.wav", 44); // the header alone
    EXPECT_NE(refusal("cut.wav").find("no sound"), std::string::npos);
}

TEST(SoundFileTest, aFileThatIsIncompleteOrChangesIsTold)
{
    TemporaryFolder const folder;
    auto const path = folder / "sound";
    enum class Fate { none, cutBefore, cutAfter, growsAfter };
    auto const damage = [&](int format, Fate fate) {
        writeSound(path, tone(100, 16000, 2.0), 16000, 1, format);
        auto const half = fs::file_size(path) / 2;
        if (fate == Fate::cutBefore)
            fs::resize_file(path, half);
        auto file = SoundFile::open(path);
        if (!file)
            return file.error().message;
        if (fate == Fate::cutAfter || fate == Fate::growsAfter)
            fs::resize_file(path, fate == Fate::cutAfter ? half : 3 * half);
        while (!file->read(1600).empty()) { }
        auto const found = file->damage();
        return found ? found->message : "";
    };
    for (int const format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
             SF_FORMAT_AU | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16}) {
        EXPECT_EQ(damage(format, Fate::none), "") << format;
        EXPECT_NE(damage(format, Fate::cutBefore).find("promises 2.0 s"), std::string::npos) << format;
        EXPECT_NE(damage(format, Fate::cutAfter).find("was changed"), std::string::npos) << format;
        EXPECT_NE(damage(format, Fate::growsAfter).find("was changed"), std::string::npos) << format;
    }
}

TEST(SoundFileTest, aPipeIsReadToItsEnd)
{
    TemporaryFolder const folder;
    writeSound(folder / "sound", tone(100, 16000, 5.0));
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(folder / "pipe") << std::ifstream(folder / "sound").rdbuf(); });
    auto file = SoundFile::open(folder / "pipe");
    writer.join();
    ASSERT_TRUE(file) << file.error().message;
    EXPECT_EQ(file->read(100'000).size(), 80'000U);
    EXPECT_FALSE(file->damage());
    EXPECT_FALSE(SoundFile::open(folder / "pipe", [] { return true; })) << "the user's stop";
}

/// Plays a count up to `left` samples of a ramp, then silence.
class Ramp final : public AudioRenderer {
public:
    void render(float* out, std::size_t frames) override
    {
        for (std::size_t i = 0; i < frames; ++i) {
            out[i] = left > 0 ? 0.5F : 0.0F;
            left -= left > 0 ? 1 : 0;
        }
    }
    std::int64_t left = 0;
};

/// The player's voice as a file.
struct WavOutputsTest : testing::Test {
    std::unique_ptr<WavOutputs> begin(Pace pace)
    {
        auto outputs
            = std::make_unique<WavOutputs>(scheduler, std::move(*WavFile::create(path, WavOutputs::rate)), pace);
        outputs->queuedSeconds = [this] { return static_cast<double>(ramp.left) / WavOutputs::rate; };
        outputs->begin();
        return outputs;
    }
    TemporaryFolder folder;
    std::string path = folder / "voice.wav";
    VirtualTime time;
    VirtualScheduler scheduler{time};
    Ramp ramp;
};

TEST_F(WavOutputsTest, realTimeKeepsPausesAndFollowsTheClockExactly)
{
    auto const outputs = begin(Pace::realtime);
    time.advance(seconds(2.5)); // nothing to say yet
    auto output = outputs->open({}, ramp);
    EXPECT_EQ(output->sampleRate(), 24000);
    ramp.left = 12000;
    time.advance(seconds(4.0));
    EXPECT_NEAR(static_cast<double>(readVoice(path).size()), 6.5 * 24000, 24000); // readable all the time
    ramp.left = 12000;
    time.advance(seconds(1.00001));
    EXPECT_FALSE(outputs->finish());
    output.reset();
    auto const sound = readVoice(path);
    EXPECT_EQ(sound.size(), 180000U); // 7.50001 seconds, cut down
    EXPECT_EQ(std::count_if(sound.begin(), sound.end(), [](float sample) { return sample > 0.4F; }), 24000);
    EXPECT_EQ(sound[59999], 0.0F);
    EXPECT_GT(sound[60000], 0.4F);
    EXPECT_TRUE(time.idle());
}

TEST_F(WavOutputsTest, fastPutsClauseBehindClause)
{
    auto const outputs = begin(Pace::fast);
    auto output = outputs->open({}, ramp);
    for (int clause = 0; clause < 3; ++clause) {
        ramp.left = 100000;
        time.advance(seconds(1.0));
        EXPECT_EQ(ramp.left, 0); // nobody waits for it to be heard
    }
    outputs->finish();
    output.reset();
    auto const sound = readVoice(path);
    EXPECT_EQ(sound.size(), 300000U);
    EXPECT_EQ(std::count(sound.begin(), sound.end(), 0.0F), 0);
}

} // namespace
