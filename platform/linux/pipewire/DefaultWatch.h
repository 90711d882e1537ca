#pragma once

#include "platform/linux/pipewire/PipeWireConnection.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace lingrelay {

/// Tells when another device becomes the default, on the loop. Any thread. Tokens may outlive it.
class DefaultWatch final : private PipeWireConnection::Member {
public:
    /// `key` is the metadata's: "default.audio.sink" or "default.audio.source".
    DefaultWatch(PipeWireConnection& connection, char const* key);
    ~DefaultWatch();

    std::shared_ptr<void> add(std::function<void()> changed);

private:
    struct Watchers {
        PipeWireConnection* connection;
        int last = 0;
        std::map<int, std::function<void()>> entries;
    };

    void changed() override;

    PipeWireConnection& m_connection;
    char const* m_key;
    std::string m_current;
    std::shared_ptr<Watchers> m_watchers;
};

} // namespace lingrelay
