#pragma once

#include "tests/support/TestHome.h"

#include <optional>

namespace lingrelay {

/// A sound system of the test's own: session bus, PipeWire, session manager and PulseAudio's protocol, with made-up
/// devices. No sound hardware is touched.
class SoundServer : public TestHome {
public:
    // Node names of the devices. What is played into a feed is what its microphone hears.
    static constexpr char const* speakers = "lab.speakers"; ///< the default output
    static constexpr char const* headset = "lab.headset";
    static constexpr char const* microphone = "lab.mic"; ///< the default input, part of the machine
    static constexpr char const* secondMicrophone = "lab.mic2";
    static constexpr char const* duplex = "lab.duplex"; ///< for both directions

    /// Nothing runs yet.
    SoundServer();
    ~SoundServer();

    /// The server's folder of the user's additions to its configuration.
    std::string additions() const { return m_folder / "config/pipewire/pipewire.conf.d"; }

    /// Starts all that does not run, and waits until it can be used. False, with a failure of the test, when it cannot.
    bool start();
    void stop();
    void start(Part part);

    struct Tone {
        double frequency = 440; ///< at level 0.5
        std::string device = {}; ///< node name; empty: the default
        int channels = 2;
    };
    /// Another program plays, for up to a minute.
    std::unique_ptr<TestProcess> play(Tone const& tone);

    /// What an output plays, heard from outside.
    class Listener;
    std::unique_ptr<Listener> listen(std::string const& output);

    void setDefault(char const* key, std::optional<std::string> const& node) const;
    /// The user sends a program's stream to a device, both by node name, as settings programs do: "target.object" or
    /// "target.node".
    void choose(std::string const& stream, std::string const& key, std::string const& device) const;
    /// The name in a metadata value such as "default.audio.sink"; empty: none.
    std::string defaultNode(char const* key) const;
    /// The server's own number of a node; nothing when there is none.
    std::optional<unsigned> idOf(std::string const& node) const;
    /// A number among its properties.
    std::optional<unsigned> numberOf(std::string const& node, char const* key) const;
    void unplug(std::string const& node) const;
    /// Brings a device back that was unplugged: speakers, headset, or the duplex device.
    void plug(std::string const& node) const;
    /// How many objects of a kind there are: "Link", "Node", "Port".
    int count(char const* kind) const;

private:
    bool ready() const;

    int m_files = 0;
};

class SoundServer::Listener {
public:
    Listener(Words recorder, std::string file) : m_recorder(std::move(recorder)), m_file(std::move(file)) { }

    /// Of a tone in the last part of a second; nothing before so much has been heard.
    std::optional<double> level(double frequency) const;
    /// Waits until the tone has about that level, which is kept for a moment.
    bool hears(double frequency, double level, double limit = 15) const;

private:
    TestProcess m_recorder;
    std::string m_file; ///< samples, 32-bit float, stereo
};

} // namespace lingrelay
