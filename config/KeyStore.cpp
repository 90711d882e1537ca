#include "config/KeyStore.h"

#include "base/Registry.h"
#include "base/Text.h"
#include "platform/Defaults.h"

namespace lingrelay {

Defaults& KeyStore::d() { return Registry::get<Defaults>(); }

std::string KeyStore::str(std::string const& key) { return std::string(trimWhitespace(d().string(key).value_or(""))); }

std::string Secrets::key()
{
    auto const stored = KeyStore::d().value(name);
    return stored && stored->is_string() ? std::string(trimWhitespace(stored->get_ref<std::string const&>())) : "";
}

} // namespace lingrelay
