#include "config/L10n.h"

#include "base/Registry.h"

#include <algorithm>
#include <iterator>

namespace lingrelay {

namespace {

struct Text {
    std::string_view key;
    char const* en;
    char const* vi;
};

constexpr Text table[] = {
    {"start", "Start translating", "Bắt đầu dịch"},
    {"stop", "Stop translating", "Dừng dịch"},
    {"quit", "Quit", "Thoát"},
    {"running", "● running…", "● đang chạy…"},
    {"translating", "● translating…", "● đang dịch…"},
    {"ready", "● ready", "● sẵn sàng"},
    {"reconnecting", "↻ reconnecting…", "↻ đang kết nối lại…"},
    {"install", "Install", "Cài đặt"},
    {"later", "Later", "Để sau"},
    {"driver.title", "Install the “Lingrelay” audio device?", "Cài thiết bị âm thanh “Lingrelay”?"},
    {"driver.body",
        "To send your translated voice into Meet/Zoom/Zalo as a microphone, Lingrelay installs one virtual audio "
        "device. One time only, no password needed.",
        "Để gửi giọng dịch vào Meet/Zoom/Zalo làm micro, Lingrelay cần cài 1 thiết bị âm thanh ảo. Chỉ làm 1 lần, "
        "không "
        "cần mật khẩu."},
    {"driver.done", "✓ Installed “Lingrelay” — pick it as the Microphone in Meet/Zalo",
        "✓ Đã cài “Lingrelay” — chọn nó làm Microphone trong Meet/Zalo"},
    {"driver.fail", "⚠ Device install failed", "⚠ Cài thiết bị thất bại"},
};

} // namespace

UiLanguage& UiLanguage::shared() { return Registry::get<UiLanguage>(); }

std::string T(char const* en, char const* vi) { return UiLanguage::shared().modelEnglish() ? en : vi; }

std::string L10n::t(std::string_view key)
{
    auto const* row
        = std::find_if(std::begin(table), std::end(table), [&](Text const& each) { return each.key == key; });
    if (row == std::end(table))
        return std::string(key);
    return UiLanguage::shared().english() ? row->en : row->vi;
}

} // namespace lingrelay
