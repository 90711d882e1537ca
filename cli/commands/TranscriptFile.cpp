#include "cli/commands/TranscriptFile.h"

#include "sessions/TranscriptForms.h"

namespace lingrelay {

std::string transcriptIn(Arguments::Form form, SessionStore::Session const& session)
{
    switch (form) {
    case Arguments::Form::text:
        return TranscriptForms::text(session.lines);
    case Arguments::Form::srt:
        return TranscriptForms::srt(session.lines, session.startedAt);
    case Arguments::Form::vtt:
        return TranscriptForms::vtt(session.lines, session.startedAt);
    case Arguments::Form::json:
        return TranscriptForms::json(session);
    }
    return {};
}

} // namespace lingrelay
