#pragma once

#include <functional>
#include <string>

namespace lingrelay {

/// Watches one held key, in every program; main.
class PushToTalk {
public:
    virtual ~PushToTalk() = default;

    /// Whether keys can be watched on this desktop. Where they cannot, nothing may wait for one.
    virtual bool available() const = 0;

    /// The key went down or came up; on main. Ends with false when stopped while the key is down.
    std::function<void(bool pressed)> onChange;

    virtual void setKey(std::string const& key) = 0;
    virtual void start() = 0;
    virtual void stop() = 0;
};

} // namespace lingrelay
