// What a real sound server does to the program, and what the program must never do to it.

#include "base/Json.h"
#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "tests/platform/pipewire/AudioListeners.h"
#include "tests/platform/pipewire/PipeWireMachine.h"
#include "tests/support/RealtimeGuard.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace lingrelay {

namespace {

using Part = SoundServer::Part;
using Silence = std::unique_ptr<SoundMuter::Silence>;

constexpr char const* configuredInput = "default.configured.audio.source";
constexpr char const* currentInput = "default.audio.source";
constexpr double soon = 3; ///< seconds; what is meant is one, on a machine that does other things, too

class PipeWireFaultTest : public testing::Test {
protected:
    bool until(std::function<bool()> const& condition, double limit = 15) { return eventually(condition, limit); }
    /// Another instance that mutes and has taken the default input.
    std::unique_ptr<TestProcess> startVictim(std::string const& guard = LINGRELAY_SOUND_GUARD)
    {
        auto const places = m.places();
        auto victim = std::make_unique<TestProcess>(
            Words{LINGRELAY_VICTIM, places.defaultInput.string(), places.serverAdditions.string(), guard});
        EXPECT_TRUE(until([&] { return victim->output() == "ready\n"; }));
        return victim;
    }
    /// The guard of another instance; 0 without one.
    static pid_t childOf(TestProcess const& program)
    {
        auto const children = program.children();
        return children.empty() ? 0 : children.back();
    }
    bool inputBecomes(std::string const& node)
    {
        return until([&] { return m.server.defaultNode(currentInput) == node; });
    }
    /// The default input is what it was, and nothing is kept of it.
    bool isGivenBack(std::string const& chosen = "")
    {
        return inputBecomes(chosen.empty() ? SoundServer::microphone : chosen)
            && until([&] { return m.server.defaultNode(configuredInput) == chosen; })
            && until([&] { return !std::filesystem::exists(m.places().defaultInput); });
    }
    static double took(std::function<void()> const& call)
    {
        auto const start = Clock::now();
        call();
        return toSeconds(Clock::now() - start);
    }

    PipeWireMachine m;
};

/// Guards the data thread between two calls, and so all that happens on it in the meantime.
class GuardedTone final : public AudioRenderer {
public:
    static constexpr int from = 20;
    static constexpr int to = 80;

    void render(float* out, std::size_t frames) override
    {
        std::fill_n(out, frames, 0.1F);
        auto const call = m_calls++;
        if (call == from)
            m_guard.emplace();
        if (call == to) {
            violations = m_guard->violations();
            first = m_guard->first();
            m_guard.reset();
        }
    }
    int calls() const { return m_calls; }
    int violations = 0;
    char const* first = nullptr;

private:
    std::optional<RealtimeGuard> m_guard;
    std::atomic<int> m_calls = 0;
};

TEST_F(PipeWireFaultTest, theDataThreadNeitherAllocatesNorLocks)
{
    HeardSound system;
    HeardSound microphone(48000);
    GuardedTone tone;
    auto const sung = m.sing(440, m.microphone);
    auto const capture = m.systemAudio().open(system);
    auto const input = m.inputs().open(m.input(m.microphone), {48000, 1}, 2048, microphone);
    EXPECT_TRUE(until([&] { return system.level(440) > 0.4 && microphone.level(440) > 0.4; }));
    auto const before = std::pair(system.count(), microphone.count());
    auto const output = m.outputs().open({}, tone);
    EXPECT_TRUE(until([&] { return tone.calls() > GuardedTone::to + 1; }));
    EXPECT_EQ(tone.violations, 0) << tone.first;
    EXPECT_GT(system.count(), before.first + 8000) << "it worked meanwhile";
    EXPECT_GT(microphone.count(), before.second + 24000);
}

TEST_F(PipeWireFaultTest, aDefaultThatChangesTakesAFollowingOutputAlongAndNoOther)
{
    OwnTone following(1000);
    OwnTone chosen(600);
    auto const a = m.outputs().open({}, following);
    auto const b = m.outputs().open(m.output(m.speakers), chosen);
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.speakers));
    m.setDefaultOutput(m.headset);
    EXPECT_TRUE(m.hears(1000, 0.5, m.headset));
    EXPECT_TRUE(m.hears(1000, 0, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.speakers)) << "also chosen while it was the default";
    m.unplug(m.headset);
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    m.unplug(m.speakers);
    m.plug(m.headset);
    EXPECT_TRUE(m.hears(1000, 0.5, m.headset));
    EXPECT_TRUE(m.hears(600, 0, m.headset)) << "a voice does not go where it was not sent";
    m.plug(m.speakers);
    EXPECT_TRUE(until([&] { return m.output(m.speakers) != 0; }));
    EXPECT_TRUE(m.hears(600, 0.5, m.speakers));
}

TEST_F(PipeWireFaultTest, programsThatComeAndGoLeaveNothingBehind)
{
    HeardSound heard;
    auto const capture = m.systemAudio().open(heard);
    EXPECT_TRUE(until([&] { return heard.count() > 1600; }));
    auto const links = m.server.count("Link");
    auto const nodes = m.server.count("Node");
    auto const start = Clock::now();
    auto const first = heard.count();
    for (int round = 0; round < 5; ++round) {
        auto silence = round % 2 == 0 ? m.muter().silence() : SoundMuter::Failure{};
        auto mono = m.server.play({.frequency = 440, .channels = 1});
        auto stereo = m.server.play({.frequency = 600});
        EXPECT_TRUE(until([&] { return heard.level(440) > 0.48 && heard.level(600) > 0.48; })) << round;
        EXPECT_NEAR(heard.level(440), 0.5, 0.02) << "mono is as loud as stereo";
        mono->end(round % 2 == 0 ? SIGKILL : SIGTERM);
        stereo->end();
        EXPECT_TRUE(until([&] { return heard.level(440) < 0.005 && heard.level(600) < 0.005; })) << round;
    }
    EXPECT_TRUE(until([&] { return m.server.count("Link") == links && m.server.count("Node") == nodes; }));
    auto const rate = static_cast<double>(heard.count() - first) / toSeconds(Clock::now() - start);
    EXPECT_GT(rate, 15500) << "no gap";
    EXPECT_EQ(heard.events(), std::vector<std::string>{"started"});
}

TEST_F(PipeWireFaultTest, aKilledProgramGivesSoundDevicesAndDefaultsBack)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const standard = m.play(440, "");
    auto const onHeadset = m.play(600, m.headset);
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    auto victim = startVictim();
    EXPECT_TRUE(m.hears(440, 0, m.speakers));
    EXPECT_TRUE(m.hears(600, 0, m.headset));
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    victim->end(SIGKILL);
    auto const start = Clock::now();
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    EXPECT_TRUE(m.hears(600, 0, m.speakers));
    EXPECT_TRUE(inputBecomes(SoundServer::microphone));
    EXPECT_LT(toSeconds(Clock::now() - start), soon);
    EXPECT_EQ(m.server.defaultNode(configuredInput), "") << "nothing had been chosen";

    // Together with this program's own silence, and while the streams are still on their way.
    for (int round = 0; round < 4; ++round) {
        victim = startVictim();
        auto silence = m.muter().silence();
        victim->end(SIGKILL);
        m.wait(0.5);
        EXPECT_TRUE(m.staysSilent(440, m.speakers, 0.3)) << round;
        EXPECT_TRUE(m.staysSilent(600, m.headset, 0.3)) << round;
        silence = SoundMuter::Failure{};
        EXPECT_TRUE(m.hears(440, 0.5, m.speakers)) << round;
        EXPECT_TRUE(m.hears(600, 0.5, m.headset)) << round;
    }
}

TEST_F(PipeWireFaultTest, aStreamThatIsCalledBackWhileItIsMutedIsMutedAllTheSame)
{
    auto const program = m.play(440, "");
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    EXPECT_TRUE(m.hears(440, 0, m.headset));
    auto const stream = m.server.idOf("pw-play");
    ASSERT_TRUE(stream);
    PipeWireConnection other;
    // The session manager gets both at once, and of the first nobody hears.
    m.server.signal(Part::sessionManager, SIGSTOP);
    auto silence = m.muter().silence();
    m.wait(0.1);
    {
        PipeWireConnection::Lock const lock(other);
        other.metadata().set(*stream, "target.object", {{"Spa:String", SoundServer::headset}});
        other.sync();
    }
    m.server.signal(Part::sessionManager, SIGCONT);
    m.wait(0.5);
    EXPECT_TRUE(m.staysSilent(440, m.headset, 0.3));
    EXPECT_TRUE(m.staysSilent(440, m.speakers, 0.3));
    silence = SoundMuter::Failure{};
    EXPECT_TRUE(m.hears(440, 0.5, m.headset)) << "where it was called to";
}

