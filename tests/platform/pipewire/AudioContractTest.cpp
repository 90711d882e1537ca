// What the program needs of a machine's sound, whatever makes it.

#include "tests/platform/pipewire/AudioListeners.h"
#include "tests/platform/pipewire/AudioMachine.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

struct Kind {
    char const* name;
    std::unique_ptr<AudioMachine> (*make)();
};

class AudioContractTest : public testing::TestWithParam<Kind> {
protected:
    bool until(std::function<bool()> const& condition, double limit = 8) { return m.until(condition, limit); }
    static bool contains(std::vector<AudioDevice> const& list, AudioDevice const& device)
    {
        return std::find(list.begin(), list.end(), device) != list.end();
    }

    std::unique_ptr<AudioMachine> m_machine = GetParam().make();
    AudioMachine& m = *m_machine;
};

TEST_P(AudioContractTest, devicesAreListedBySideWithTheirDefaults)
{
    auto const inputs = m.devices().inputs();
    auto const outputs = m.devices().outputs();
    EXPECT_NE(m.input(m.microphone), 0U);
    EXPECT_NE(m.output(m.headset), 0U);
    EXPECT_EQ(m.input(m.speakers), 0U);
    EXPECT_EQ(m.output(m.microphone), 0U);
    EXPECT_EQ(m.input(m.duplex), m.output(m.duplex)) << "one device, one number";
    EXPECT_NE(m.input(m.duplex), 0U);
    EXPECT_EQ(m.devices().defaultInput(), m.input(m.microphone));
    EXPECT_EQ(m.devices().defaultOutput(), m.output(m.speakers));
    EXPECT_EQ(m.devices().builtInInput(), m.input(m.microphone));

    std::atomic<int> inputChanges = 0;
    std::atomic<int> outputChanges = 0;
    auto inputWatch = m.inputs().watchDefault([&] { ++inputChanges; });
    auto const outputWatch = m.outputs().watchDefault([&] { ++outputChanges; });
    auto const second = m.input(m.secondMicrophone);
    m.devices().setDefaultInput(second);
    EXPECT_TRUE(until([&] { return inputChanges == 1 && m.devices().defaultInput() == second; }));
    m.devices().setDefaultInput(second);
    m.devices().setDefaultInput(9999);
    m.setDefaultOutput(m.headset);
    EXPECT_TRUE(until([&] { return outputChanges == 1 && m.devices().defaultOutput() == m.output(m.headset); }));
    EXPECT_EQ(inputChanges, 1) << "nothing else became the default";
    inputWatch.reset();
    m.devices().setDefaultInput(m.input(m.microphone));
    EXPECT_TRUE(until([&] { return m.devices().defaultInput() == m.input(m.microphone); }));
    EXPECT_EQ(inputChanges, 1) << "nobody watches";

    m.unplug(m.headset);
    EXPECT_TRUE(until([&] { return m.output(m.headset) == 0; }));
    m.plug(m.headset);
    auto const before
        = std::find_if(outputs.begin(), outputs.end(), [&](auto const& device) { return device.name == m.headset; });
    EXPECT_TRUE(until([&] { return contains(m.devices().outputs(), *before); })) << "it is the same device again";
}

TEST_P(AudioContractTest, anInputHasItsOwnDeviceInBlocksOfTheLengthAskedFor)
{
    auto const first = m.sing(440, m.microphone);
    auto const second = m.sing(600, m.secondMicrophone);
    auto const format = m.inputs().format(m.input(m.secondMicrophone));
    ASSERT_EQ(format, (AudioFormat{48000, 1}));
    HeardSound pinned(48000);
    HeardSound standard(48000);
    auto input = m.inputs().open(m.input(m.secondMicrophone), *format, 2048, pinned);
    auto const other = m.inputs().open({}, *m.inputs().format({}), 480, standard);
    ASSERT_TRUE(input && other);
    EXPECT_TRUE(until([&] { return pinned.level(600) > 0.45 && standard.level(440) > 0.45; }));
    EXPECT_EQ(pinned.events(), std::vector<std::string>{"started"});
    EXPECT_EQ(pinned.blocks(), (std::pair<std::size_t, std::size_t>(2048, 2048)));
    EXPECT_EQ(standard.blocks(), (std::pair<std::size_t, std::size_t>(480, 480)));
    EXPECT_LT(pinned.loudest(440), 0.02) << "not for a moment the default";
    input->reset();
    auto const count = pinned.count();
    m.wait(0.3);
    EXPECT_EQ(pinned.count(), count) << "it has ended";
    EXPECT_FALSE(m.inputs().format(9999));
    EXPECT_FALSE(m.inputs().open(9999, *format, 2048, pinned));
}

