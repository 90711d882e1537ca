#pragma once

#include "platform/sim/SimDevices.h"
#include "program/Assembly.h"
#include "sessions/SessionStore.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/VoiceServer.h"

#include <memory>
#include <string>
#include <vector>

namespace lingrelay {

/// A source that hands over what a test says, while it runs.
template <class Source> class SimSource : public Source {
public:
    SimSource(std::vector<std::string>& trace, char const* name) : m_trace(trace), m_name(name) { }

    bool running = false;
    bool muted = false;
    std::optional<std::uint32_t> device;

    void start() override
    {
        running = true;
        note("start");
    }
    void stop() override
    {
        running = false;
        note("stop");
    }
    void hear(std::string pcm)
    {
        if (running && !muted)
            this->onPCM(std::move(pcm), {});
    }

protected:
    void note(std::string const& what) { m_trace.push_back(std::string(m_name) + " " + what); }

private:
    std::vector<std::string>& m_trace;
    char const* m_name;
};

class SimMic final : public SimSource<Microphone> {
public:
    using SimSource::SimSource;
    void setInputDevice(std::optional<std::uint32_t> chosen) override
    {
        device = chosen;
        note("device " + (chosen ? std::to_string(*chosen) : "default"));
    }
    void setMuted(bool now) override { muted = now; }
};

class SimMuter final : public SoundMuter {
public:
    explicit SimMuter(std::vector<std::string>& trace) : m_trace(trace) { }

    std::optional<Failure> failure; ///< in the place of silence

    std::variant<std::unique_ptr<Silence>, Failure> silence() override
    {
        if (failure)
            return *failure;
        m_trace.emplace_back("muter start");
        return std::make_unique<Kept>(m_trace);
    }

private:
    class Kept final : public Silence {
    public:
        explicit Kept(std::vector<std::string>& trace) : m_trace(trace) { }
        ~Kept() override { m_trace.emplace_back("muter stop"); }

    private:
        std::vector<std::string>& m_trace;
    };

    std::vector<std::string>& m_trace;
};

class SimDriver final : public VirtualMicrophone {
public:
    bool present = true;
    bool offered = true;
    bool works = true;
    int installs = 0;

    bool installed() const override { return present; }
    bool available() const override { return offered; }
    bool install() override
    {
        ++installs;
        present |= works;
        return works;
    }
    bool remove() override
    {
        present = false;
        return true;
    }
};

class SimOverlay final : public OverlayWindow {
public:
    std::vector<std::string> captions;
    std::vector<std::string> statuses;
    bool shown = false;

    void update(CaptionKind kind, std::string const& text) override
    {
        captions.push_back(std::string(rawValue(kind)) + ": " + text);
    }
    void showStatus(std::string const& text) override { statuses.push_back(text); }
    void orderFrontRegardless() override { shown = true; }
    void orderOut() override { shown = false; }
};

class SimShell final : public AppShell {
public:
    explicit SimShell(std::vector<std::string>& trace) : m_trace(trace) { }

    int menus = 0;
    bool statusItem = true;
    bool answer = true; ///< to every question
    std::function<void()> whileAsked;
    bool exited = false;

    void buildMenu() override { ++menus; }
    void setStatusItemVisible(bool visible) override { statusItem = visible; }
    void showMainWindow() override { m_trace.emplace_back("window"); }
    bool ask(std::string const&, std::string const&, std::string const&, std::string const&) override
    {
        m_trace.emplace_back("ask");
        if (whileAsked)
            whileAsked();
        return answer;
    }
    void tearDownPresentations() override { m_trace.emplace_back("tear down"); }
    void terminate() override { m_trace.emplace_back("terminate"); }
    void exit() override { exited = true; }

private:
    std::vector<std::string>& m_trace;
};

class SimKey final : public PushToTalk {
public:
    std::string key;
    bool present = true;
    bool watching = false;
    bool down = false;

