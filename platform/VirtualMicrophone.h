#pragma once

namespace lingrelay {

/// The device pair "Lingrelay": what is played into its output side comes out of its input side, which call programs
/// take for a microphone. Found by its name in the lists of `AudioDevices`; main.
class VirtualMicrophone {
public:
    virtual ~VirtualMicrophone() = default;

    /// It comes up with every start of the system's sound.
    virtual bool installed() const = 0;
    /// This system can be given one.
    virtual bool available() const = 0;
    /// Makes it, for now and for every later start. Success when it is there already.
    virtual bool install() = 0;
    /// Takes it away, now and for later. Success when there is none.
    virtual bool remove() = 0;
};

} // namespace lingrelay
