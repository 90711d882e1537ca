#include "ui/SettingsBridge.h"

#include "config/L10n.h"

#include <cmath>

#include <fmt/format.h>

namespace lingrelay {

namespace {

std::string settingFromQt(std::string const&, QString const& text) { return text.toStdString(); }
AppSettings::Mode settingFromQt(AppSettings::Mode old, QString const& text)
{
    return AppSettings::modeFromRawValue(text.toStdString()).value_or(old);
}
template <class T, class V> T settingFromQt(T const&, V const& value) { return static_cast<T>(value); }

} // namespace

template <class T, class V> void SettingsBridge::write(T AppSettings::*member, V const& value)
{
    auto settings = *m_model.settings;
    auto const setting = settingFromQt(settings.*member, value);
    if (settings.*member == setting)
        return;
    settings.*member = setting;
    if constexpr (std::is_same_v<T, std::string>) {
        if (member == &AppSettings::uiLang)
            UiLanguage::shared().setLang(setting); // the catalogue's names follow at once
    }
    m_model.settings = settings;
    settings.save();
    m_model.commands.applySettings();
}

void SettingsBridge::set_endpointSensitivity(double value)
{
    write(&AppSettings::endpointSensitivity, std::round(value * 10) / 10 + 0.0); // no -0
}

QString SettingsBridge::endpointSensitivityText() const { return toQt(fmt::format("{:+.1f}", endpointSensitivity())); }

template void SettingsBridge::write(std::string AppSettings::*, QString const&);
template void SettingsBridge::write(AppSettings::Mode AppSettings::*, QString const&);
template void SettingsBridge::write(bool AppSettings::*, bool const&);
template void SettingsBridge::write(double AppSettings::*, double const&);
template void SettingsBridge::write(std::int64_t AppSettings::*, int const&);

} // namespace lingrelay
