#pragma once

namespace lingrelay {

/// Whether the program starts with the user's session. Main.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    virtual bool enabled() const = 0;
    /// False when it could not be changed.
    virtual bool setEnabled(bool on) = 0;
};

} // namespace lingrelay