TEST_P(AudioContractTest, anInputWaitsForItsDevice)
{
    auto const device = m.input(m.duplex);
    auto const format = m.inputs().format(device);
    ASSERT_TRUE(format);
    auto const sung = m.sing(440, m.microphone); // the default, which must not replace it
    HeardSound heard(48000, 2);
    auto const input = m.inputs().open(device, *format, 1024, heard);
    ASSERT_TRUE(input);
    EXPECT_TRUE(until([&] { return heard.count() > 20000; }));
    m.unplug(m.duplex);
    EXPECT_TRUE(until([&] { return heard.lastEvent().starts_with("failed"); }));
    auto const count = heard.count();
    m.wait(0.5);
    EXPECT_EQ(heard.count(), count);
    m.plug(m.duplex);
    EXPECT_TRUE(until([&] { return heard.lastEvent() == "started" && heard.count() > count + 20000; }));
    EXPECT_EQ(heard.events().size(), 3U);
    EXPECT_LT(heard.loudest(440), 0.02);
}

TEST_P(AudioContractTest, anOutputPlaysOnItsDeviceOnly)
{
    OwnTone onHeadset(600);
    OwnTone onDefault(1000);
    auto headset = m.outputs().open(m.output(m.headset), onHeadset);
    auto const standard = m.outputs().open({}, onDefault);
    ASSERT_TRUE(headset && standard);
    EXPECT_EQ(standard->sampleRate(), 48000);
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0, m.speakers));
    headset.reset();
    auto const frames = onHeadset.frames();
    EXPECT_TRUE(m.hears(600, 0, m.headset));
    EXPECT_EQ(onHeadset.frames(), frames) << "nothing is asked for any more";
    EXPECT_FALSE(m.outputs().open(9999, onHeadset));
}

TEST_P(AudioContractTest, theCaptureHearsOthersButNotThisProgram)
{
    OwnTone own(1000);
    HeardSound heard;
    auto const capture = m.systemAudio().open(heard);
    EXPECT_TRUE(until([&] { return heard.count() > 8000; })) << "silence flows, too";
    EXPECT_EQ(heard.events(), std::vector<std::string>{"started"});
    auto const output = m.outputs().open({}, own);
    auto const program = m.play(440);
    auto other = m.play(600, m.headset);
    EXPECT_TRUE(until([&] { return heard.level(440) > 0.48 && heard.level(600) > 0.48; }));
    EXPECT_NEAR(heard.level(440), 0.5, 0.02) << "once, and as loud as it is played";
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    other.reset();
    EXPECT_TRUE(until([&] { return heard.level(600) < 0.005; }));
    EXPECT_LT(heard.loudest(1000), 0.02);
}

TEST_P(AudioContractTest, aSilenceMutesTheOthersOnlyAndGivesThemBack)
{
    HeardSound heard;
    OwnTone own(1000);
    auto const capture = m.systemAudio().open(heard);
    auto const output = m.outputs().open({}, own);
    auto const standard = m.play(440);
    auto const onHeadset = m.play(600, m.headset);
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    auto silence = m.muter().silence();
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<SoundMuter::Silence>>(silence));
    EXPECT_TRUE(m.hears(440, 0, m.speakers));
    EXPECT_TRUE(m.hears(600, 0, m.headset));
    auto const late = m.play(700);
    EXPECT_TRUE(until([&] { return heard.level(440) > 0.48 && heard.level(600) > 0.48 && heard.level(700) > 0.48; }));
    EXPECT_TRUE(m.hears(700, 0, m.speakers));
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    EXPECT_EQ(m.devices().outputs().size(), 3U + (m.output("Feed") ? 2 : 0)) << "no device of the muter's is seen";
    silence = SoundMuter::Failure{};
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(700, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    EXPECT_TRUE(m.hears(600, 0, m.speakers));
}

