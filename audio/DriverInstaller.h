#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "platform/VirtualMicrophone.h"

#include <functional>
#include <memory>
#include <mutex>

namespace lingrelay {

/// Brings the virtual microphone into the system, once; main. The work is done on `background`, where the sound server
/// may take some seconds for it.
class DriverInstaller {
public:
    DriverInstaller(VirtualMicrophone& microphone, Scheduler& main, Scheduler& background)
        : m_work(std::make_shared<Work>(microphone))
        , m_main(main)
        , m_background(background)
    {
    }
    /// Waits for an installation that is under way.
    ~DriverInstaller()
    {
        std::lock_guard const lock(m_work->mutex);
        m_work->ended = true;
    }

    /// It was installed; whether the device is there is another question.
    bool installed() const { return m_work->microphone.installed(); }
    /// There is something to install.
    bool available() const { return m_work->microphone.available(); }
    /// Tells on main whether it is installed now.
    void install(std::function<void(bool done)> told)
    {
        auto tell = m_lifetime.whileAlive(std::move(told));
        m_background.post([work = m_work, &main = m_main, tell] {
            std::lock_guard const lock(work->mutex);
            if (work->ended)
                return;
            bool const done = work->microphone.available() && work->microphone.install();
            main.post([tell, done]() mutable { tell(done); });
        });
    }

private:
    struct Work {
        explicit Work(VirtualMicrophone& microphone) : microphone(microphone) { }
        VirtualMicrophone& microphone;
        std::mutex mutex;
        bool ended = false;
    };

    std::shared_ptr<Work> m_work;
    Scheduler& m_main;
    Scheduler& m_background;
    Lifetime m_lifetime;
};

} // namespace lingrelay
