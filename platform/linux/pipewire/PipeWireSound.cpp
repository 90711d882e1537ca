#include "platform/linux/pipewire/PipeWireSound.h"

#include "base/UserFolders.h"
#include "platform/linux/pipewire/PipeWireInputs.h"
#include "platform/linux/pipewire/PipeWireMuter.h"
#include "platform/linux/pipewire/PipeWireOutputs.h"
#include "platform/linux/pipewire/PipeWireSystemAudio.h"
#include "platform/linux/pipewire/PipeWireVirtualMicrophone.h"

namespace lingrelay {

struct PipeWireSound::Parts {
    explicit Parts(Places const& places)
        : guard(places.guard)
        , devices(connection, guard, places.defaultInput)
        , inputs(connection, devices)
        , outputs(connection, devices)
        , systemAudio(connection)
        , muter(connection, guard)
        , virtualMicrophone(connection, places.serverAdditions)
    {
    }

    SoundGuard guard; ///< the last to go: what is still to be put back then is its task
    PipeWireConnection connection;
    PipeWireDevices devices;
    PipeWireInputs inputs;
    PipeWireOutputs outputs;
    PipeWireSystemAudio systemAudio;
    PipeWireMuter muter;
    PipeWireVirtualMicrophone virtualMicrophone;
};

PipeWireSound::Places PipeWireSound::Places::usual()
{
    std::error_code error;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", error);
    auto guard = error ? std::filesystem::path() : program.parent_path() / "lingrelay-sound-guard";
    if (!std::filesystem::exists(guard, error))
        guard.clear();
    return {UserFolders::state() / "lingrelay" / "default-input.json",
        UserFolders::config() / "pipewire" / "pipewire.conf.d", guard};
}

PipeWireSound::PipeWireSound(Places places) : m_parts(std::make_unique<Parts>(places)) { }
PipeWireSound::~PipeWireSound() = default;

AudioDevices& PipeWireSound::devices() { return m_parts->devices; }
AudioInputs& PipeWireSound::inputs() { return m_parts->inputs; }
AudioOutputs& PipeWireSound::outputs() { return m_parts->outputs; }
SystemAudio& PipeWireSound::systemAudio() { return m_parts->systemAudio; }
SoundMuter& PipeWireSound::muter() { return m_parts->muter; }
VirtualMicrophone& PipeWireSound::virtualMicrophone() { return m_parts->virtualMicrophone; }

bool PipeWireSound::connected() const
{
    PipeWireConnection::Lock const lock(m_parts->connection);
    return m_parts->connection.connected();
}

} // namespace lingrelay