TEST_F(PipeWireFaultTest, aStreamThatADeadInstanceHadSilencedStillGoesBackWhereItWas)
{
    auto const program = m.play(440, "");
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    m.server.choose("pw-play", "target.object", SoundServer::headset);
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
    auto victim = startVictim();
    EXPECT_TRUE(m.hears(440, 0, m.headset));
    auto const guard = childOf(*victim);
    ASSERT_GT(guard, 0);
    // Its guard is slower than this program, which silences the same stream.
    ::kill(guard, SIGSTOP);
    victim->end(SIGKILL);
    auto silence = m.muter().silence();
    m.wait(0.3);
    ::kill(guard, SIGCONT);
    m.wait(0.5);
    EXPECT_TRUE(m.staysSilent(440, m.speakers, 0.3));
    EXPECT_TRUE(m.staysSilent(440, m.headset, 0.3));
    silence = SoundMuter::Failure{};
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
}

TEST_F(PipeWireFaultTest, aMutedProgramIsStillRememberedWithItsDevice)
{
    auto const start = [&] {
        EXPECT_TRUE(m.hears(440, 0, m.speakers) && m.hears(440, 0, m.headset)) << "nothing plays";
        return m.play(440, "");
    };
    auto const startRemembered = [&] {
        auto program = start();
        EXPECT_TRUE(m.hears(440, 0.5, m.headset) && m.hears(440, 0, m.speakers));
        return program;
    };
    auto const staysMuted = [&] {
        m.wait(0.7);
        return m.staysSilent(440, m.speakers, 0.5) && m.staysSilent(440, m.headset, 0.5);
    };
    auto program = start();
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    m.server.choose("pw-play", "target.node", SoundServer::headset);
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
    program.reset();

    program = startRemembered();
    auto silence = m.muter().silence();
    EXPECT_TRUE(staysMuted());
    silence = SoundMuter::Failure{};
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
    program.reset();

    program = startRemembered();
    silence = m.muter().silence();
    EXPECT_TRUE(staysMuted());
    program.reset();
    program = start();
    EXPECT_TRUE(staysMuted()) << "one that begins while others are muted";
    program.reset();
    m.wait(0.5);
    silence = SoundMuter::Failure{};

    program = startRemembered();
    auto const victim = startVictim();
    EXPECT_TRUE(staysMuted());
    victim->end(SIGKILL);
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
    m.wait(0.5); // its guard
    program.reset();
    startRemembered();
}

TEST_F(PipeWireFaultTest, aGuardThatDiesIsReplaced)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const victim = startVictim();
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    auto const first = childOf(*victim);
    ASSERT_GT(first, 0);
    ::kill(first, SIGKILL);
    // The next thing to tell it.
    auto const program = m.play(440, m.headset);
    EXPECT_TRUE(until([&] { return childOf(*victim) > 0 && childOf(*victim) != first; }));
    m.wait(0.5);
    EXPECT_TRUE(m.staysSilent(440, m.headset, 0.3));
    victim->end(SIGKILL);
    EXPECT_TRUE(m.hears(440, 0.5, m.headset));
    EXPECT_TRUE(inputBecomes(SoundServer::microphone)) << "it knows what the first one was told";
}

TEST_F(PipeWireFaultTest, aGuardWaitsForAKilledProgramToLetGoOfWhatItKept)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    m.endProgram(); // it would do the same
    auto const victim = startVictim("");
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    // Dying takes a while on a busy machine: the guard can be told before the file is unlocked.
    auto const news = jsonText({{"input", m.places().defaultInput.string()}});
    TestProcess const guard({"sh", "-c", fmt::format("echo '{}' | '{}'", news, LINGRELAY_SOUND_GUARD)});
    m.wait(1);
    EXPECT_EQ(m.server.defaultNode(currentInput), "Lingrelay.source");
    victim->end(SIGKILL);
    EXPECT_TRUE(until([&] { return m.server.defaultNode(currentInput) == SoundServer::microphone; }, soon));
}

