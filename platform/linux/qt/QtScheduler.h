#pragma once

#include "base/async/Scheduler.h"

#include <memory>

namespace lingrelay {

/// The main thread of a program with windows: jobs run in Qt's event loop, between its events. Made on that thread
/// after the application object, and dies there before it.
class QtScheduler final : public Scheduler {
public:
    QtScheduler();
    ~QtScheduler() override;

    Instant now() const override;
    Date date() const override;
    void post(Job job) override;
    TimerId startTimer(Instant when, Job job) override;
    void stopTimer(TimerId id) override;

private:
    struct Loop;
    std::unique_ptr<Loop> m_loop;
};

} // namespace lingrelay
