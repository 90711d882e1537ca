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

PipeWireConnection::MetadataValue jsonValue(std::string text) { return {"Spa:String:JSON", std::move(text)}; }

} // namespace

SwitchedInput::SwitchedInput(PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path file)
    : m_connection(connection)
    , m_guard(guard)
    , m_file(std::move(file))
{
}

SwitchedInput::~SwitchedInput()
{
    // What is still switched stays on file for the next launch.
    if (m_lock >= 0)
        ::close(m_lock);
}

void SwitchedInput::set(std::string const& nodeName, bool isVirtual, bool currentIsVirtual)
{
    m_owed = false;
    if (!m_connection.managed()) {
        m_owed = m_record && nodeName == m_record->effective;
        return;
    }
    if (m_record && !isVirtual) {
        auto const record = *m_record;
        forget();
        if (nodeName == record.effective)
            return restore(m_connection, record.effective, record.configured);
    }
    if (isVirtual && !m_record && !currentIsVirtual) {
        auto const configured = m_connection.metadata(0, configuredKey);
        keep({nodeName, m_connection.nameIn(effectiveKey),
            configured ? std::optional(configured->value) : std::nullopt});
    }
    m_connection.setMetadata(0, configuredKey, jsonValue(jsonText({{"name", nodeName}})));
}

void SwitchedInput::restore(
    PipeWireConnection& connection, std::string const& effective, std::optional<std::string> const& configured)
{
    // Without a choice the session manager takes what was chosen last, and must not find the virtual microphone there.
    if (!configured && !effective.empty())
        connection.setMetadata(0, configuredKey, jsonValue(jsonText({{"name", effective}})));
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

void SwitchedInput::recover()
{
    int const file = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0)
        return;
    // Another instance that lives still needs it.
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        ::close(file);
        return;
    }
    std::array<char, 4096> text{};
    auto const length = ::pread(file, text.data(), text.size(), 0);
    auto const left = parseJson({text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))}).value_or(Json());
    if (auto const target = jsonString(left, "virtual"); target && m_connection.nameIn(configuredKey) == *target) {
        Log::write("[sound] the default input of before is put back");
        restore(m_connection, jsonString(left, "effective").value_or(""), jsonString(left, "configured"));
    }
    ::unlink(m_file.c_str());
    ::close(file);
}

void SwitchedInput::changed()
{
    // The session manager is there and has come to a default of its own.
    if (!m_record || !m_connection.managed() || m_connection.nameIn(effectiveKey).empty())
        return;
    if (std::exchange(m_owed, false)) {
        auto const record = *m_record;
        forget();
        return restore(m_connection, record.effective, record.configured);
    }
    if (!m_unsure || !m_connection.node(m_record->target))
        return;
    m_unsure = false;
    if (m_connection.nameIn(configuredKey) != m_record->target)
        m_connection.setMetadata(0, configuredKey, jsonValue(jsonText({{"name", m_record->target}})));
}

} // namespace lingrelay
