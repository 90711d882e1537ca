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

    /// Whether no other program runs. One that does has been asked to show itself.
    bool first() const { return m_first; }
    /// Called when another launch asks this program to show itself.
    std::function<void()> onRaise;
    /// From now on the next launch is the first: this program is about to end.
    void yield() { m_server.close(); }

private:
    QLocalServer m_server;
    bool m_first = false;
};

} // namespace lingrelay
