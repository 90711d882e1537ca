#pragma once

#include <QLocalServer>

#include <functional>
#include <string>

namespace lingrelay {

/// At most one running program of a user and a display: a second one asks the first to come to the front. Main.
class SingleInstance {
public:
    enum class Takeover { no, yes };

    /// `name` tells programs apart. To take over is to wait for the other one, which is about to end.
    explicit SingleInstance(std::string const& name, Takeover takeover = Takeover::no);

    /// False when another one runs; it has been asked to show itself.
    bool first() const { return m_first; }
    /// Another launch has asked for this one.
    std::function<void()> onRaise;
    /// This one is about to end: the next launch is the first.
    void yield() { m_server.close(); }

private:
    QLocalServer m_server;
    bool m_first = false;
};

} // namespace lingrelay
