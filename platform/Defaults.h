#pragma once

#include "base/Json.h"

#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// The per-user store of preferences: one flat namespace of keys. Any thread.
///
/// The typed getters convert as a preferences store does: a number from text and back, truth from a number, and a
/// present value of a hopeless type gives 0, false or nothing. Use `value` to tell present from absent.
class Defaults {
public:
    virtual ~Defaults() = default;

    /// Nothing when the key is absent.
    virtual std::optional<Json> value(std::string const& key) const = 0;
    /// Stores the value; a null removes the key.
    virtual void set(std::string const& key, Json value) = 0;

    std::optional<std::string> string(std::string const& key) const;
    bool boolean(std::string const& key) const;
    std::int64_t integer(std::string const& key) const;
    double number(std::string const& key) const;

    /// Where a store keeps `lost`.
    static constexpr char const* lostKey = "store.lost";
    /// Keys that had a value in a store that was damaged, and have none since.
    std::vector<std::string> lost() const;
};

} // namespace lingrelay
