#include "tests/support/SoundServer.h"

#include "base/Json.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/Tones.h"

#include <fstream>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

constexpr double rate = 48000;
constexpr double window = 0.2; ///< seconds in which a level is measured

} // namespace

SoundServer::SoundServer()
{
    auto const runtime = m_folder / "run";
    ::setenv("DISABLE_RTKIT", "y", 1);
    ::setenv("PIPEWIRE_RUNTIME_DIR", runtime.c_str(), 1);
    ::setenv("PULSE_RUNTIME_PATH", (runtime + "/pulse").c_str(), 1);
    ::setenv("PULSE_SERVER", ("unix:" + runtime + "/pulse/native").c_str(), 1);
    fs::copy(LINGRELAY_LAB, m_folder / "config", fs::copy_options::recursive);
}

SoundServer::~SoundServer() { stop(); }

void SoundServer::start(Part part)
{
    static std::map<Part, std::pair<std::string, std::string>> const plans{{Part::bus, {"dbus-daemon", "bus"}},
        {Part::pipewire, {"pipewire", "pipewire-0"}}, {Part::sessionManager, {"wireplumber", ""}},
        {Part::pulse, {"pipewire-pulse", "pulse/native"}}};
    auto const& [program, socket] = plans.at(part);
    if (m_parts[part] && m_parts[part]->runs())
        return;
    auto const path = m_folder / "run/" + socket;
    if (!socket.empty())
        fs::remove(path); // of one that was killed
    TestHome::start(part, part == Part::bus ? busWords() : Words{program},
        [&] { return part == Part::bus ? !m_parts[part]->output().empty() : fs::exists(path); });
}

bool SoundServer::start()
{
    for (auto const part : {Part::bus, Part::pipewire, Part::sessionManager, Part::pulse})
        start(part);
    bool const good = eventually([this] { return ready(); });
    EXPECT_TRUE(good) << "the private sound server is not ready: " << run({"pw-link", "-io"})
                      << m_parts[Part::sessionManager]->errors();
    return good;
}

void SoundServer::stop()
{
    for (auto const part : {Part::pulse, Part::sessionManager, Part::pipewire, Part::bus})
        end(part);
}

/// The session manager has chosen, and has given the devices their ports: either alone is not enough.
bool SoundServer::ready() const
{
    if (defaultNode("default.audio.sink").empty() || defaultNode("default.audio.source").empty())
        return false;
    auto const ports = run({"pw-link", "-io"});
    for (auto const* port : {"lab.speakers:playback_FR", "lab.headset:playback_FR", "lab.duplex:playback_FR",
             "lab.mic:capture_MONO", "lab.mic2:capture_MONO"}) {
        if (ports.find(port) == std::string::npos)
            return false;
    }
    return true;
}

std::unique_ptr<TestProcess> SoundServer::play(Tone const& tone)
{
    auto const file = fmt::format("{}/tone-{}-{}.wav", folder(), tone.frequency, tone.channels);
    std::vector<float> frames;
    for (auto const sample : lingrelay::tone(tone.frequency, rate, fs::exists(file) ? 0 : 60))
        frames.insert(frames.end(), static_cast<std::size_t>(tone.channels), sample);
    if (!frames.empty())
        writeSound(file, frames, 48000, tone.channels);
    Words words{"pw-play", file};
    if (!tone.device.empty())
        words.insert(words.begin() + 1, "--target=" + tone.device);
    return std::make_unique<TestProcess>(words);
}

/// By links of its own: what is recorded from the default device would move with the default.
std::unique_ptr<SoundServer::Listener> SoundServer::listen(std::string const& output)
{
    auto const name = fmt::format("lab.listener{}", ++m_files);
    auto const file = m_folder / name + ".raw";
    auto listener = std::make_unique<Listener>(Words{"pw-record", "--target=0", "--format=f32", "--rate=48000",
                                                   "--channels=2", "-P", "node.name=" + name, file},
        file);
    for (std::string const channel : {"FL", "FR"}) {
        auto const ours = name + ":input_" + channel;
        auto const theirs = output + ":monitor_" + channel;
        EXPECT_TRUE(eventually([&] {
            run({"pw-link", theirs, ours});
            return run({"pw-link", "-l"}).find(ours + "\n  |<- " + theirs) != std::string::npos;
        })) << ours;
    }
    return listener;
}

