#pragma once

#include "base/Observable.h"
#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "desktop/CaptionLayout.h"
#include "desktop/OverlayWindow.h"
#include "model/AppModel.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// What the captions panel shows and where it stands: the last words heard, their translation, what the user said, and
/// a status row, fitted to the panel's size. The place is kept under "overlayFrame". A view draws `content` in
/// `window`.
///
/// The status row says what the main window says. A message stands in its place until there is news in the window.
/// While nothing runs, the panel goes eight seconds after the last caption or message, or after the end of the run.
/// Captions do not show a panel that the user has switched off.
///
/// Main, but for what OverlayWindow says; the scheduler, the window and the model outlive it.
class FloatingCaptions final : public OverlayWindow {
public:
    struct Label {
        std::string text;
        int fontSize = 0; ///< points
        bool hidden = false;
    };
    struct Content {
        Label status;
        Label original;
        Label translation;
        Label speak;
        double wrapWidth = 0; ///< points
    };

    FloatingCaptions(Scheduler& main, PanelWindow& window, AppModel& model);
    ~FloatingCaptions() override;

    void update(CaptionKind kind, std::string const& text) override;
    void showStatus(std::string const& text) override;
    void orderFrontRegardless() override;
    void orderOut() override { m_window.hide(); }

    /// The default place and size; for a double click. Without a screen nothing happens.
    void resetPlace();

    Observable<Content>& content() { return m_content; }

private:
    void onMain(std::function<void()> job);
    std::string& full(CaptionKind kind);
    void place();
    void frameChanged();
    void retrim();
    void followModel();
    void takeNews();
    void clearLater();
    void clear();

    Scheduler& m_main;
    PanelWindow& m_window;
    AppModel& m_model;
    std::optional<Rect> m_makeshift; ///< where it stands while nothing better is known; not kept
    std::string m_fullOriginal;
    std::string m_fullTranslation;
    std::string m_fullSpeak;
    std::string m_message; ///< in the status row, before the window's words; or empty
    std::string m_said; ///< the window's words
    std::string m_uiLang;
    bool m_switchedOn;
    bool m_running;
    Observable<Content> m_content;
    Scheduler::TimerId m_clearTimer = 0;
    std::vector<Subscription> m_watches;
    Lifetime m_lifetime;
};

} // namespace lingrelay
