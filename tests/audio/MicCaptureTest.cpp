#include "audio/MicCapture.h"
#include "tests/audio/SoundWorld.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Id = SimSoundServer::Id;
using Texts = std::vector<std::string>;

/// Notes what is asked of the inputs.
class NotedInputs final : public AudioInputs {
public:
    explicit NotedInputs(AudioInputs& inputs) : m_inputs(inputs) { }

    std::vector<std::string> opened;

    std::optional<AudioFormat> format(std::optional<Id> device) override { return m_inputs.format(device); }
    Result<std::unique_ptr<AudioInput>> open(
        std::optional<Id> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver) override
    {
        opened.push_back(fmt::format("{} {} {}x{}", device ? std::to_string(*device) : "default", blockFrames,
            format.sampleRate, format.channels));
        return m_inputs.open(device, format, blockFrames, receiver);
    }
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return m_inputs.watchDefault(std::move(changed));
    }

private:
    AudioInputs& m_inputs;
};

class MicCaptureTest : public testing::Test, protected SoundWorld {
protected:
    void SetUp() override { watch(m_capture); }

    Texts opened() { return std::exchange(m_inputs.opened, {}); }

    NotedInputs m_inputs{sound.inputs()};
    MicCapture m_capture{m_inputs, world.main};
};

TEST_F(MicCaptureTest, aToneStaysOneToneAcrossBlocksOfAnyFormat)
{
    struct Case {
        double rate;
        int channels;
        double level;
    };
    for (auto const& [rate, channels, level] :
        {Case{48000, 1, 0.5}, Case{44100, 2, 0.25}, Case{16000, 1, 0.5}, Case{96000, 3, 0.5 / 3}, Case{8000, 1, 0.5}}) {
        auto const device = sound.add({.name = "Input", .inputChannels = channels, .rate = rate});
        sound.hear(device, channels - 1, SimSoundServer::tone(440)); // the other channels are silent
        m_capture.setInputDevice(device);
        m_capture.start();
        wait(3);
        m_capture.stop();
        auto const samples = heard();
        auto const blocksIn = std::floor(3 * rate / 2048 + 1e-9);
        EXPECT_NEAR(static_cast<double>(samples.size()), blocksIn * 2048 * 16000 / rate, 80) << rate;
        // At the very start the converter rises from silence.
        auto const fit = fitTone(std::span(samples).subspan(800, 32000), 440, 16000);
        EXPECT_NEAR(fit.level, level, 0.001) << rate;
        EXPECT_LT(fit.rest, 0.0005) << rate;
        sound.unplug(device);
    }
}

class GateTest : public MicCaptureTest {
protected:
    using Gate = std::function<void(MicCapture&)>;

    static constexpr double blockTime = 2048.0 / 48000;

    /// The loudest sample of a microphone that hears a noise from the first sample of block 5 to the last of block 29,
    /// with a gate that is shut for just these blocks.
    double loudest(Gate const& shut, Gate const& open, int blocksHeard)
    {
        SimSoundServer server(world.background);
        auto const input = server.add({.name = "Input", .inputChannels = 1});
        server.hear(input, [](double time) {
            auto const block = std::floor(time / blockTime + 1e-6);
            return block >= 5 && block < 30 ? 0.9F : 0.0F;
        });
        MicCapture capture(server.inputs(), world.main);
        watch(capture);
        int heldBack = 0;
        capture.onHeldBack = [&] { ++heldBack; };
        blocks = 0;
        capture.start();
        wait(5 * blockTime + 0.012); // the fifth block has come
        shut(capture);
        wait(25 * blockTime);
        open(capture);
        wait(5 * blockTime);
        EXPECT_EQ(blocks, blocksHeard);
        EXPECT_EQ(heldBack, 35 - blocksHeard) << "the meter is told";
        double peak = 0;
        for (auto const sample : heard())
            peak = std::max(peak, std::abs(static_cast<double>(sample)));
        return peak;
    }
};

