// lingrelay-bothways FILE OPTIONS...: what `lingrelay-cli translate FILE OPTIONS...` does, on a machine whose
// microphone hears noise all the time and whose output asks for sound as a sound card does. In mode both, one process
// translates two directions without a sound server.

#include "bench/SoundCard.h"
#include "cli/commands/TranslateCommand.h"
#include "cli/terminal/Replies.h"
#include "program/MachineSound.h"

#include <csignal>

using namespace lingrelay;
using namespace lingrelay::bench;

namespace {

class NoisyInputs final : public AudioInputs {
public:
    std::optional<AudioFormat> format(std::optional<std::uint32_t>) override { return AudioFormat{cardRate, 1}; }
    Result<std::unique_ptr<AudioInput>> open(
        std::optional<std::uint32_t>, AudioFormat, std::size_t blockFrames, AudioReceiver& receiver) override
    {
        return std::unique_ptr<AudioInput>(std::make_unique<Input>(blockFrames, receiver));
    }
    std::shared_ptr<void> watchDefault(std::function<void()>) override { return {}; }

private:
    class Input final : public AudioInput {
    public:
        Input(std::size_t frames, AudioReceiver& receiver)
            : m_block(noise(frames))
            , m_beat(frames, [this, &receiver] { receiver.receive(m_block); })
        {
        }

    private:
        std::vector<float> m_block;
        Beat m_beat;
    };
};

class AskingOutputs final : public AudioOutputs {
public:
    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t>, AudioRenderer& renderer) override
    {
        return std::make_unique<Output>(renderer);
    }
    std::shared_ptr<void> watchDefault(std::function<void()>) override { return {}; }

private:
    class Output final : public AudioOutput {
    public:
        explicit Output(AudioRenderer& renderer)
            : m_beat(cardOutputFrames, [this, &renderer] { renderer.render(m_block.data(), m_block.size()); })
        {
        }
        double sampleRate() const override { return cardRate; }

    private:
        std::vector<float> m_block = std::vector<float>(cardOutputFrames);
        Beat m_beat;
    };
};

} // namespace

int main(int argumentCount, char** argumentTexts)
{
    auto const start = Clock::now();
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> words{"translate"};
    words.insert(words.end(), argumentTexts + std::min(1, argumentCount), argumentTexts + argumentCount);
    auto const arguments = Arguments::parse(words);
    if (!arguments) {
        complain(arguments.error().message);
        return exitBadArguments;
    }
    NoSound rest;
    NoisyInputs inputs;
    AskingOutputs outputs;
    auto machine = rest.parts();
    return translateCommand(*arguments, start,
        MachineSound{machine.devices, inputs, outputs, machine.systemAudio, machine.muter, machine.virtualMicrophone});
}
