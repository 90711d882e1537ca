#pragma once

#include "platform/PanelWindow.h"
#include "platform/linux/qt/X11.h"

#include <QObject>
#include <QPointer>
#include <QSize>
#include <QTimer>
#include <QWindow>

namespace lingrelay {

/// A window of Qt as a panel. On X11 no window manager touches it: it stays above full-screen windows, is on every
/// desktop and cannot take the focus. The object is made before the window is first
/// shown. Main.
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
    void askCompositor();
    void takeAnswer();

    QPointer<QWindow> m_window;
    int const m_radius;
    Rect m_last;
    x11::OwnerQuestion m_compositor{"_NET_WM_CM_S0"}; ///< who mixes translucent windows with what is behind them
    QTimer m_answer;
    QSize m_cut; ///< the size that the corners are cut off from; empty while they are not
};

} // namespace lingrelay
