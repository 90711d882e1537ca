#include "cli/commands/DevicesCommand.h"

#include "cli/terminal/Replies.h"
#include "cli/terminal/TextLayout.h"
#include "platform/linux/pipewire/PipeWireSound.h"
#include "program/MachineSound.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <thread>

namespace lingrelay {

namespace {

constexpr auto listening = std::chrono::milliseconds(600); ///< how long each device is heard
constexpr std::size_t blockFrames = 1024;
constexpr double silence = -60; ///< decibels; nothing below is worth showing

/// The loudest sample that a device delivers.
class Level final : public AudioReceiver {
public:
    void receive(std::span<float const> samples) override
    {
        for (auto const sample : samples)
            m_peak = std::max(m_peak.load(), std::abs(sample));
    }
    void started() override { }
    void failed(Error const&) override { }

    double peak() const { return m_peak; }

private:
    std::atomic<float> m_peak = 0;
};

struct Row {
    AudioDevice device;
    bool isDefault = false;
    double peak = 0;
};

using Rows = std::vector<Row>;

/// What sounds at all of them now; an output is heard by what programs play into it.
void measure(AudioInputs& inputs, Rows& rows)
{
    std::vector<std::unique_ptr<Level>> levels;
    std::vector<std::unique_ptr<AudioInput>> open;
    for (auto const& row : rows) {
        auto& level = *levels.emplace_back(std::make_unique<Level>());
        auto const format = inputs.format(row.device.id);
        if (!format)
            continue;
        if (auto input = inputs.open(row.device.id, *format, blockFrames, level))
            open.push_back(std::move(*input));
    }
    std::this_thread::sleep_for(listening);
    open.clear();
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i].peak = levels[i]->peak();
}

Rows rowsOf(std::vector<AudioDevice> const& devices, std::optional<std::uint32_t> standard)
{
    Rows rows;
    for (auto const& device : devices)
        rows.push_back({device, device.id == standard});
    return rows;
}

Json jsonOf(Rows const& rows)
{
    auto list = Json::array();
    for (auto const& row : rows)
        list.push_back({{"name", row.device.name}, {"default", row.isDefault},
            {"virtual", AudioDevices::isVirtual(row.device)}, {"level", std::round(row.peak * 1e4) / 1e4}});
    return list;
}

std::string meter(double peak)
{
    auto const decibels = 20 * std::log10(std::max(peak, 1e-9));
    if (decibels < silence)
        return "silent";
    auto const cells = static_cast<int>(std::lround((decibels - silence) / -silence * 10));
    std::string bar;
    for (int cell = 0; cell < 10; ++cell)
        bar += cell < cells ? "━" : "─";
    return fmt::format("{} {:.0f} dB", bar, decibels);
}

std::string table(char const* title, Rows const& rows)
{
    std::string text = std::string(title) + '\n';
    if (rows.empty())
        return text + "    none\n";
    int widest = 0;
    for (auto const& row : rows)
        widest = std::max(widest, columnsOf(printable(row.device.name)));
    for (auto const& row : rows) {
        auto const name = printable(row.device.name);
        text += fmt::format("  {} {}{}  {}{}\n", row.isDefault ? '*' : ' ', name,
            std::string(static_cast<std::size_t>(widest - columnsOf(name)), ' '), meter(row.peak),
            AudioDevices::isVirtual(row.device) ? "  (virtual microphone)" : "");
    }
    return text;
}

int list(PipeWireSound& sound, Arguments::Listing listing)
{
    auto const machine = machineSound(sound);
    auto const inputs = rowsOf(machine.devices.inputs(), machine.devices.defaultInput());
    auto rows = rowsOf(machine.devices.outputs(), machine.devices.defaultOutput());
    auto const outputCount = static_cast<std::ptrdiff_t>(rows.size());
    rows.insert(rows.end(), inputs.begin(), inputs.end());
    measure(machine.inputs, rows);
    Rows const heard(rows.begin() + outputCount, rows.end());
    rows.resize(static_cast<std::size_t>(outputCount));
    if (listing == Arguments::Listing::json)
        return print(Json{{"inputs", jsonOf(heard)}, {"outputs", jsonOf(rows)}}.dump(2) + '\n');
    return print(
        fmt::format("{}\n{}\n* the default\n", table("Microphones and other inputs", heard), table("Outputs", rows)));
}

int outcome(bool done, char const* success, char const* failure)
{
    return done ? print(std::string(success) + '\n') : failed(failure);
}

} // namespace

int devicesCommand(Arguments const& arguments)
{
    auto const& word = arguments.words.empty() ? std::string("list") : arguments.words.front();
    bool const known = word == "list" || word == "install-virtual" || word == "remove-virtual";
    if (!known || arguments.words.size() > 1)
        return badArguments(
            "devices takes list, install-virtual or remove-virtual, not \"" + arguments.words.back() + '"');
    PipeWireSound sound;
    auto& microphone = sound.virtualMicrophone();
    if (word == "remove-virtual")
        return outcome(microphone.remove(), "The virtual microphone has been removed.",
            "the virtual microphone could not be removed");
    if (word == "install-virtual")
        return outcome(microphone.install(),
            "The virtual microphone is installed: choose \"Lingrelay\" as the microphone in your call program.",
            "the virtual microphone could not be installed");
    if (!sound.connected())
        return failed("the sound server (PipeWire) is not running");
    return list(sound, arguments.listing);
}

} // namespace lingrelay
