#include "audio/MicCapture.h"

#include "audio/EchoGuard.h"
#include "audio/PcmConversion.h"
#include "audio/Resampler.h"
#include "config/L10n.h"

#include <cmath>
#include <vector>

namespace lingrelay {

namespace {

constexpr std::size_t blockFrames = 2048;

} // namespace

/// Takes the blocks of one input; what its converter holds back goes on with the next block.
class MicCapture::Tap final : public AudioReceiver {
public:
    Tap(MicCapture& mic, AudioFormat const& format)
        : m_mic(mic)
        , m_channels(static_cast<std::size_t>(format.channels))
        , m_converter(std::llround(format.sampleRate), sampleRate)
    {
    }

    void receive(std::span<float const> samples) override
    {
        if (m_mic.m_muted || EchoGuard::shared().blocks()) {
            if (m_mic.onHeldBack)
                m_mic.onHeldBack();
            return;
        }
        m_mono.clear();
        for (std::size_t frame = 0; frame + m_channels <= samples.size(); frame += m_channels) {
            float sum = 0;
            for (auto const sample : samples.subspan(frame, m_channels))
                sum += sample;
            m_mono.push_back(sum / static_cast<float>(m_channels));
        }
        m_converted.clear();
        m_converter.push(m_mono, m_converted);
        if (!m_converted.empty() && m_mic.onPCM)
            m_mic.onPCM(convertToInt16(m_converted), {});
    }
    void started() override { m_mic.recovered(); }
    void failed(Error const& error) override
    {
        m_mic.m_told = true;
        if (m_mic.onError)
            m_mic.onError(T("Microphone: ", "Micro: ") + error.message);
    }

private:
    MicCapture& m_mic;
    std::size_t m_channels;
    Resampler m_converter;
    std::vector<float> m_mono;
    std::vector<float> m_converted;
};

MicCapture::MicCapture(AudioInputs& inputs, Scheduler& main)
    : m_inputs(inputs)
    , m_watch(inputs.watchDefault(
          [&main, changed = m_lifetime.whileAlive([this] { defaultChanged(); })] { main.post(changed); }))
{
}

MicCapture::~MicCapture()
{
    m_watch.reset();
    teardown();
}

void MicCapture::setInputDevice(std::optional<std::uint32_t> device)
{
    m_inputDeviceID = device;
    if (!m_running && !m_waiting)
        return;
    teardown();
    start();
}

void MicCapture::start()
{
    auto const format = m_inputs.format(m_inputDeviceID);
    if (!format || format->sampleRate <= 0 || format->channels <= 0)
        return fail(T("Could not open the microphone", "Không truy cập được micro"));
    m_tap = std::make_unique<Tap>(*this, *format);
    auto input = m_inputs.open(m_inputDeviceID, *format, blockFrames, *m_tap);
    if (!input)
        return fail(T("Microphone: ", "Micro: ") + input.error().message);
    m_input = std::move(*input);
    m_running = true;
    m_waiting = false;
}

void MicCapture::fail(std::string const& message)
{
    m_waiting = true;
    m_told = true;
    if (onError)
        onError(message);
}

void MicCapture::recovered()
{
    if (m_told.exchange(false) && onRecovered)
        onRecovered();
}

void MicCapture::stop()
{
    teardown();
    m_running = m_waiting = false;
    m_told = false;
}

void MicCapture::teardown()
{
    m_input.reset();
    m_tap.reset();
}

void MicCapture::defaultChanged()
{
    if (m_inputDeviceID)
        return;
    // The user has pressed start: what could not be had then is taken as soon as it is there.
    bool const appeared = m_waiting && m_inputs.format({});
    if (!m_running && !appeared)
        return;
    teardown();
    start();
}

} // namespace lingrelay
