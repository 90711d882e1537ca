#pragma once

#include <cassert>
#include <map>
#include <memory>
#include <typeindex>

namespace lingrelay {

/// Holds the objects that the program shares (`X::shared()`), one of a type. The composition root fills one and makes
/// it current; a test makes a fresh one for every case. Filled before other threads start, then only read; any thread.
class Registry {
public:
    Registry() : m_previous(current()) { current() = this; }
    ~Registry() { current() = m_previous; }
    Registry(Registry const&) = delete;
    Registry& operator=(Registry const&) = delete;

    template <class T> T& put(std::shared_ptr<T> object)
    {
        auto& reference = *object;
        m_objects[typeid(T)] = std::move(object);
        return reference;
    }

    /// The shared T of the current registry. Asking for one that was not put is a programming error.
    template <class T> static T& get()
    {
        assert(current());
        return *static_cast<T*>(current()->m_objects.at(typeid(T)).get());
    }

private:
    static Registry*& current();

    Registry* m_previous;
    std::map<std::type_index, std::shared_ptr<void>> m_objects;
};

} // namespace lingrelay
