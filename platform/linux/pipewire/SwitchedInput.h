#pragma once

#include "base/Json.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"

#include <filesystem>
#include <optional>
#include <string>

namespace lingrelay {

/// Makes the virtual microphone the system's default input and gives the user's choice back: at the end, or after a
/// crash by the guard, or else at the next launch. The session manager remembers defaults over restarts, so what they
/// were stands in a file meanwhile; the program that wrote it holds its lock. Under the connection's lock.
class SwitchedInput {
public:
    SwitchedInput(PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path file);
    ~SwitchedInput();

    /// `nodeName` becomes the default. `isVirtual` says which kind it is and which the current default is. Without a
    /// session manager only the user's choice is heeded, and given back as soon as there is one.
    void set(std::string const& nodeName, bool isVirtual, bool currentIsVirtual);
    /// What it means when nothing is known to have been chosen: nothing has, or it may still come.
    enum class Unknown { isNothing, waits };
    /// Puts right what a program that is gone has left. Once the defaults are known. False: to be called again.
    bool recover(Unknown unknown);
    /// A server that was restarted may not remember the switch, nor have heard that it is over.
    void serverCame()
    {
        m_unsure = true;
        m_step = Step::none;
    }
    /// The user's choice is on its way back.
    bool givesBack() const { return m_owed; }
    void changed();

    /// Nothing `configured` leaves the choice to the session manager, which is to come to `effective`.
    static void restore(
        PipeWireConnection& connection, std::string const& effective, std::optional<std::string> const& configured);

private:
    struct Record {
        std::string target; ///< the virtual microphone's node name
        std::string effective; ///< the default that a user had, by node name
        std::optional<std::string> configured; ///< what was chosen, as the server keeps it; nothing: it chose itself
    };

    enum class Step { none, named, cleared };

    void keep(Record const& record);
    void forget();
    void giveBack();

    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    std::filesystem::path m_file;
    int m_lock = -1; ///< the open file, while it is ours
    std::optional<Record> m_record;
    bool m_unsure = false;
    bool m_owed = false; ///< the choice is to be given back, and nobody has told yet that it is
    Step m_step = Step::none; ///< of giving it back, with this session manager
    Instant m_stepped{};
};

} // namespace lingrelay
