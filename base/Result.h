#pragma once

#include <string>
#include <utility>
#include <variant>

namespace lingrelay {

/// An expected failure. `message` is what a user may be shown; it never holds a key.
struct Error {
    enum class Kind {
        other,
        cancelled,
        badUrl,
        timedOut,
        cannotFindHost,
        dnsLookupFailed,
        cannotConnectToHost,
        networkConnectionLost,
        notConnectedToInternet,
        resourceUnavailable,
        secureConnectionFailed,
        badServerResponse,
    };

    Kind kind = Kind::other;
    std::string message;
    int code = 0; ///< the other side's own number, where it gave one

    bool operator==(Error const&) const = default;
};

/// A value or an Error.
template <class T> class [[nodiscard]] Result {
public:
    Result(T value) : m_state(std::in_place_index<0>, std::move(value)) { }
    Result(Error error) : m_state(std::in_place_index<1>, std::move(error)) { }

    explicit operator bool() const { return m_state.index() == 0; }
    T& operator*() { return std::get<0>(m_state); }
    T const& operator*() const { return std::get<0>(m_state); }
    T* operator->() { return &std::get<0>(m_state); }
    T const* operator->() const { return &std::get<0>(m_state); }
    Error const& error() const { return std::get<1>(m_state); }

private:
    std::variant<T, Error> m_state;
};

} // namespace lingrelay