    bool available() const override { return present; }
    void setKey(std::string const& wanted) override { key = wanted; }
    void start() override { watching = true; }
    void stop() override
    {
        watching = false;
        press(false);
    }
    void press(bool now)
    {
        if (std::exchange(down, now) != now && onChange)
            onChange(now);
    }
};

/// The whole program but for its windows, as both programs are assembled, on simulated services and a real folder.
class Desk {
public:
    /// `quantum`: how often the outputs ask for sound.
    explicit Desk(std::optional<std::uint32_t> seed = {}, Duration quantum = seconds(0.02)) : world(seed)
    {
        world.network.onConnect = [this](SimPeer& peer) {
            if (voice.serves(peer))
                return voice.take(peer);
            peer.accept(seconds(0.02));
            recognisers.push_back(peer.weak_from_this());
        };
        for (auto* outputs : {&world.outputs, &speakOutputs}) {
            outputs->rates = {{1, 24000}, {2, 24000}, {3, 24000}};
            outputs->runOn(world.background, quantum);
        }
        devices.inputList = {{10, "Built-in Microphone"}, {11, "Headset"}};
        devices.outputList = {{1, "Speakers"}, {2, "Headset"}};
        devices.input = 10;
        devices.output = 1;
        world.defaults.set("k.soniox", "key");
    }
    ~Desk() { end(); }

    /// Starts the program; settings and stored keys are set before.
    void launch()
    {
        auto nothing = noSound.parts();
        begin({
            .sound = {devices, nothing.inputs, world.outputs, nothing.systemAudio, soundMuter, driver},
            .listenOutputs = world.outputs,
            .speakOutputs = speakOutputs,
            .overlay = overlay,
            .shell = shell,
            .ptt = key,
            .workspace = workspace,
            .capture = &capture,
            .mic = &mic,
        });
        wait(0.01);
        trace.clear();
    }
    void begin(Assembly::Surroundings const& surroundings)
    {
        model = &assembly.makeModel();
        assembly.connect(world.hosts, "caller");
        app = &assembly.begin(surroundings);
    }
    /// Ends the program as its user does.
    void end()
    {
        if (!app)
            return;
        TaskGroup goodbye(world.main);
        goodbye.spawn(assembly.end(seconds(1.0)));
        for (int i = 0; i < 100 && goodbye.running() > 0; ++i)
            wait(0.1);
        app = nullptr;
    }
    void set(AppSettings const& settings) { settings.save(); }
    using Change = std::function<void(AppSettings&)>;
    /// Settings by which it hears English and says it in Spanish, changed.
    void set(Change const& change)
    {
        AppSettings settings;
        settings.sourceLang = "en";
        settings.targetLang = "es";
        change(settings);
        set(settings);
    }
    /// As the user changes them in the window.
    void change(Change const& change)
    {
        model->settings.update(change);
        model->commands.applySettings();
    }
    void start(double length = 0.2)
    {
        model->commands.start();
        wait(length);
    }
    void stop(double length = 0.1)
    {
        model->commands.stop();
        wait(length);
    }
    void wait(double length) { world.time.advance(seconds(length)); }
    std::shared_ptr<SimPeer> recogniser() const { return recognisers.empty() ? nullptr : recognisers.back().lock(); }
    /// A clause of the recogniser that connected last.
    void say(std::string const& source, std::string const& translation, double length = 0.1)
    {
        recogniser()->sendText(clause(source, translation));
        wait(length);
    }
    static std::string clause(std::string const& source, std::string const& translation)
    {
        Json const heard{{"text", source}, {"is_final", true}};
        Json const told{
            {"text", translation}, {"is_final", true}, {"translation_status", "translation"}, {"language", "es"}};
        return jsonText({{"tokens", {heard, told}}});
    }

    World world;
    TemporaryFolder folder;
    SimAudioOutputs speakOutputs;
    VoiceServer voice{world};
    std::vector<std::weak_ptr<SimPeer>> recognisers;
    std::vector<std::string>& calls = world.calls;
    std::vector<std::string> trace; ///< of sources, muter and shell, in order
    SimSource<AudioSource> capture{trace, "capture"};
    SimMic mic{trace, "mic"};
    SimMuter soundMuter{trace};
    SimAudioDevices devices;
    SimDriver driver;
    NoSound noSound;
    SimOverlay overlay;
    SimShell shell{trace};
    SimKey key;
    SimWorkspace workspace;
    Assembly assembly{{
        .main = world.main,
        .makeScheduler = [this] { return std::make_unique<VirtualScheduler>(world.time); },
        .makeDiskScheduler = [this] { return std::make_unique<VirtualScheduler>(world.time); },
        .network = world.network,
        .defaults = std::shared_ptr<Defaults>(std::shared_ptr<void>(), &world.defaults),
        .sessions = folder / "Sessions",
        .secrecy = std::make_shared<Secrecy>(),
    }};
    SessionStore& store = SessionStore::shared();
    AppModel* model = nullptr;
    AppDelegate* app = nullptr; ///< the assembly's
};

} // namespace lingrelay
