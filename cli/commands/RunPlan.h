#pragma once

#include "base/Result.h"
#include "cli/commands/Arguments.h"
#include "config/AppSettings.h"
#include "model/AppModel.h"
#include "platform/Defaults.h"
#include "program/HostPlan.h"
#include "program/LocalService.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lingrelay {

/// The store under the values that are set for this run only. Those are never written; other keys go to the store.
class OverlaidDefaults final : public Defaults {
public:
    OverlaidDefaults(std::unique_ptr<Defaults> store, std::vector<std::pair<std::string, Json>> const& values);

    std::optional<Json> value(std::string const& key) const override;
    void set(std::string const& key, Json value) override;

    /// From now on these settings, and all changes of any of them, stay in this run. This is the current store.
    void hold(AppSettings const& settings);

private:
    std::unique_ptr<Defaults> m_store;
    mutable std::mutex m_mutex;
    std::map<std::string, Json> m_values;
    bool m_holding = false;
};

/// One run of the controller, decided from the arguments and the settings store before anybody is contacted.
struct RunPlan : HostPlan {
    AppSettings settings; ///< of the run: the arguments are in them
    Arguments::Action action = Arguments::Action::translate;
    AppModel::Direction direction = AppModel::Direction::listen;
    bool live = false; ///< the machine's own sound instead of a file
    Arguments::Output output = Arguments::Output::none; ///< of the main direction's voice; never automatic

    bool usesDevices() const
    {
        return live || settings.mode == AppSettings::Mode::both || output == Arguments::Output::device;
    }

    /// What a local service cannot do of this run, with what to do about it; empty: nothing.
    std::string localProblem(LocalService::Address const& service) const;

    /// Reads the current registry's store. The error is one line for the user.
    static Result<RunPlan> make(Arguments const& arguments);
};

} // namespace lingrelay
