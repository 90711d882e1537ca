#include "desktop/StatusMenu.h"

#include "config/L10n.h"
#include "config/Preset.h"

namespace lingrelay {

std::vector<StatusMenu::Item> StatusMenu::items(bool running, std::string_view preset)
{
    auto state = "Lingrelay Pro — " + (running ? T("Translating", "Đang dịch") : T("Idle", "Sẵn sàng"));
    if (auto const scenario = presetFromRawValue(preset); running && scenario)
        state += " · " + title(*scenario);
    return {
        {state},
        {},
        {T("Open Lingrelay Pro", "Mở Lingrelay Pro"), Action::openWindow},
        {L10n::t(running ? "stop" : "start"), Action::toggleRun},
        {},
        {L10n::t("quit"), Action::quit, "Ctrl+Q"},
    };
}

} // namespace lingrelay
