#include "platform/linux/pipewire/PipeWireMetadata.h"

#include "base/Json.h"

#include <algorithm>
#include <vector>

namespace lingrelay {

namespace {

constexpr Duration echoTime = seconds(1);

} // namespace

void PipeWireMetadata::bind(pw_registry* registry, std::uint32_t id)
{
    m_registry = registry;
    m_id = id;
    listen();
}

void PipeWireMetadata::unbind()
{
    if (!m_proxy)
        return;
    unlisten();
    m_values.clear();
    m_written.clear();
    m_nextReading.reset();
    m_lastReading = {};
}

void PipeWireMetadata::listen()
{
    static pw_metadata_events const events = [] {
        pw_metadata_events result{};
        result.version = PW_VERSION_METADATA_EVENTS;
        result.property = onProperty;
        return result;
    }();
    m_proxy = static_cast<pw_proxy*>(
        pw_registry_bind(m_registry, m_id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    spa_zero(m_listener);
    pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(m_proxy), &m_listener, &events, this);
}

void PipeWireMetadata::unlisten()
{
    spa_hook_remove(&m_listener);
    pw_proxy_destroy(std::exchange(m_proxy, nullptr));
}

int PipeWireMetadata::onProperty(
    void* data, std::uint32_t subject, char const* key, char const* type, char const* value)
{
    auto& self = *static_cast<PipeWireMetadata*>(data);
    if (key) {
        self.take(subject, key, value ? std::optional(Value{type ? type : "", value}) : std::nullopt);
        return 0;
    }
    std::vector<std::string> keys;
    for (auto const& entry : self.m_values) {
        if (entry.first.first == subject)
            keys.push_back(entry.first.second);
    }
    for (auto const& each : keys)
        self.take(subject, each, {});
    return 0;
}

void PipeWireMetadata::take(std::uint32_t subject, std::string const& key, std::optional<Value> const& value)
{
    if (value)
        m_values[{subject, key}] = *value;
    else
        m_values.erase({subject, key});
    m_told(subject, key, value);
}

std::optional<PipeWireMetadata::Value> PipeWireMetadata::get(std::uint32_t subject, std::string const& key) const
{
    auto const found = m_values.find({subject, key});
    return found == m_values.end() ? std::nullopt : std::optional(found->second);
}

std::string PipeWireMetadata::name(char const* key) const
{
    auto const entry = get(0, key);
    return entry ? jsonString(parseJson(entry->value).value_or(Json()), "name").value_or("") : "";
}

void PipeWireMetadata::set(std::uint32_t subject, char const* key, std::optional<Value> const& value)
{
    if (!m_proxy)
        return;
    m_written[{subject, key}] = {value, Clock::now() + echoTime};
    pw_metadata_set_property(reinterpret_cast<pw_metadata*>(m_proxy), subject, key,
        value && !value->type.empty() ? value->type.c_str() : nullptr, value ? value->value.c_str() : nullptr);
}

void PipeWireMetadata::forget(std::uint32_t subject)
{
    if (subject == 0)
        return;
    auto const ofSubject = [subject](auto const& entry) { return entry.first.first == subject; };
    std::erase_if(m_values, ofSubject);
    std::erase_if(m_written, ofSubject);
}

void PipeWireMetadata::readAt(Instant when)
{
    m_nextReading = std::min(m_nextReading.value_or(when), when);
    m_lastReading = std::max(m_lastReading, when);
}

void PipeWireMetadata::missWritten(Instant now)
{
    for (auto const& [key, written] : std::exchange(m_written, {})) {
        auto const found = m_values.find(key);
        bool const there
            = found == m_values.end() ? !written.value : written.value && found->second.value == written.value->value;
        if (there)
            continue;
        if (now < written.until) {
            m_written.emplace(key, written);
            continue;
        }
        readAt(now);
        if (!written.value)
            take(key.first, key.second, {}); // a reading does not tell what is gone
    }
}

void PipeWireMetadata::tick()
{
    auto const now = Clock::now();
    missWritten(now);
    if (!m_proxy || !m_nextReading || now < *m_nextReading)
        return;
    m_nextReading = m_lastReading > now ? std::optional(m_lastReading) : std::nullopt;
    unlisten();
    listen();
}

} // namespace lingrelay
