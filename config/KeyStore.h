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

/// The provider key that a user may set, stored under "k.soniox".
class Secrets {
public:
    static bool byokActive() { return !key().empty(); }
    static std::string key() { return KeyStore::str("k.soniox"); }
};

} // namespace lingrelay
