#pragma once

#include "platform/PanelWindow.h"

#include <QObject>
#include <QPointer>
#include <QSize>
#include <QWindow>

namespace lingrelay {

/// A window of Qt as a panel. On X11 no window manager touches it: it stays above full-screen windows, is on every
/// desktop and cannot take the focus. Made before the window is first shown. Main.
class QtPanelWindow final : public QObject, public PanelWindow {
public:
    /// `radius` of the window's corners in points, for desktops that cannot show translucent windows.
    QtPanelWindow(QWindow& window, int radius);

    Rect frame() const override;
    void setFrame(Rect frame) override;
    void show() override;
    void hide() override;
    std::vector<Rect> screens() const override;

private:
    void changed();
    void shape();

    QPointer<QWindow> m_window;
    int const m_radius;
    Rect m_last;
    QSize m_cut; ///< what the window's shape is made for; empty: it has none
};

} // namespace lingrelay
