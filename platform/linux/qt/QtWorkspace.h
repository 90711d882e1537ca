#pragma once

#include "platform/Workspace.h"

namespace lingrelay {

/// The desktop around a program with windows. Which application is in front is known on X11 alone. Main.
class QtWorkspace final : public Workspace {
public:
    /// PipeWire asks nobody.
    bool mayHearSystemAudio() override { return true; }
    std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const& id)> changed) override;
    void openAnotherInstance(std::function<void()> done) override;
};

} // namespace lingrelay
