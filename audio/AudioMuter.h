#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "platform/SoundMuter.h"

#include <functional>
#include <memory>
#include <string>

namespace lingrelay {

/// Silences the captured programs on the local outputs while it runs; main. The sound server is asked on `background`,
/// where it may take a second to answer.
class AudioMuter {
public:
    AudioMuter(SoundMuter& muter, Scheduler& main, Scheduler& background);
    /// The programs are heard again when it returns.
    ~AudioMuter();

    /// A text for the user; on main. Set before the first start.
    std::function<void(std::string const& message)> onError;

    /// A failure ends nothing else: the programs are heard as before.
    void start();
    void stop();

private:
    class Holder;

    void complain(SoundMuter::Failure const& failure) const;

    Scheduler& m_main;
    Scheduler& m_background;
    std::shared_ptr<Holder> m_holder;
    Lifetime m_lifetime;
};

} // namespace lingrelay