TEST_F(PipeWireFaultTest, aMuteSinkThatTheServerWouldNotMakeIsMadeLater)
{
    auto const program = m.play(440, "");
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    auto const silence = m.muter().silence();
    EXPECT_TRUE(m.hears(440, 0, m.speakers));
    auto const name = fmt::format("lingrelay.mute.{}", ::getpid());
    auto const us = m.server.numberOf(name, "client.id");
    auto const factory = m.server.numberOf(name, "factory.id");
    ASSERT_TRUE(us && factory);
    auto const permit = [&](char const* bits) {
        m.server.run({"pw-cli", "permissions", std::to_string(*us), std::to_string(*factory), bits});
    };
    permit("0");
    m.server.run({"pw-cli", "destroy", name});
    EXPECT_TRUE(m.hears(440, 0.5, m.speakers));
    permit("448"); // all
    EXPECT_TRUE(m.hears(440, 0, m.speakers));
}

TEST_F(PipeWireFaultTest, theNextLaunchPutsRightWhatNobodyElseHas)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    m.server.setDefault(configuredInput, SoundServer::secondMicrophone);
    EXPECT_TRUE(inputBecomes(SoundServer::secondMicrophone));
    auto const onHeadset = m.play(600, m.headset);
    auto victim = startVictim("");
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    EXPECT_TRUE(m.hears(600, 0, m.headset));
    m.endProgram();
    m.startProgram();
    EXPECT_TRUE(m.staysSilent(600, m.headset, 2.5)) << "the other one lives";
    EXPECT_EQ(m.server.defaultNode(configuredInput), "Lingrelay.source");
    victim->end(SIGKILL);
    m.endProgram();
    m.startProgram();
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    EXPECT_TRUE(until([&] { return m.server.defaultNode(configuredInput) == SoundServer::secondMicrophone; }));
    EXPECT_TRUE(until([&] { return !std::filesystem::exists(m.places().defaultInput); }));
}

TEST_F(PipeWireFaultTest, aVirtualMicrophoneThatCouldNotBeMadeIsMadeTheNextTime)
{
    m.server.signal(Part::sessionManager, SIGSTOP); // nobody gives nodes their ports
    EXPECT_FALSE(m.virtualMicrophone().install());
    EXPECT_FALSE(m.virtualMicrophone().installed());
    m.server.signal(Part::sessionManager, SIGCONT);
    m.wait(0.5);
    EXPECT_EQ(m.input("Lingrelay"), 0U) << "nothing is left of it";
    ASSERT_TRUE(m.virtualMicrophone().install());
    EXPECT_TRUE(until([&] { return m.input("Lingrelay") && m.output("Lingrelay"); }));
    HeardSound heard(48000, 2);
    OwnTone own(1000);
    auto const input = m.inputs().open(m.input("Lingrelay"), {48000, 2}, 2048, heard);
    auto const output = m.outputs().open(m.output("Lingrelay"), own);
    EXPECT_TRUE(until([&] { return heard.level(1000) > 0.48; }));
    // Somebody takes the links away: the pair is not there any more.
    for (std::string const channel : {"FL", "FR"})
        m.server.run({"pw-link", "-d", "Lingrelay:monitor_" + channel, "Lingrelay.source:input_" + channel});
    EXPECT_TRUE(until([&] { return heard.level(1000) < 0.01; }));
    ASSERT_TRUE(m.virtualMicrophone().install());
    EXPECT_TRUE(until([&] { return heard.level(1000) > 0.48; }));
}

TEST_F(PipeWireFaultTest, theDefaultInputIsGivenBackExactlyAndSwitchedThroughARestart)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const before = m.devices().defaultInput();
    auto const device = m.input("Lingrelay");
    auto const& file = m.places().defaultInput;
    m.devices().setDefaultInput(device);
    EXPECT_TRUE(until([&] { return m.devices().defaultInput() == device; }));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    // The session manager dies before it has written down what was chosen.
    m.server.end(Part::sessionManager);
    m.stopServer();
    std::filesystem::remove_all(m.server.folder() + "/state/wireplumber");
    m.startServer();
    EXPECT_TRUE(until([&] { return m.devices().defaultInput() == device; })) << m.server.defaultNode(
        currentInput) << " of " << m.devices().inputs().size() << '\n' << m.server.run({"pw-link", "-io"});
    m.devices().setDefaultInput(*before);
    EXPECT_TRUE(isGivenBack()) << "nothing had been chosen";
    // Another device than before is the user's choice, also on a full disk.
    m.devices().setDefaultInput(device);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    ::getrlimit(RLIMIT_FSIZE, &usual);
    rlimit const full{0, usual.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    m.devices().setDefaultInput(m.input(m.secondMicrophone));
    ::setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_TRUE(until([&] { return m.server.defaultNode(configuredInput) == SoundServer::secondMicrophone; }));
    EXPECT_TRUE(until([&] { return !std::filesystem::exists(file); }));
}

