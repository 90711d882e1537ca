#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace lingrelay {

/// An event that several listeners want. Listeners are added before the first event, on one thread, and stay for good;
/// each holds its owner weakly. Events may come on any thread and reach the listeners in the order of their coming.
template <class... Arguments> class Signal {
public:
    using Listener = std::function<void(Arguments...)>;

    void connect(Listener listener) { m_listeners.push_back(std::move(listener)); }

    void operator()(Arguments... arguments) const
    {
        for (auto const& listener : m_listeners)
            listener(arguments...);
    }

private:
    std::vector<Listener> m_listeners;
};

} // namespace lingrelay
