#pragma once

#include "platform/PanelWindow.h"

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// How captions fit a panel of a given size: arithmetic on counts of characters, nothing is measured. Points. Any
/// thread.
class CaptionLayout {
public:
    /// Shares of the panel's height, in lines of the translation.
    struct Rows {
        int original = 0;
        int translation = 1;
        int speak = 0;

        bool operator==(Rows const&) const = default;
    };

    static constexpr double minimumWidth = 280;
    static constexpr double minimumHeight = 64;
    static constexpr double maximumWidth = 4000;
    static constexpr double maximumHeight = 2000;

    CaptionLayout(double width, double height);

    double wrapWidth() const; ///< the width of a line of text
    int originalSize() const; ///< sizes of fonts
    int translationSize() const;
    int speakSize() const;
    bool showsStatus() const;
    Rows rows() const;
    /// How many characters fit.
    int capacity(int fontSize, int rows) const;

    /// The newest words of `text`, at most about `limit` characters, with "…" before them when some are left out.
    static std::string tail(std::string_view text, int limit);

    /// Where a panel stands that nobody has moved.
    static Rect defaultFrame(Rect const& screen);
    /// Whether the frame is large enough and at least in part on one of the screens.
    static bool frameIsOnScreen(Rect const& frame, std::vector<Rect> const& screens);

    /// The stored form of a frame, "{{x, y}, {width, height}}". A text that is no frame gives an empty one.
    static std::string text(Rect const& frame);
    static Rect frame(std::string_view text);

private:
    double m_width;
    double m_height;
    double m_scale;
};

} // namespace lingrelay
