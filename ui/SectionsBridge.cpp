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

QVariantList SectionsBridge::group(Sections::Group group)
{
    QVariantList list;
    for (auto const& section : Sections::all()) {
        if (section.group != group)
            continue;
        list << QVariantMap{{QStringLiteral("value"), toQt(section.rawValue)},
            {QStringLiteral("text"), toQt(section.title())}, {QStringLiteral("icon"), toQt(section.icon)}};
    }
    return list;
}

QStringList SectionsBridge::pages() const
{
    QStringList files;
    for (auto const& section : Sections::all()) {
        auto const name = toQt(section.rawValue);
        files << name.front().toUpper() + name.mid(1) + QStringLiteral("Page.qml");
    }
    return files;
}

int SectionsBridge::currentIndex() const { return static_cast<int>(&m_sections.current() - Sections::all().data()); }

void SectionsBridge::step(int by)
{
    auto const next = currentIndex() + by;
    if (next >= 0 && next < static_cast<int>(Sections::all().size()))
        choose(toQt(Sections::all()[static_cast<std::size_t>(next)].rawValue));
}

} // namespace lingrelay
