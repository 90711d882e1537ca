#pragma once

#include "model/AppModel.h"

#include <array>
#include <optional>
#include <string>

namespace lingrelay {

/// What the user is told of the state of things, in two places of the model. The status is whatever was said last: by
/// the controller, the streams or a trouble. The banner is a trouble that stands until it is over, so that nothing
/// which is said meanwhile hides it. Main.
class StatusLine {
public:
    /// What can be wrong for a while beside the streams; of several the banner shows the first of these.
    enum class Trouble { keeping, systemAudio, microphone };

    explicit StatusLine(AppModel& model) : m_model(model) { }

    /// The controller or a feature speaks.
    void say(std::string text, AppModel::StatusKind kind);
    /// The streams speak; this is what the status goes back to when a trouble that it shows is over.
    void sayOfStreams(std::string text, AppModel::StatusKind kind);

    /// How a trouble shows: in the banner alone, or as a warning in the status too.
    enum class Place { banner, bannerAndStatus };
    /// A trouble begins, or is another one now.
    void begin(Trouble trouble, std::string text, Place place);
    /// The trouble is over. True when the status showed it and shows the streams' words again.
    bool end(Trouble trouble);
    bool stands(Trouble trouble) const { return text(trouble).has_value(); }

    /// No session runs any more: the streams have nothing to say.
    void forgetStreams() { m_streams = {}; }

private:
    struct Words {
        std::string text;
        AppModel::StatusKind kind = AppModel::StatusKind::idle;
    };

    std::optional<std::string> const& text(Trouble trouble) const
    {
        return m_troubles[static_cast<std::size_t>(trouble)];
    }
    void show(Words const& words, std::optional<Trouble> of);
    void showBanner();

    AppModel& m_model;
    Words m_streams;
    std::array<std::optional<std::string>, 3> m_troubles;
    std::optional<Trouble> m_shown; ///< the trouble that the status shows
};

} // namespace lingrelay
