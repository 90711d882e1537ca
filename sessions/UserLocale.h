#pragma once

#include "base/Time.h"

#include <memory>
#include <string>
#include <string_view>

namespace lingrelay {

/// The user's locale as the environment names it: dates for people, and texts that compare without case. Costly to
/// make, cheap to use. One thread at a time.
class UserLocale {
public:
    UserLocale();
    ~UserLocale();

    /// An abbreviated date and a shortened time: "Mar 1, 2026, 12:30 PM".
    std::string dateAndTime(Date date) const;

    /// Appends `text` in a form in which texts that differ only in case, or in how accents are stored, are equal.
    void fold(std::string_view text, std::string& result) const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay
