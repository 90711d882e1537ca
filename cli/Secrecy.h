#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace lingrelay {

/// Takes the keys that the program holds out of texts that it shows or writes: services like to repeat a key that they
/// refuse. Any thread.
class Secrecy {
public:
    /// Another text to keep out.
    void add(std::string secret);

    std::string clean(std::string text) const;

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_secrets;
};

} // namespace lingrelay
