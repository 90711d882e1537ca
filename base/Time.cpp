#include "base/Time.h"

#include <cstdint>
#include <ctime>

#include <fmt/format.h>

namespace lingrelay {

std::string iso8601(Date date)
{
    auto const time = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(date));
    std::tm utc{};
    gmtime_r(&time, &utc);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
        utc.tm_hour, utc.tm_min, utc.tm_sec);
}

namespace {

/// Reads exactly `count` digits off the front.
std::optional<int> takeDigits(std::string_view& text, std::size_t count)
{
    if (text.size() < count)
        return {};
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return {};
        value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool take(std::string_view& text, char expected)
{
    if (text.empty() || text.front() != expected)
        return false;
    text.remove_prefix(1);
    return true;
}

/// "Z", "+hh:mm", "-hh:mm" or "+hhmm", as minutes east of UTC.
std::optional<int> takeOffset(std::string_view& text)
{
    if (take(text, 'Z') || take(text, 'z'))
        return 0;
    int const sign = take(text, '+') ? 1 : take(text, '-') ? -1 : 0;
    if (sign == 0)
        return {};
    auto const hours = takeDigits(text, 2);
    take(text, ':');
    auto const minutes = takeDigits(text, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59)
        return {};
    return sign * (*hours * 60 + *minutes);
}

} // namespace

std::optional<Date> parseIso8601(std::string_view text)
{
    using namespace std::chrono;
    auto const yearPart = takeDigits(text, 4);
    if (!yearPart || !take(text, '-'))
        return {};
    auto const monthPart = takeDigits(text, 2);
    if (!monthPart || !take(text, '-'))
        return {};
    auto const dayPart = takeDigits(text, 2);
    if (!dayPart || !(take(text, 'T') || take(text, 't') || take(text, ' ')))
        return {};
    auto const hourPart = takeDigits(text, 2);
    if (!hourPart || !take(text, ':'))
        return {};
    auto const minutePart = takeDigits(text, 2);
    if (!minutePart || !take(text, ':'))
        return {};
    auto const secondPart = takeDigits(text, 2);
    if (!secondPart)
        return {};
    auto fraction = nanoseconds::zero();
    if (take(text, '.')) {
        std::int64_t unit = 100'000'000;
        bool any = false;
        while (auto const digit = takeDigits(text, 1)) {
            fraction += nanoseconds(*digit * unit);
            unit /= 10;
            any = true;
        }
        if (!any)
            return {};
    }
    auto const offset = takeOffset(text);
    year_month_day const day{
        year(*yearPart), month(static_cast<unsigned>(*monthPart)), std::chrono::day(static_cast<unsigned>(*dayPart))};
    // The clock's nanoseconds end in the years 1677 and 2262.
    bool const fits = *yearPart > 1677 && *yearPart < 2262;
    if (!offset || !text.empty() || !fits || !day.ok() || *hourPart > 23 || *minutePart > 59 || *secondPart > 60)
        return {};
    return sys_days(day) + hours(*hourPart) + minutes(*minutePart - *offset) + std::chrono::seconds(*secondPart)
        + duration_cast<system_clock::duration>(fraction);
}

std::string clockTime(Date date)
{
    auto const time = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(date));
    std::tm local{};
    localtime_r(&time, &local);
    return fmt::format("{:02}:{:02}:{:02}", local.tm_hour, local.tm_min, local.tm_sec);
}

} // namespace lingrelay