std::optional<double> SoundServer::Listener::level(double frequency) const
{
    auto const count = static_cast<std::size_t>(window * rate);
    auto const bytes = static_cast<std::streamoff>(count * 2 * sizeof(float));
    std::ifstream file(m_file, std::ios::binary | std::ios::ate);
    auto const size = file ? file.tellg() / 8 * 8 : 0;
    if (size < bytes)
        return {};
    file.seekg(size - bytes);
    std::vector<float> stereo(count * 2);
    file.read(reinterpret_cast<char*>(stereo.data()), bytes);
    std::vector<float> left(count);
    for (std::size_t i = 0; i < count; ++i)
        left[i] = stereo[2 * i];
    return fitTone(left, frequency, rate).level;
}

bool SoundServer::Listener::hears(double frequency, double level, double limit) const
{
    return eventually(
        [&] {
            auto const now = this->level(frequency);
            return now && std::abs(*now - level) < 0.02 + level / 10;
        },
        limit);
}

void SoundServer::setDefault(char const* key, std::optional<std::string> const& node) const
{
    if (node)
        run({"pw-metadata", "-n", "default", "0", key, jsonText({{"name", *node}}), "Spa:String:JSON"});
    else
        run({"pw-metadata", "-n", "default", "-d", "0", key});
}

void SoundServer::choose(std::string const& stream, std::string const& key, std::string const& device) const
{
    std::optional<unsigned> subject;
    eventually([&] { return (subject = idOf(stream)).has_value(); });
    auto const target = key == "target.node" ? idOf(device) : numberOf(device, "object.serial");
    ASSERT_TRUE(subject && target) << stream << " to " << device;
    run({"pw-metadata", "-n", "default", std::to_string(*subject), key, std::to_string(*target), "Spa:Id"});
}

std::string SoundServer::defaultNode(char const* key) const
{
    // update: id:0 key:'default.audio.sink' value:'{"name":"lab.speakers"}' type:'Spa:String:JSON'
    auto const text = run({"pw-metadata", "-n", "default", "0", key});
    auto const from = text.find("value:'");
    auto const to = from == std::string::npos ? from : text.find("' type:", from);
    if (to == std::string::npos)
        return "";
    return jsonString(parseJson(text.substr(from + 7, to - from - 7)).value_or(Json()), "name").value_or("");
}

std::optional<unsigned> SoundServer::idOf(std::string const& node) const { return numberOf(node, "object.id"); }

std::optional<unsigned> SoundServer::numberOf(std::string const& node, char const* key) const
{
    for (auto const& object : parseJson(run({"pw-dump"})).value_or(Json())) {
        auto const* info = jsonMember(object, "info");
        auto const* properties = info ? jsonMember(*info, "props") : nullptr;
        if (properties && jsonString(object, "type") == "PipeWire:Interface:Node"
            && jsonString(*properties, "node.name") == node)
            return static_cast<unsigned>(jsonInteger(*properties, key).value_or(0));
    }
    return {};
}

void SoundServer::unplug(std::string const& node) const
{
    if (auto const id = idOf(node))
        run({"pw-cli", "destroy", std::to_string(*id)});
    EXPECT_TRUE(eventually([&] { return !idOf(node); }));
}

void SoundServer::plug(std::string const& node) const
{
    std::ifstream plan(additions() + "/10-lab.conf");
    for (std::string line; std::getline(plan, line);) {
        auto const begin = line.find("args = ") + 7;
        if (line.find("node.name = " + node + ' ') != std::string::npos)
            run({"pw-cli", "create-node", "adapter", line.substr(begin, line.rfind('}') - begin)});
    }
    EXPECT_TRUE(eventually([&] { return run({"pw-link", "-io"}).find(node + ":playback_FR") != std::string::npos; }));
}

int SoundServer::count(char const* kind) const
{
    int count = 0;
    for (auto const& object : parseJson(run({"pw-dump"})).value_or(Json()))
        count += jsonString(object, "type") == std::string("PipeWire:Interface:") + kind;
    return count;
}

} // namespace lingrelay
