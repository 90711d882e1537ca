#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace lingrelay {

/// Keeps an observer registered; dropping it ends the observation. May outlive what it observes.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> token) : m_token(std::move(token)) { }

private:
    std::shared_ptr<void> m_token;
};

/// A value that tells its observers of every assignment, equal or not. One thread. Observers may assign, subscribe and
/// unsubscribe while they are told; one that has been dropped is not called any more.
template <class T> class Observable {
public:
    using Observer = std::function<void(T const&)>;

    Observable() = default;
    explicit Observable(T value) : m_value(std::move(value)) { }
    Observable(Observable const&) = delete;
    Observable& operator=(Observable const&) = delete;

    T const& get() const { return m_value; }
    T const& operator*() const { return m_value; }
    T const* operator->() const { return &m_value; }

    Observable& operator=(T value)
    {
        m_value = std::move(value);
        publish();
        return *this;
    }
    /// Changes the value in place, then publishes once.
    template <class F> void update(F change)
    {
        change(m_value);
        publish();
    }

    [[nodiscard]] Subscription observe(Observer observer)
    {
        auto const id = ++m_observers->lastId;
        m_observers->entries.emplace(id, std::make_shared<Observer>(std::move(observer)));
        std::weak_ptr<Observers> const weak = m_observers;
        return Subscription(std::shared_ptr<void>(nullptr, [weak, id](void*) {
            if (auto const observers = weak.lock())
                observers->entries.erase(id);
        }));
    }

private:
    struct Observers {
        int lastId = 0;
        std::map<int, std::shared_ptr<Observer>> entries;
    };

    void publish()
    {
        auto const observers = m_observers;
        auto const last = observers->lastId; // those who come while others are told have seen the value already
        for (auto it = observers->entries.begin(); it != observers->entries.end() && it->first <= last;) {
            auto const id = it->first;
            auto const observer = it->second;
            (*observer)(m_value);
            it = observers->entries.upper_bound(id);
        }
    }

    T m_value{};
    std::shared_ptr<Observers> m_observers = std::make_shared<Observers>();
};

} // namespace lingrelay
