#pragma once

#include "base/async/Scheduler.h"
#include "platform/Workspace.h"

namespace lingrelay {

/// The desktop around a program with windows. Which application is in front is known on X11 alone. Main; `disk` is for
/// reading what is installed, and both outlive this.
class QtWorkspace final : public Workspace {
public:
    QtWorkspace(Scheduler& main, Scheduler& disk) : m_main(main), m_disk(disk) { }

    /// PipeWire asks nobody.
    bool mayHearSystemAudio() override { return true; }
    std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const& id)> changed) override;
    void openAnotherInstance(std::function<void()> done) override;

private:
    Scheduler& m_main;
    Scheduler& m_disk;
};

} // namespace lingrelay
