#pragma once

namespace lingrelay {

/// Whose words a caption shows: what was heard, its translation, or the translation of what the user says.
enum class CaptionKind { original, translation, speak };

/// The words of the events: "original", "translation", "speak".
constexpr char const* rawValue(CaptionKind kind)
{
    switch (kind) {
    case CaptionKind::original:
        return "original";
    case CaptionKind::translation:
        return "translation";
    case CaptionKind::speak:
        return "speak";
    }
    return "";
}

} // namespace lingrelay
