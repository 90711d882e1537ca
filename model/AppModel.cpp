#include "model/AppModel.h"

#include "base/Registry.h"
#include "base/Uuid.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "platform/Defaults.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr std::size_t mostLines = 2000;

} // namespace

AppModel::AppModel()
    : settings(AppSettings::load())
    , profiles(ContextProfile::load())
    , activeProfileID(KeyStore::d().string("context.active").value_or(""))
{
    auto const follow = [](AppSettings const& now) { UiLanguage::shared().setModelLanguage(now.uiLang); };
    follow(*settings);
    m_language = settings.observe(follow);
}

AppModel& AppModel::shared() { return Registry::get<AppModel>(); }

void AppModel::log(Direction direction, std::string source, std::string translation, std::string speaker, Date now)
{
    transcript.update([&](std::vector<Line>& lines) {
        lines.push_back({newUuid(), now, direction, std::move(source), std::move(translation), std::move(speaker)});
    });
    if (transcript->size() > mostLines)
        transcript.update([](std::vector<Line>& lines) {
            lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(mostLines));
        });
}

std::optional<ContextProfile> AppModel::activeProfile() const
{
    auto const found = std::find_if(
        profiles->begin(), profiles->end(), [this](auto const& profile) { return profile.id == *activeProfileID; });
    return found == profiles->end() ? std::nullopt : std::optional(*found);
}

void AppModel::saveProfiles() const
{
    ContextProfile::save(*profiles);
    KeyStore::d().set("context.active", *activeProfileID);
}

std::string AppModel::elapsedString() const
{
    auto const whole = static_cast<std::int64_t>(*elapsed);
    return fmt::format("{:02}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string AppModel::statusText() const
{
    if (!status->empty())
        return *status;
    return *running ? T("Running", "Đang chạy") : T("Idle", "Chưa chạy");
}

char const* rawValue(AppModel::Direction direction)
{
    return direction == AppModel::Direction::listen ? "listen" : "speak";
}

char const* rawValue(AppModel::StatusKind kind)
{
    switch (kind) {
    case AppModel::StatusKind::idle:
        return "idle";
    case AppModel::StatusKind::connecting:
        return "connecting";
    case AppModel::StatusKind::live:
        return "live";
    case AppModel::StatusKind::warning:
        return "warning";
    case AppModel::StatusKind::error:
        return "error";
    }
    return "";
}

} // namespace lingrelay
