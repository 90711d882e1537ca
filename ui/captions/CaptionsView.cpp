#include "ui/captions/CaptionsView.h"

#include "config/KeyStore.h"
#include "platform/Defaults.h"

#include <QCursor>
#include <QTextBoundaryFinder>
#include <QTextLayout>

#include <algorithm>

namespace lingrelay {

namespace {

constexpr double reach = 6; ///< points from an edge
constexpr auto announceKey = "announceCaptions";

bool fits(QString const& text, QFont const& font, int width, int rows)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    int lines = 0;
    for (auto line = layout.createLine(); line.isValid() && lines <= rows; line = layout.createLine()) {
        line.setLineWidth(width);
        ++lines;
    }
    layout.endLayout();
    return lines <= rows;
}

} // namespace

/// Captions are counted in rows; a break within them would take one more.
QString CaptionsView::text(FloatingCaptions::Label const& label)
{
    auto shown = label.hidden ? QString() : toQt(label.text);
    for (auto const breaks : {QChar(QChar::LineFeed), QChar(QChar::CarriageReturn), QChar(QChar::LineSeparator),
             QChar(QChar::ParagraphSeparator)})
        shown.replace(breaks, QChar(QChar::Space));
    return shown;
}

void CaptionsView::follow(FloatingCaptions& captions, PanelWindow& window)
{
    m_window = &window;
    m_captions = &captions;
    auto const take = [this](FloatingCaptions::Content const& content) {
        m_content = content;
        auto const frame = m_window->frame();
        m_rows = CaptionLayout(frame.width, frame.height).rows();
        Q_EMIT changed();
    };
    take(*captions.content());
    m_watch = captions.content().observe(take);
}

void CaptionsView::leave()
{
    m_watch = {};
    m_drag.reset();
    m_captions = nullptr;
    m_window = nullptr;
}

QString CaptionsView::fitted(QString const& text, QFont const& font, int width, int rows) const
{
    if (rows <= 0 || fits(text, font, width, rows))
        return text;
    // Between words; a script without blanks between them can begin anywhere.
    std::vector<qsizetype> starts;
    QTextBoundaryFinder words(QTextBoundaryFinder::Line, text);
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, text);
    for (auto* finder : {&words, &characters}) {
        starts.clear();
        while (finder->toNextBoundary() > 0 && finder->position() < text.size())
            starts.push_back(finder->position());
        auto const shortened = [&](qsizetype start) { return QChar(0x2026) + text.mid(start); };
        auto const found = std::partition_point(
            starts.begin(), starts.end(), [&](qsizetype start) { return !fits(shortened(start), font, width, rows); });
        if (found != starts.end())
            return shortened(*found);
    }
    return {};
}

bool CaptionsView::announce() const { return KeyStore::d().boolean(announceKey); }

void CaptionsView::setAnnounce(bool on)
{
    if (on == announce())
        return;
    KeyStore::d().set(announceKey, on);
    Q_EMIT announceChanged();
}

void CaptionsView::announceLine(QString const& text)
{
    if (announce())
        Q_EMIT announced(text);
}

void CaptionsView::press(double x, double y, bool onGrip)
{
    if (!m_window)
        return;
    auto const frame = m_window->frame();
    auto const edges = onGrip ? PanelDrag::Edges{.right = true, .bottom = true}
                              : PanelDrag::edgesAt(x, y, frame.width, frame.height, reach);
    m_drag.emplace(edges, frame);
    m_pressed = QCursor::pos();
}

void CaptionsView::drag()
{
    if (!m_drag)
        return;
    auto const moved = QCursor::pos() - m_pressed;
    m_window->setFrame(m_drag->frameAfter(moved.x(), moved.y()));
}

void CaptionsView::resetPlace()
{
    m_drag.reset();
    if (m_captions)
        m_captions->resetPlace();
}

int CaptionsView::cursorAt(double x, double y) const
{
    if (!m_window)
        return Qt::ArrowCursor;
    auto const frame = m_window->frame();
    auto const edges = PanelDrag::edgesAt(x, y, frame.width, frame.height, reach);
    if ((edges.left && edges.top) || (edges.right && edges.bottom))
        return Qt::SizeFDiagCursor;
    if ((edges.right && edges.top) || (edges.left && edges.bottom))
        return Qt::SizeBDiagCursor;
    if (edges.left || edges.right)
        return Qt::SizeHorCursor;
    return edges.any() ? Qt::SizeVerCursor : Qt::ArrowCursor;
}

} // namespace lingrelay
