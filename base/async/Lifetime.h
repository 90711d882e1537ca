#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace lingrelay {

/// Lets callbacks that hold a plain `this` outlive their owner: a wrapped callback does nothing once its owner has
/// gone. The owner keeps one Lifetime as its last field and wraps what it hands out:
///
///     m_main.post(m_lifetime.whileAlive([this] { refresh(); }));
///     inputs.watchDefault([&main, changed = m_lifetime.whileAlive([this] { refresh(); })] { main.post(changed); });
///
/// Wrapping, copying and dropping callbacks is allowed on any thread. They are called on the thread on which the
/// Lifetime ends; on another one the end does not wait for a callback that has begun.
class Lifetime {
public:
    Lifetime() = default;
    Lifetime(Lifetime const&) = delete;
    Lifetime& operator=(Lifetime const&) = delete;
    ~Lifetime() { end(); }

    /// No wrapped callback begins from now on; for an owner that is over before it is destroyed.
    void end() { *m_alive = false; }
    bool ended() const { return !*m_alive; }

    /// Wraps a callback of any arguments that returns nothing.
    template <class F> auto whileAlive(F callback) const
    {
        return [alive = m_alive, callback = std::move(callback)](auto&&... arguments) mutable {
            if (*alive)
                callback(std::forward<decltype(arguments)>(arguments)...);
        };
    }

private:
    std::shared_ptr<std::atomic<bool>> const m_alive = std::make_shared<std::atomic<bool>>(true);
};

/// The same for an owner that is held by shared pointers: the callback gets the owner, on any thread, and keeps it
/// alive while it runs.
///
///     stream.onDead = whileAlive(weak_from_this(), [](Engine& engine) { engine.failed(); });
template <class Owner, class F> auto whileAlive(std::weak_ptr<Owner> owner, F callback)
{
    return [owner = std::move(owner), callback = std::move(callback)](auto&&... arguments) mutable {
        if (auto const self = owner.lock())
            callback(*self, std::forward<decltype(arguments)>(arguments)...);
    };
}

} // namespace lingrelay
