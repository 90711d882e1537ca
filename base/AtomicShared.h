#pragma once

#include <atomic>
#include <memory>

namespace lingrelay {

/// A shared pointer that one thread replaces while others read it; any thread.
///
/// What std::atomic<std::shared_ptr> is in GCC 12, with the release order on its unlock that thread sanitizers need.
/// The flag is held for a copy of a pointer and an increment, never for anything that can wait.
template <class T> class AtomicShared {
public:
    AtomicShared() = default;
    explicit AtomicShared(std::shared_ptr<T> value) : m_value(std::move(value)) { }

    std::shared_ptr<T> load() const
    {
        Hold const hold(m_busy);
        return m_value;
    }
    /// Returns the value before; it is released by the caller, outside the flag.
    std::shared_ptr<T> exchange(std::shared_ptr<T> value)
    {
        Hold const hold(m_busy);
        m_value.swap(value);
        return value;
    }
    void store(std::shared_ptr<T> value) { exchange(std::move(value)); }

private:
    struct Hold {
        explicit Hold(std::atomic_flag& flag) : flag(flag)
        {
            while (flag.test_and_set(std::memory_order_acquire)) { }
        }
        ~Hold() { flag.clear(std::memory_order_release); }
        std::atomic_flag& flag;
    };

    mutable std::atomic_flag m_busy;
    std::shared_ptr<T> m_value;
};

} // namespace lingrelay