TEST_F(PipeWireFaultTest, theDefaultInputIsGivenBackOnceThereIsSomebodyToGiveItTo)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const before = m.devices().defaultInput();
    auto const second = m.input(m.secondMicrophone);
    auto const device = m.input("Lingrelay");
    enum class Stuck { sessionManager, both, server };
    struct Case {
        Stuck stuck; ///< when the user stops the session; then what is stuck is restarted
        std::uint32_t choice;
    };
    for (auto const& [stuck, choice] : {Case{Stuck::sessionManager, *before}, {Stuck::both, *before},
             {Stuck::server, *before}, {Stuck::server, second}}) {
        m.devices().setDefaultInput(device);
        auto const state = m.server.folder() + "/state/wireplumber/default-nodes";
        // Not as one that was chosen before: it has written this switch down.
        EXPECT_TRUE(until([&] { return readFile(state).find("source=Lingrelay.source") != std::string::npos; }));
        if (stuck == Stuck::server) {
            m.server.signal(Part::pipewire, SIGSTOP);
        } else {
            m.server.end(Part::sessionManager);
            EXPECT_TRUE(until([&] { return !m.devices().defaultInput(); }));
        }
        if (stuck == Stuck::both)
            m.stopServer();
        m.devices().setDefaultInput(choice);
        EXPECT_TRUE(std::filesystem::exists(m.places().defaultInput)) << "it is not done yet";
        m.stopServer();
        m.startServer();
        EXPECT_TRUE(isGivenBack(choice == second ? SoundServer::secondMicrophone : "")) << static_cast<int>(stuck);
    }
}

TEST_F(PipeWireFaultTest, aServerThatHangsWhenTheProgramIsKilledGetsAllBackLater)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const program = m.play(600, m.headset);
    auto const victim = startVictim();
    EXPECT_TRUE(m.hears(600, 0, m.headset));
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    m.server.signal(Part::pipewire, SIGSTOP);
    victim->end(SIGKILL);
    m.wait(2);
    m.server.signal(Part::pipewire, SIGCONT);
    EXPECT_TRUE(m.hears(600, 0.5, m.headset));
    EXPECT_TRUE(isGivenBack());
}

TEST_F(PipeWireFaultTest, aSessionThatIsStartedAnewWhileTheServerHangsStillKnowsTheUsersInput)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const before = m.devices().defaultInput();
    auto const device = m.input("Lingrelay");
    m.devices().setDefaultInput(device);
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    m.server.signal(Part::pipewire, SIGSTOP);
    m.devices().setDefaultInput(*before);
    EXPECT_EQ(m.devices().defaultInput(), before) << "on its way";
    m.devices().setDefaultInput(device);
    m.server.signal(Part::pipewire, SIGCONT);
    EXPECT_TRUE(until([&] { return m.devices().defaultInput() == device; }));
    m.devices().setDefaultInput(*before);
    EXPECT_TRUE(inputBecomes(SoundServer::microphone));
    EXPECT_TRUE(until([&] { return m.server.defaultNode(configuredInput).empty(); })) << "nothing had been chosen";
}

