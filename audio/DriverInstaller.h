#pragma once

namespace lingrelay {

/// Brings the virtual microphone into the system, once.
class DriverInstaller {
public:
    virtual ~DriverInstaller() = default;

    virtual bool installed() const = 0;
    /// There is something to install.
    virtual bool available() const = 0;
    virtual bool install() = 0;
};

} // namespace lingrelay
