#pragma once

#include "platform/LoginItem.h"

#include <filesystem>

namespace lingrelay {

/// A file in the desktop's folder of programs that start with a session.
class XdgLoginItem final : public LoginItem {
public:
    /// `folder` is the autostart folder, `program` what is started.
    XdgLoginItem(std::filesystem::path const& folder, std::filesystem::path program);
    /// The user's folder and the running program.
    XdgLoginItem();

    /// A file that the desktop's own settings have switched off counts as off.
    bool enabled() const override;
    bool setEnabled(bool on) override;

private:
    std::filesystem::path m_file;
    std::filesystem::path m_program;
};

} // namespace lingrelay
