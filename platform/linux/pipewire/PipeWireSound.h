#pragma once

#include "platform/AudioDevices.h"
#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "platform/SoundMuter.h"
#include "platform/SystemAudio.h"
#include "platform/VirtualMicrophone.h"

#include <filesystem>
#include <memory>

namespace lingrelay {

/// The sound of this machine, on PipeWire. Connects while it lives: again and again when the server is gone, or was
/// never there. The interfaces may be used from any thread, and fail soft while there is no server; no call waits for
/// the server for more than about a second. Outlives all that its interfaces handed out.
class PipeWireSound {
public:
    struct Places {
        /// Where the user's own default input is kept while the program has switched it.
        std::filesystem::path defaultInput;
        /// The server's folder of the user's additions to its configuration.
        std::filesystem::path serverAdditions;
        /// The program that puts right what this one leaves behind when it is killed; empty: none.
        std::filesystem::path guard;

        /// By the XDG folders; the guard next to the running program.
        static Places usual();
    };

    /// Returns when the server's devices are known, or at once when there is no server.
    explicit PipeWireSound(Places places = Places::usual());
    ~PipeWireSound();
    PipeWireSound(PipeWireSound const&) = delete;
    PipeWireSound& operator=(PipeWireSound const&) = delete;

    AudioDevices& devices();
    AudioInputs& inputs();
    AudioOutputs& outputs();
    SystemAudio& systemAudio();
    SoundMuter& muter();
    VirtualMicrophone& virtualMicrophone();

    bool connected() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay
