#include "platform/linux/pipewire/SwitchedInput.h"

#include "base/Log.h"

#include <array>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr char const* configuredKey = "default.configured.audio.source";
constexpr char const* effectiveKey = "default.audio.source";
constexpr Duration stepLimit = seconds(2);

PipeWireConnection::MetadataValue jsonValue(std::string text) { return {"Spa:String:JSON", std::move(text)}; }

std::string nameValue(std::string const& nodeName) { return jsonText({{"name", nodeName}}); }

} // namespace

SwitchedInput::SwitchedInput(PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path file)
    : m_connection(connection)
    , m_guard(guard)
    , m_file(std::move(file))
{
}

SwitchedInput::~SwitchedInput()
{
    // What is still switched is the guard's to put back. It stays on file: else the next launch sees to it.
    unlockFile();
}

void SwitchedInput::managerCame()
{
    m_restarted = true;
    m_step = Step::none;
    if (m_choice == Choice::sessions)
        m_choice = Choice::ofBefore;
}

void SwitchedInput::set(std::string const& nodeName, bool isVirtual, bool currentIsVirtual)
{
    m_owed = false;
    m_step = Step::none;
    if (!m_connection.managed()) {
        m_owed = m_record && nodeName == m_record->effective;
        return;
    }
    if (m_record && !isVirtual) {
        if (nodeName != m_record->effective) {
            Record const record{m_record->target, nodeName, nameValue(nodeName)};
            keep(record);
            m_record = record; // even if a crash would not find it
        }
        m_owed = true;
        return changed();
    }
    if (!isVirtual && lockedByAnother())
        return;
    if (isVirtual && !m_record && !currentIsVirtual) {
        auto const configured = m_connection.metadata().get(0, configuredKey);
        if (!keep({nodeName, m_connection.nameIn(effectiveKey),
                configured ? std::optional(configured->value) : std::nullopt}))
            return;
    }
    m_choice = Choice::ofBefore;
    m_connection.metadata().set(0, configuredKey, jsonValue(nameValue(nodeName)));
}

/// Its name may belong to another file by the time of the lock: whoever held that has removed it.
SwitchedInput::FileLock SwitchedInput::lockFile(int flags)
{
    for (;;) {
        m_lock = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
        if (m_lock < 0)
            return FileLock::noFile;
        struct stat opened { };
        struct stat named { };
        if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
            unlockFile();
            return FileLock::anothers;
        }
        if (::fstat(m_lock, &opened) == 0 && ::stat(m_file.c_str(), &named) == 0 && opened.st_ino == named.st_ino)
            return FileLock::ours;
        unlockFile();
    }
}

void SwitchedInput::unlockFile()
{
    if (m_lock >= 0)
        ::close(std::exchange(m_lock, -1));
}

bool SwitchedInput::lockedByAnother() const
{
    int const file = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0)
        return false;
    bool const locked = ::flock(file, LOCK_EX | LOCK_NB) != 0;
    ::close(file);
    return locked;
}

bool SwitchedInput::keep(Record const& record)
{
    std::error_code ignored;
    std::filesystem::create_directories(m_file.parent_path(), ignored);
    if (m_lock < 0 && lockFile(O_CREAT) != FileLock::ours) {
        Log::write("[sound] {} cannot be written, or is another instance's: the default input stays", m_file.string());
        return false;
    }
    auto const text = jsonText({{"virtual", record.target}, {"effective", record.effective},
        {"configured", record.configured ? Json(*record.configured) : Json()}});
    auto const length = static_cast<ssize_t>(text.size());
    if (::ftruncate(m_lock, 0) != 0 || ::pwrite(m_lock, text.data(), text.size(), 0) != length) {
        Log::write("[sound] {} cannot be written", m_file.string());
        if (!m_record)
            forget();
        return false;
    }
    // Against a loss of power. A disk may take long, and the user's window must not wait for it.
    std::thread([file = ::fcntl(m_lock, F_DUPFD_CLOEXEC, 0)] {
        ::fdatasync(file);
        ::close(file);
    }).detach();
    m_record = record;
    m_guard.note({{"input", m_file.string()}});
    return true;
}

void SwitchedInput::forget()
{
    m_record.reset();
    m_owed = false;
    ::unlink(m_file.c_str());
    unlockFile();
    m_guard.note({{"input", nullptr}});
}

bool SwitchedInput::recover(Unknown unknown)
{
    if (m_record)
        return true;
    if (auto const lock = lockFile(0); lock != FileLock::ours)
        return lock == FileLock::noFile;
    if (m_connection.nameIn(configuredKey).empty() && unknown == Unknown::waits) {
        unlockFile();
        return false;
    }
    std::array<char, 4096> text{};
    auto const length = ::pread(m_lock, text.data(), text.size(), 0);
    auto const left = parseJson({text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))}).value_or(Json());
    auto const target = jsonString(left, "virtual");
    auto const effective = jsonString(left, "effective");
    if (!target || !effective || effective->empty()) {
        forget();
        return true;
    }
    Log::write("[sound] the default input of before is put back");
    m_record = {*target, *effective, jsonString(left, "configured")};
    m_owed = true;
    giveBack();
    return true;
}

void SwitchedInput::changed()
{
    if (!m_record)
        return;
    if (!m_connection.managed())
        return managerCame();
    // The session manager is there and has come to a default of its own.
    bool const settled = !m_connection.nameIn(effectiveKey).empty();
    if (m_owed && (settled || m_step != Step::none))
        return giveBack();
    if (m_owed || !settled)
        return;
    auto const now = m_connection.nameIn(configuredKey);
    if (m_restarted) {
        if (!m_connection.node(m_record->target))
            return;
        m_restarted = false;
        if (m_choice != Choice::users && now != m_record->target)
            m_connection.metadata().set(0, configuredKey, jsonValue(nameValue(m_record->target)));
    }
    // What comes before the switch has been heard of is not an answer to it.
    if (now == m_record->target)
        m_choice = Choice::sessions;
    else if (m_choice == Choice::sessions && !now.empty())
        m_choice = Choice::users;
}

/// Step by step, as the session manager tells: one that hangs may be ended before it has read what was written, and the
/// next one begins with what was remembered. That nothing is chosen says nothing by itself: it may not be known yet.
void SwitchedInput::giveBack()
{
    auto const& [target, effective, configured] = *m_record;
    auto const now = m_connection.nameIn(configuredKey);
    auto const value = configured.value_or(nameValue(effective));
    auto const name = jsonString(parseJson(value).value_or(Json()), "name").value_or("");
    bool const late = m_step != Step::none && Clock::now() - m_stepped >= stepLimit;
    if (!now.empty() && now != target && now != effective && now != name)
        return forget();
    if ((m_step == Step::named && now == name && configured) || (m_step == Step::cleared && now.empty())) {
        // Not before the default has followed, where it can: the next session would take it for a user's.
        bool const followed = m_connection.nameIn(effectiveKey) != target || !m_connection.node(effective);
        return followed || late ? forget() : void();
    }
    if (late)
        m_step = Step::none;
    // Without a choice the session manager takes what was chosen last, and must not find the virtual microphone there.
    if (m_step == Step::none) {
        m_connection.metadata().set(0, configuredKey, jsonValue(value));
        m_step = Step::named;
    } else if (m_step == Step::named && now == name) {
        m_connection.metadata().set(0, configuredKey, {});
        m_step = Step::cleared;
    } else {
        return;
    }
    m_stepped = Clock::now();
    m_connection.metadata().readAt(m_stepped + stepLimit / 2); // what the session manager makes of it can be lost news
}

} // namespace lingrelay
