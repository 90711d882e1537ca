#include "platform/linux/pipewire/SwitchedInput.h"

#include "base/Log.h"

#include <array>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
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
    // What is still switched is the guard's to put back. It stays on file: the next launch sees to it.
    if (m_lock >= 0)
        ::close(m_lock);
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
        if (nodeName != m_record->effective)
            *m_record = {m_record->target, nodeName, nameValue(nodeName)};
        m_owed = true;
        return giveBack();
    }
    if (isVirtual && !m_record && !currentIsVirtual) {
        auto const configured = m_connection.metadata(0, configuredKey);
        keep({nodeName, m_connection.nameIn(effectiveKey),
            configured ? std::optional(configured->value) : std::nullopt});
    }
    m_connection.setMetadata(0, configuredKey, jsonValue(nameValue(nodeName)));
}

void SwitchedInput::restore(
    PipeWireConnection& connection, std::string const& effective, std::optional<std::string> const& configured)
{
    // Without a choice the session manager takes what was chosen last, and must not find the virtual microphone there.
    if (!configured && !effective.empty())
        connection.setMetadata(0, configuredKey, jsonValue(nameValue(effective)));
    connection.setMetadata(0, configuredKey, configured ? std::optional(jsonValue(*configured)) : std::nullopt);
}

void SwitchedInput::keep(Record const& record)
{
    m_record = record;
    Json const configured = record.configured ? Json(*record.configured) : Json();
    Json const content{{"virtual", record.target}, {"effective", record.effective}, {"configured", configured}};
    m_guard.note({{"input", content}});
    std::error_code ignored;
    std::filesystem::create_directories(m_file.parent_path(), ignored);
    m_lock = ::open(m_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lock < 0 || ::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        if (m_lock >= 0)
            ::close(std::exchange(m_lock, -1)); // another instance's
        return Log::write("[sound] {}: the default input will not be put back after a crash", m_file.string());
    }
    auto const text = jsonText(content);
    if (::ftruncate(m_lock, 0) != 0 || ::pwrite(m_lock, text.data(), text.size(), 0) < 0 || ::fsync(m_lock) != 0)
        Log::write("[sound] {} cannot be written", m_file.string());
}

void SwitchedInput::forget()
{
    m_record.reset();
    m_guard.note({{"input", nullptr}});
    if (m_lock < 0)
        return;
    ::unlink(m_file.c_str());
    ::close(std::exchange(m_lock, -1));
}

bool SwitchedInput::recover(Unknown unknown)
{
    int const file = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0)
        return true;
    // Another instance that lives still needs it.
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        ::close(file);
        return true;
    }
    auto const now = m_connection.nameIn(configuredKey);
    if (now.empty() && unknown == Unknown::waits) {
        ::close(file);
        return false;
    }
    std::array<char, 4096> text{};
    auto const length = ::pread(file, text.data(), text.size(), 0);
    auto const left = parseJson({text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))}).value_or(Json());
    if (auto const target = jsonString(left, "virtual"); target && now == *target) {
        Log::write("[sound] the default input of before is put back");
        restore(m_connection, jsonString(left, "effective").value_or(""), jsonString(left, "configured"));
    }
    ::unlink(m_file.c_str());
    ::close(file);
    return true;
}

void SwitchedInput::changed()
{
    if (!m_record)
        return;
    if (!m_connection.managed()) {
        m_step = Step::none;
        return;
    }
    // The session manager is there and has come to a default of its own.
    bool const settled = !m_connection.nameIn(effectiveKey).empty();
    if (m_owed && (settled || m_step != Step::none))
        return giveBack();
    if (m_owed || !settled || !m_unsure || !m_connection.node(m_record->target))
        return;
    m_unsure = false;
    if (m_connection.nameIn(configuredKey) != m_record->target)
        m_connection.setMetadata(0, configuredKey, jsonValue(nameValue(m_record->target)));
}

/// Step by step, as the session manager tells: one that hangs may be ended before it has read what was written, and the
/// next one begins with what was remembered. That nothing is chosen says nothing by itself: it may not be known yet.
void SwitchedInput::giveBack()
{
    auto const& [target, effective, configured] = *m_record;
    auto const now = m_connection.nameIn(configuredKey);
    auto const value = configured.value_or(nameValue(effective));
    auto const name = jsonString(parseJson(value).value_or(Json()), "name").value_or("");
    bool const chosen = !now.empty() && now != target && now != effective && now != name;
    if (chosen || (m_step == Step::named && now == name && configured) || (m_step == Step::cleared && now.empty())) {
        m_owed = false;
        return forget();
    }
    if (m_step != Step::none && Clock::now() - m_stepped >= stepLimit)
        m_step = Step::none;
    // Without a choice the session manager takes what was chosen last, and must not find the virtual microphone there.
    if (m_step == Step::none) {
        m_connection.setMetadata(0, configuredKey, jsonValue(value));
        m_step = Step::named;
    } else if (m_step == Step::named && now == name) {
        m_connection.setMetadata(0, configuredKey, {});
        m_step = Step::cleared;
    } else {
        return;
    }
    m_stepped = Clock::now();
}

} // namespace lingrelay
