#pragma once

#include "sessions/SessionStore.h"

#include <string>
#include <vector>

namespace lingrelay {

/// The forms in which a transcript leaves the program; UTF-8, in the interface language of the moment. Any thread.
class TranscriptForms {
public:
    using Lines = std::vector<AppModel::Line>;

    /// Blocks of time and speaker word, source, translation, with an empty row between them.
    static std::string text(Lines const& lines);
    /// One row a line, for the clipboard and for minutes: speaker word, source and arrow where there is one,
    /// translation.
    static std::string sessionText(Lines const& lines);
    /// SubRip cues of the translations, each three seconds long.
    static std::string srt(Lines const& lines, Date startedAt);
    /// The same cues as WebVTT, with the recogniser's speakers as voices.
    static std::string vtt(Lines const& lines, Date startedAt);
    /// The archive's form: one JSON object, pretty printed.
    static std::string json(SessionStore::Session const& session);
};

} // namespace lingrelay