TEST_F(GateTest, whatIsShutOutNeverReachesTheConverter)
{
    Gate const nothing = [](MicCapture&) {};
    EXPECT_GT(loudest(nothing, nothing, 35), 0.8);
    EXPECT_EQ(loudest([](auto& mic) { mic.setMuted(true); }, [](auto& mic) { mic.setMuted(false); }, 10), 0);
    Gate const guard = [this](MicCapture&) { world.echoGuard.bump(25 * blockTime - 0.35); }; // it holds 0.35 s longer
    EXPECT_GT(loudest(guard, nothing, 35), 0.8) << "a guard that is off";
    world.echoGuard.setEnabled(true);
    EXPECT_EQ(loudest(guard, nothing, 10), 0);
}

TEST_F(MicCaptureTest, onlyAMicrophoneWithoutAChosenDeviceFollowsTheDefault)
{
    auto const other = sound.add({.name = "Headset", .inputChannels = 2, .rate = 44100});
    wait(0);
    sound.setDefaultInput(other);
    wait(0.1);
    EXPECT_EQ(opened(), Texts()) << "it does not run";
    m_capture.start();
    sound.setDefaultInput(mic);
    wait(0.1);
    sound.setDefaultInput(mic);
    wait(0.1);
    EXPECT_EQ(opened(), (Texts{"default 2048 44100x2", "default 2048 48000x1"})) << "once for each change";
    m_capture.setInputDevice(other);
    sound.setDefaultInput(other);
    wait(0.1);
    EXPECT_EQ(opened(), (Texts{"3 2048 44100x2"}));
    m_capture.setInputDevice({});
    EXPECT_EQ(opened(), (Texts{"default 2048 44100x2"}));
    m_capture.stop();
    m_capture.setInputDevice(mic);
    sound.setDefaultInput(mic);
    wait(1);
    EXPECT_EQ(opened(), Texts()) << "an idle one only keeps the choice";
    EXPECT_EQ(sound.inputsRunning(), 0U);
    heard();
    m_capture.start();
    EXPECT_EQ(opened(), (Texts{"2 2048 48000x1"}));
    wait(1);
    EXPECT_NEAR(static_cast<double>(heard().size()), 16000, 800) << "one microphone and no more";
    EXPECT_EQ(errors, Texts());
}

TEST_F(MicCaptureTest, aMicrophoneThatWasMissingStartsWhenItAppears)
{
    sound.unplug(mic);
    m_capture.start();
    EXPECT_EQ(errors, Texts{"Could not open the microphone"});
    m_capture.stop();
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty()) << "the user has stopped";
    sound.unplug(mic);
    wait(0.1);
    world.language.setModelLanguage("vi");
    m_capture.start();
    EXPECT_EQ(errors.back(), "Không truy cập được micro");
    wait(10);
    sound.plug(mic);
    wait(1);
    EXPECT_NEAR(static_cast<double>(heard().size()), 16000, 800);
    EXPECT_EQ(errors.size(), 2U);
    m_capture.stop();
    sound.unplug(mic);
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice(99); // a choice that is gone does not become another
    m_capture.start();
    sound.unplug(mic);
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice(mic);
    wait(1);
    EXPECT_FALSE(pcm.empty()) << "the user picks another after a start that failed";
}

TEST_F(MicCaptureTest, faultsAreToldAndARunningMicrophoneComesBack)
{
    sound.refuse(mic, {.message = "busy"});
    m_capture.start();
    EXPECT_EQ(errors, Texts{"Microphone: busy"});
    sound.accept(mic);
    m_capture.start();
    wait(1);
    EXPECT_FALSE(heard().empty());
    sound.refuse(mic, {.message = "lost"});
    world.language.setModelLanguage("vi");
    wait(1);
    EXPECT_EQ(errors, (Texts{"Microphone: busy", "Micro: lost"}));
    EXPECT_EQ(recoveries, 1);
    heard();
    sound.accept(mic);
    wait(1);
    EXPECT_FALSE(heard().empty());
    EXPECT_EQ(recoveries, 2);

    // A restart that fails leaves it meant to run: the next event takes it up again.
    m_capture.setInputDevice(99);
    EXPECT_EQ(errors.back(), "Không truy cập được micro");
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice({});
    wait(1);
    EXPECT_FALSE(heard().empty());
    EXPECT_EQ(sound.inputsRunning(), 1U);
}

} // namespace

} // namespace lingrelay
