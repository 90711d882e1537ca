#pragma once

#include "base/Json.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"

#include <filesystem>
#include <optional>
#include <string>

namespace lingrelay {

/// Makes the virtual microphone the system's default input and gives the user's choice back: at the end of a session,
/// or after a crash by the guard, or else at the next launch. The session manager remembers defaults over restarts, so
/// what they were stands in a file meanwhile; the program that wrote the file, or gives back what it says, holds its
/// lock. To be called under the connection's lock; waits for nobody.
class SwitchedInput {
public:
    SwitchedInput(PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path file);
    ~SwitchedInput();

    /// `nodeName` becomes the default. `isVirtual` says which kind it is and which the current default is. Without a
    /// session manager only the user's choice is heeded, and given back as soon as there is one. What cannot be put
    /// back after a crash is not switched, and what another instance has switched is its to give back.
    void set(std::string const& nodeName, bool isVirtual, bool currentIsVirtual);
    /// What it means when nothing is known to have been chosen: nothing has, or it may still come.
    enum class Unknown { isNothing, waits };
    /// Begins to put right what a program that is gone has left. Once the defaults are known. False: to be called
    /// again, also while another program has the file: it may be dying, and can die at any time.
    bool recover(Unknown unknown);
    /// A session manager that was restarted may not remember the switch, nor have heard that it is over.
    void managerCame();
    /// The node that is on its way back to be the default.
    std::optional<std::string> givesBack() const { return m_owed ? std::optional(m_record->effective) : std::nullopt; }
    void changed();

private:
    struct Record {
        std::string target; ///< the virtual microphone's node name
        std::string effective; ///< the default that a user had, by node name
        std::optional<std::string> configured; ///< what was chosen, as the server keeps it; nothing: it chose itself
    };
    /// Whose choice the default input is while a session has switched it, as far as the server has told: still the one
    /// of before, the session's, or one that the user made meanwhile.
    enum class Choice { ofBefore, sessions, users };
    /// How far giving the user's choice back has come with this session manager: its name was written as the choice,
    /// or that was cleared again since nothing had been chosen.
    enum class Step { none, named, cleared };

    enum class FileLock { ours, anothers, noFile };
    FileLock lockFile(int flags);
    void unlockFile();
    bool lockedByAnother() const;
    bool keep(Record const& record);
    void forget();
    void giveBack();

    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    std::filesystem::path m_file;
    int m_lock = -1; ///< the open file, while it is ours
    std::optional<Record> m_record; ///< while the default input is switched, or on its way back
    bool m_restarted = false; ///< the session manager was, and may not know of the switch
    Choice m_choice = Choice::ofBefore;
    bool m_owed = false; ///< the user's choice is to be given back, and the server has not told yet that it is
    Step m_step = Step::none;
    Instant m_stepped{};
};

} // namespace lingrelay