TEST_F(PipeWireFaultTest, whatOthersChooseOfTheDefaultInputMeanwhileStands)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    auto const before = m.devices().defaultInput();
    {
        auto const victim = startVictim();
        EXPECT_TRUE(inputBecomes("Lingrelay.source"));
        m.devices().setDefaultInput(*before);
        m.wait(0.5);
        EXPECT_EQ(m.server.defaultNode(currentInput), "Lingrelay.source") << "another instance's to give back";
        victim->end(SIGKILL);
        EXPECT_TRUE(inputBecomes(SoundServer::microphone));
        EXPECT_TRUE(until([&] { return !std::filesystem::exists(m.places().defaultInput); }));
    }
    m.devices().setDefaultInput(m.input("Lingrelay"));
    EXPECT_TRUE(inputBecomes("Lingrelay.source"));
    m.server.setDefault(configuredInput, SoundServer::secondMicrophone);
    auto const state = m.server.folder() + "/state/wireplumber/default-nodes";
    EXPECT_TRUE(until(
        [&] { return readFile(state).find("=" + std::string(SoundServer::secondMicrophone)) != std::string::npos; }));
    m.stopServer();
    m.startServer();
    EXPECT_TRUE(inputBecomes(SoundServer::secondMicrophone));
    m.wait(1);
    m.devices().setDefaultInput(*before);
    m.wait(0.5);
    EXPECT_EQ(m.server.defaultNode(configuredInput), SoundServer::secondMicrophone);
    EXPECT_FALSE(std::filesystem::exists(m.places().defaultInput));
}

TEST_F(PipeWireFaultTest, whatAnEarlierRunLeftWaitsUntilTheChoiceIsKnown)
{
    ASSERT_TRUE(m.virtualMicrophone().install());
    m.endProgram();
    auto const file = m.places().defaultInput;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << jsonText(
        {{"virtual", "Lingrelay.source"}, {"effective", SoundServer::microphone}, {"configured", nullptr}});
    m.startProgram();
    m.wait(1);
    EXPECT_TRUE(std::filesystem::exists(file));
    m.server.setDefault(configuredInput, "Lingrelay.source");
    EXPECT_TRUE(isGivenBack());
    std::ofstream(file) << "{}";
    m.endProgram();
    m.startProgram();
    EXPECT_TRUE(until([&] { return !std::filesystem::exists(file); })) << "there was no choice";
}

TEST_F(PipeWireFaultTest, aStreamThatSomebodyEndsIsMadeAnew)
{
    OwnTone tone(1000);
    HeardSound microphone(48000);
    auto const output = m.outputs().open({}, tone);
    auto const sung = m.sing(440, m.microphone);
    auto const input = m.inputs().open(m.input(m.microphone), {48000, 1}, 2048, microphone);
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    EXPECT_TRUE(until([&] { return microphone.level(440) > 0.4; }));
    for (auto const* node : {"lingrelay.voice", "lingrelay.input"})
        m.server.run({"pw-cli", "destroy", node});
    EXPECT_TRUE(m.hears(1000, 0, m.speakers));
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
    auto const before = microphone.count();
    EXPECT_TRUE(until([&] { return microphone.count() > before + 48000; }));
}

TEST_F(PipeWireFaultTest, aLostSessionManagerIsToldOf)
{
    HeardSound system;
    HeardSound microphone(48000);
    auto const capture = m.systemAudio().open(system);
    auto const input = m.inputs().open({}, {48000, 1}, 2048, microphone);
    EXPECT_TRUE(until([&] { return system.lastEvent() == "started" && microphone.lastEvent() == "started"; }));
    m.server.end(Part::sessionManager);
    for (auto const* heard : {&system, &microphone})
        EXPECT_TRUE(until([&] { return heard->lastEvent().starts_with("failed: the audio service is stuck"); }));
    auto const failure = m.muter().silence();
    ASSERT_TRUE(std::holds_alternative<SoundMuter::Failure>(failure));
    EXPECT_EQ(std::get<SoundMuter::Failure>(failure).step, SoundMuter::Step::device);
    EXPECT_LT(std::get<SoundMuter::Failure>(failure).status, 0);
    // Both are restarted, as the message says.
    m.stopServer();
    m.startServer();
    auto const program = m.play(440, "");
    EXPECT_TRUE(until([&] { return system.level(440) > 0.48 && microphone.lastEvent() == "started"; }));
}

