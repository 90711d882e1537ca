#pragma once

#include "core/common/AppModel.h"

#include <string>
#include <vector>

namespace lingrelay {

/// One finished run, in the form in which it is archived.
struct SessionRecord {
    std::string id; ///< UUID, upper case
    Date startedAt;
    Date endedAt;
    std::string mode; ///< "listen", "speak" or "both"
    std::string sourceLang; ///< of the listen direction, whatever the mode
    std::string targetLang;
    std::string profileName; ///< empty when no context profile was active
    std::vector<AppModel::Line> lines;
};

/// The forms in which a transcript leaves the program; UTF-8, in the interface language of the moment. Any thread.
class TranscriptForms {
public:
    using Lines = std::vector<AppModel::Line>;

    /// Blocks of time and speaker word, source, translation, with an empty row between them.
    static std::string text(Lines const& lines);
    /// SubRip cues of the translations, each three seconds long.
    static std::string srt(Lines const& lines, Date startedAt);
    /// The same cues as WebVTT, with the recogniser's speakers as voices.
    static std::string vtt(Lines const& lines, Date startedAt);
    /// The archive's form: one JSON object, pretty printed.
    static std::string json(SessionRecord const& session);
};

} // namespace lingrelay
