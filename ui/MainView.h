#pragma once

#include "base/async/Scheduler.h"
#include "model/AppModel.h"

#include <QObject>

#include <memory>

class QQuickWindow;

namespace lingrelay {

class CaptionsView;
class HostedSession;

/// The main window with all of its pages over the model. Main; what it is given outlives it. Before it dies:
/// `shutdown`, then wait until it is `idle`.
class MainView {
public:
    /// `shell` is what the pages call `Shell`. The window is made here and not yet shown.
    MainView(AppModel& model, Scheduler& main, Scheduler& disk, QObject& shell);
    ~MainView();

    QQuickWindow* window() const;
    /// Makes the captions panel's window, not yet shown. The window draws what `captions` follows.
    QQuickWindow* makeCaptionsWindow();
    CaptionsView& captions();
    /// From now on the service time of `hosted` is shown, and its backend can be asked for minutes. `hosted` outlives
    /// the view.
    void setHosted(HostedSession& hosted, std::function<std::string(std::string)> clean);
    /// The service on this computer is used.
    void setLocalService(bool local);
    void setAppearance(bool dark, bool reducedMotion);

    /// Cancels what waits for the backend and the disk.
    void shutdown();
    bool idle() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay
