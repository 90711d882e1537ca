#pragma once

#include <string>

namespace lingrelay {

class Defaults;

/// The shared defaults store, for what stands beside the settings record. Any thread.
class KeyStore {
public:
    static Defaults& d();

    /// The stored text without white space and line ends at both ends; empty when there is none.
    static std::string str(std::string const& key);
};

/// The provider key that a user may set.
class Secrets {
public:
    static constexpr char const* name = "k.soniox"; ///< in the store

    static bool byokActive() { return !key().empty(); }
    /// Without white space at both ends; empty when there is none. What is stored as anything but text is no key.
    static std::string key();
};

} // namespace lingrelay