TEST_P(AudioContractTest, allComesBackWithTheServer)
{
    HeardSound system;
    HeardSound microphone(48000);
    OwnTone own(1000);
    auto const number = m.input(m.microphone);
    auto const capture = m.systemAudio().open(system);
    auto const input = m.inputs().open(number, *m.inputs().format(number), 2048, microphone);
    auto const output = m.outputs().open(m.output(m.headset), own);
    auto silence = m.muter().silence();
    EXPECT_TRUE(until([&] { return system.lastEvent() == "started" && microphone.lastEvent() == "started"; }));
    m.stopServer();
    EXPECT_TRUE(until(
        [&] { return system.lastEvent().starts_with("failed") && microphone.lastEvent().starts_with("failed"); }));
    EXPECT_TRUE(m.devices().outputs().empty());
    EXPECT_FALSE(m.outputs().open({}, own));
    EXPECT_FALSE(m.inputs().open({}, {48000, 1}, 2048, microphone));
    HeardSound late;
    auto const lateCapture = m.systemAudio().open(late);
    EXPECT_TRUE(until([&] { return late.lastEvent().starts_with("failed"); }));

    m.startServer();
    auto const program = m.play(440);
    auto const sung = m.sing(700, m.microphone);
    for (auto const* heard : {&system, &late})
        EXPECT_TRUE(until([&] { return heard->lastEvent() == "started" && heard->level(440) > 0.48; }));
    EXPECT_TRUE(until([&] { return microphone.lastEvent() == "started"; }));
    for (auto const* heard : {&system, &microphone})
        EXPECT_EQ(heard->events().size(), 3U) << "started, failed, started";
    EXPECT_EQ(m.input(m.microphone), number);
    EXPECT_TRUE(m.hears(1000, 0.5, m.headset));
    EXPECT_TRUE(m.hears(440, 0, m.speakers)) << "still muted";
    silence = SoundMuter::Failure{};
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(until([&] { return microphone.level(700) > 0.48; }));
}

TEST_P(AudioContractTest, theVirtualMicrophonePassesOnWhatIsPlayedIntoIt)
{
    auto& pair = m.virtualMicrophone();
    EXPECT_FALSE(pair.installed());
    EXPECT_TRUE(pair.remove()) << "there is none";
    ASSERT_TRUE(pair.available() && pair.install());
    EXPECT_TRUE(pair.installed());
    EXPECT_TRUE(until([&] { return m.input("Lingrelay") && m.output("Lingrelay"); }));
    EXPECT_TRUE(pair.install()) << "it is there already";
    EXPECT_NE(m.devices().defaultInput(), m.input("Lingrelay")) << "nobody has chosen it";
    auto const device = AudioDevices::virtualDevice(m.devices().inputs());
    ASSERT_TRUE(device);
    auto const format = m.inputs().format(device->id);
    ASSERT_TRUE(format);
    HeardSound heard(48000, static_cast<std::size_t>(format->channels));
    OwnTone own(1000);
    auto const input = m.inputs().open(device->id, *format, 2048, heard);
    auto const output = m.outputs().open(m.output("Lingrelay"), own);
    ASSERT_TRUE(input && output);
    EXPECT_TRUE(until([&] { return std::abs(heard.level(1000) - 0.5) < 0.02; }));
    EXPECT_TRUE(m.hears(1000, 0, m.speakers));
    EXPECT_TRUE(pair.remove());
    EXPECT_FALSE(pair.installed());
    EXPECT_TRUE(until([&] { return !m.input("Lingrelay") && !m.output("Lingrelay"); }));
    EXPECT_TRUE(m.hears(1000, 0, m.speakers)) << "what is meant for a call must not come out of the speakers";
    EXPECT_TRUE(pair.install());
    EXPECT_TRUE(until([&] { return heard.lastEvent() == "started" && heard.level(1000) > 0.48; }));
}

TEST_P(AudioContractTest, whatFollowsTheDefaultNeverFollowsItToTheVirtualMicrophone)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    EXPECT_TRUE(until([&] { return m.input("Lingrelay") && m.output("Lingrelay"); }));
    OwnTone own(1000);
    OwnTone later(600);
    HeardSound call(48000, 2);
    auto const input = m.inputs().open(m.input("Lingrelay"), {48000, 2}, 2048, call);
    auto const output = m.outputs().open({}, own);
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    m.setDefaultOutput("Lingrelay");
    EXPECT_TRUE(until([&] { return m.devices().defaultOutput() == m.output("Lingrelay"); }));
    auto const anew = m.outputs().open({}, later);
    EXPECT_TRUE(m.hears(600, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    EXPECT_GT(call.count(), 0U);
    EXPECT_LT(call.loudest(1000) + call.loudest(600), 0.02) << "the other side would hear itself";
    m.devices().setDefaultInput(m.input("Lingrelay"));
    EXPECT_TRUE(until([&] { return m.devices().defaultInput() == m.input("Lingrelay"); }));
    EXPECT_FALSE(m.inputs().format({})) << "this program would hear itself";
}

INSTANTIATE_TEST_SUITE_P(, AudioContractTest,
    testing::Values(Kind{"PipeWire", AudioMachine::makePipeWire}, Kind{"Simulated", AudioMachine::makeSimulated}),
    [](auto const& kind) { return kind.param.name; });

} // namespace

} // namespace lingrelay