TEST_F(PipeWireFaultTest, aServerThatHangsHoldsNobodyUp)
{
    HeardSound heard;
    OwnTone own;
    auto capture = m.systemAudio().open(heard);
    auto output = m.outputs().open({}, own);
    EXPECT_TRUE(until([&] { return heard.lastEvent() == "started" && own.frames() > 0; }));
    m.server.signal(Part::pipewire, SIGSTOP);
    EXPECT_LT(took([&] { EXPECT_TRUE(std::holds_alternative<SoundMuter::Failure>(m.muter().silence())); }), 2.5);
    EXPECT_LT(took([&] { m.devices().setDefaultInput(m.input(m.secondMicrophone)); }), 0.5) << "a window";
    EXPECT_LT(took([&] { m.virtualMicrophone().install(); }), 5);
    EXPECT_LT(took([&] { m.virtualMicrophone().remove(); }), 3);
    EXPECT_LT(took([&] {
        output.reset();
        capture.reset();
    }),
        2.5);
    EXPECT_LT(took([&] { m.endProgram(); }), 2.5);
    EXPECT_LT(took([&] { m.startProgram(); }), 2.5);
    EXPECT_FALSE(m.program().connected());
    m.server.signal(Part::pipewire, SIGCONT);
    EXPECT_TRUE(until([&] { return m.program().connected() && m.output(m.speakers) != 0; }));
    m.server.signal(Part::pipewire, SIGSTOP);
    EXPECT_FALSE(m.virtualMicrophone().install());
    m.server.signal(Part::pipewire, SIGCONT);
    m.wait(1);
    EXPECT_EQ(m.input("Lingrelay"), 0U) << "what comes too late goes again";
    EXPECT_EQ(m.output("Lingrelay"), 0U);
}

TEST_F(PipeWireFaultTest, aProgramOnAMonoDeviceSurvivesThatItIsMovedWhileItIsHeard)
{
    for (int round = 0; round < 12; ++round) {
        bool const remembered = round >= 5; // by the session manager, not named by the program
        HeardSound heard;
        auto silence = remembered ? SoundMuter::Failure{} : m.muter().silence();
        auto const program
            = m.server.play({.frequency = 700, .device = remembered ? "" : "lab.micfeed", .channels = 1});
        if (remembered) {
            m.server.choose("pw-play", "target.node", "lab.micfeed");
            EXPECT_TRUE(until([&] {
                return m.server.run({"pw-link", "-l"}).find("|-> lab.micfeed:") != std::string::npos;
            }));
        }
        // Only now: this version of the server now and then fails a stream that others move while it is recorded.
        auto const capture = m.systemAudio().open(heard);
        EXPECT_TRUE(until([&] { return heard.level(700) > 0.4; })) << round;
        if (remembered) {
            silence = m.muter().silence();
            m.wait(0.3);
        }
        bool const slow = round % 2 == 1; // the session manager, as on a busy machine
        if (slow)
            m.server.signal(Part::sessionManager, SIGSTOP);
        silence = SoundMuter::Failure{};
        m.wait(slow ? 0.5 : 0.1);
        m.server.signal(Part::sessionManager, SIGCONT);
        heard.take();
        EXPECT_TRUE(until([&] { return heard.level(700) > 0.4; })) << round;
        EXPECT_EQ(m.server.run({"pw-dump"}).find(R"("state": "error")"), std::string::npos) << round;
    }
}

TEST(PipeWireAloneTest, aProgramWithoutAServerWaitsForOne)
{
    PipeWireMachine m(PipeWireMachine::Order::programFirst);
    HeardSound system;
    OwnTone own;
    EXPECT_FALSE(m.program().connected());
    EXPECT_TRUE(m.devices().inputs().empty());
    EXPECT_FALSE(m.outputs().open({}, own));
    EXPECT_FALSE(m.inputs().format({}));
    auto const failure = m.muter().silence();
    ASSERT_TRUE(std::holds_alternative<SoundMuter::Failure>(failure));
    EXPECT_LT(std::get<SoundMuter::Failure>(failure).status, 0);
    auto const capture = m.systemAudio().open(system);
    EXPECT_TRUE(eventually([&] {
        return system.events() == std::vector<std::string>{"failed: the sound server (PipeWire) is not running"};
    }));
    std::atomic<int> changes = 0;
    auto const watch = m.outputs().watchDefault([&] { ++changes; });
    m.startServer();
    auto const start = Clock::now();
    EXPECT_TRUE(eventually([&] { return system.lastEvent() == "started" && m.output(m.speakers) != 0; }));
    EXPECT_LT(toSeconds(Clock::now() - start), soon);
    EXPECT_EQ(
        system.events(), (std::vector<std::string>{"failed: the sound server (PipeWire) is not running", "started"}));
    EXPECT_TRUE(eventually([&] { return changes > 0; })) << "who waited for a device is told";
    auto const output = m.outputs().open({}, own);
    EXPECT_TRUE(m.hears(1000, 0.5, m.speakers));
}

} // namespace

} // namespace lingrelay
