#pragma once

#include <functional>
#include <memory>
#include <string>

namespace lingrelay {

/// The desktop around the program; main.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// May other programs' sound be heard? Some desktops ask the user first.
    virtual bool mayHearSystemAudio() = 0;
    /// Calls `changed` on main with the id of each application that comes to the front, while the token lives.
    virtual std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const& id)> changed) = 0;
    /// Starts another instance of this program, then calls `done` on main, whatever came of it.
    virtual void openAnotherInstance(std::function<void()> done) = 0;
};

} // namespace lingrelay
