#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lingrelay {

class HostedSession;

/// Takes the keys that the program holds out of texts that it shows or writes: services like to repeat a key that they
/// refuse. Any thread.
class Secrecy {
public:
    /// Another text to keep out.
    void add(std::string secret);
    /// Its keys too, those of now and those that replace them.
    void follow(std::weak_ptr<HostedSession const> hosted);

    std::string clean(std::string text);

private:
    void learn(std::string const& secret);

    std::mutex m_mutex;
    std::vector<std::string> m_secrets; ///< the longest first
    std::weak_ptr<HostedSession const> m_hosted;
};

/// The log goes to the file that LINGRELAY_LOG names, if it does, for looking into a run. Before there are threads.
/// Gives what is to learn the keys, which are kept out of it.
std::shared_ptr<Secrecy> openLog();

} // namespace lingrelay
