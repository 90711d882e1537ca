#include "desktop/Sections.h"

#include "config/KeyStore.h"
#include "config/L10n.h"
#include "platform/Defaults.h"

namespace lingrelay {

namespace {

constexpr auto storedKey = "sidebarSection";

} // namespace

std::string Sections::Section::title() const { return T(english, vietnamese); }

std::vector<Sections::Section> const& Sections::all()
{
    static std::vector<Section> const sections{
        {"dashboard", "Dashboard", "Bảng điều khiển", "gauge", Group::session},
        {"devices", "Audio Routing", "Định tuyến âm thanh", "routing", Group::session},
        {"languages", "Languages", "Ngôn ngữ", "globe", Group::session},
        {"transcript", "Transcript", "Biên bản", "transcript", Group::session},
        {"history", "History", "Lịch sử", "history", Group::session},
        {"general", "General", "Chung", "gear", Group::settings},
        {"shortcuts", "Shortcuts", "Phím tắt", "keyboard", Group::settings},
        {"about", "About", "Giới thiệu", "info", Group::settings},
    };
    return sections;
}

Sections::Section const* Sections::find(std::string_view rawValue)
{
    auto const found = std::find_if(
        all().begin(), all().end(), [rawValue](Section const& section) { return rawValue == section.rawValue; });
    return found == all().end() ? nullptr : &*found;
}

Sections::Sections(AppModel& model) : m_model(model)
{
    auto const* stored = find(KeyStore::d().string(storedKey).value_or(""));
    m_current = stored ? stored : &all().front();
    m_chosen = std::string(m_current->rawValue);
    m_requests = model.requestedSection.observe([this](std::optional<std::string> const& request) {
        auto const* const wanted = request ? find(*request) : nullptr;
        if (!wanted)
            return; // an unknown one stays
        m_model.requestedSection = std::nullopt;
        choose(wanted->rawValue);
    });
}

void Sections::choose(std::string_view rawValue)
{
    auto const* section = find(rawValue);
    if (!section || section == m_current)
        return;
    m_current = section;
    KeyStore::d().set(storedKey, section->rawValue);
    m_chosen = std::string(section->rawValue);
}

} // namespace lingrelay
