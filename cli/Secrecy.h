#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// Takes the keys that the program holds out of texts that it shows or writes: services like to repeat a key that they
/// refuse. Knows the user's key and the hosted session's of the moment through the registry. Main thread.
class Secrecy {
public:
    /// Another text to keep out.
    void add(std::string secret) { m_secrets.push_back(std::move(secret)); }

    std::string clean(std::string text) const;

private:
    std::vector<std::string> m_secrets;
};

} // namespace lingrelay
