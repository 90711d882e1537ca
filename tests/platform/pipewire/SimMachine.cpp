#include "platform/sim/SimSoundServer.h"
#include "platform/sim/VirtualTime.h"
#include "tests/platform/pipewire/AudioMachine.h"
#include "tests/support/Tones.h"

#include <map>

namespace lingrelay {

namespace {

class SimMachine final : public AudioMachine {
public:
    MachineSound sound() override { return machineSound(m_sound); }
    bool until(std::function<bool()> const& condition, double limit) override
    {
        for (double passed = 0; passed < limit; passed += 0.05) {
            if (condition())
                return true;
            m_time.advance(seconds(0.05));
        }
        return condition();
    }
    std::shared_ptr<void> play(double frequency, std::string const& device) override
    {
        auto const where = device.empty() ? std::nullopt : std::optional(m_ids.at(device));
        auto const program = m_sound.play(SimSoundServer::tone(frequency), where);
        return {nullptr, [this, program](void*) { m_sound.end(program); }};
    }
    std::shared_ptr<void> sing(double frequency, std::string const& microphone) override
    {
        auto const id = m_ids.at(microphone);
        m_sound.hear(id, SimSoundServer::tone(frequency));
        return {nullptr, [this, id](void*) { m_sound.hear(id, {}); }};
    }
    std::optional<double> played(double frequency, std::string const& output) override
    {
        m_time.advance(seconds(0.05));
        auto const id = idOf(output);
        if (id == 0)
            return {};
        auto& heard = m_heard[output];
        auto const news = m_sound.take(id);
        heard.insert(heard.end(), news.begin(), news.end());
        if (news.empty()) // it does not run
            heard.clear();
        constexpr std::size_t window = 9600;
        if (heard.size() > window)
            heard.erase(heard.begin(), heard.end() - window);
        return heard.size() < window ? std::nullopt : std::optional(fitTone(heard, frequency, 48000).level);
    }
    void setDefaultOutput(std::string const& device) override { m_sound.setDefaultOutput(idOf(device)); }
    void unplug(std::string const& device) override { m_sound.unplug(m_ids.at(device)); }
    void plug(std::string const& device) override { m_sound.plug(m_ids.at(device)); }
    void stopServer() override { m_sound.stopServer(); }
    void startServer() override { m_sound.startServer(); }

private:
    SimSoundServer::Id idOf(std::string const& name) { return m_ids.contains(name) ? m_ids.at(name) : output(name); }

    VirtualTime m_time;
    VirtualScheduler m_scheduler{m_time};
    SimSoundServer m_sound{m_scheduler};
    std::map<std::string, SimSoundServer::Id> m_ids{
        {speakers, m_sound.add({.name = speakers, .outputChannels = 2})},
        {headset, m_sound.add({.name = headset, .outputChannels = 2})},
        {microphone, m_sound.add({.name = microphone, .inputChannels = 1, .builtIn = true})},
        {secondMicrophone, m_sound.add({.name = secondMicrophone, .inputChannels = 1})},
        {duplex, m_sound.add({.name = duplex, .inputChannels = 2, .outputChannels = 2})},
    };
    std::map<std::string, std::vector<float>> m_heard;
};

} // namespace

std::unique_ptr<AudioMachine> AudioMachine::makeSimulated() { return std::make_unique<SimMachine>(); }

} // namespace lingrelay
