#include "ui/SectionsBridge.h"

namespace lingrelay {

SectionsBridge::SectionsBridge(AppModel& model) : m_sections(model), m_language(model.settings->uiLang)
{
    m_choices = m_sections.chosen().observe([this](auto const&) {
        Q_EMIT currentChanged();
        Q_EMIT titleChanged();
    });
    m_settings = model.settings.observe([this](AppSettings const& settings) {
        if (std::exchange(m_language, settings.uiLang) == settings.uiLang)
            return;
        Q_EMIT languageChanged();
        Q_EMIT titleChanged();
    });
}

QVariantList SectionsBridge::all() const
{
    QVariantList list;
    for (auto const& section : Sections::all()) {
        list << QVariantMap{{QStringLiteral("value"), QString::fromLatin1(section.rawValue)},
            {QStringLiteral("text"), toQt(section.title())},
            {QStringLiteral("icon"), QString::fromLatin1(section.icon)},
            {QStringLiteral("group"),
                section.group == Sections::Group::session ? QStringLiteral("session") : QStringLiteral("settings")}};
    }
    return list;
}

} // namespace lingrelay
