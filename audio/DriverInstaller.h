#pragma once

#include "platform/VirtualMicrophone.h"

namespace lingrelay {

/// Brings the virtual microphone into the system, once; main.
class DriverInstaller {
public:
    explicit DriverInstaller(VirtualMicrophone& microphone) : m_microphone(microphone) { }

    /// It was installed; whether the device is there is another question.
    bool installed() const { return m_microphone.installed(); }
    /// There is something to install.
    bool available() const { return m_microphone.available(); }
    bool install() { return available() && m_microphone.install(); }

private:
    VirtualMicrophone& m_microphone;
};

} // namespace lingrelay
