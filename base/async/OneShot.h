#pragma once

#include "base/async/Task.h"

#include <memory>
#include <optional>

namespace lingrelay {

/// Carries one value from a callback to one waiting task, both on the same scheduler. Copies share the value, so the
/// callback may come after the waiting task has been cancelled and is gone.
template <class T> class OneShot {
public:
    /// The first value counts; later ones are dropped.
    void set(T value) const
    {
        if (m_state->value)
            return;
        m_state->value.emplace(std::move(value));
        m_state->arrived.set();
    }

    /// Waits for the value and takes it; call it once.
    Task<T> take() const { return takeFrom(m_state); }

private:
    struct State {
        std::optional<T> value;
        Event arrived;
    };

    static Task<T> takeFrom(std::shared_ptr<State> state)
    {
        co_await state->arrived.wait();
        co_return std::move(*state->value);
    }

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace lingrelay
