#include "desktop/FloatingCaptions.h"

#include "base/Registry.h"
#include "platform/Defaults.h"

#include <algorithm>
#include <cmath>

namespace lingrelay {

namespace {

constexpr Duration clearDelay = seconds(8.0);
constexpr int statusSize = 11;
constexpr char const* frameKey = "overlayFrame";

/// Windows stand on whole pixels.
bool samePlace(Rect const& a, Rect const& b)
{
    auto const near = [](double x, double y) { return std::abs(x - y) < 1; };
    return near(a.x, b.x) && near(a.y, b.y) && near(a.width, b.width) && near(a.height, b.height);
}

} // namespace

FloatingCaptions::FloatingCaptions(Scheduler& main, PanelWindow& window, AppModel& model)
    : m_main(main)
    , m_window(window)
    , m_model(model)
    , m_said(model.statusText())
    , m_uiLang(model.settings->uiLang)
    , m_switchedOn(model.settings->showOverlay)
    , m_running(*model.running)
{
    place();
    retrim();
    followModel();
    m_window.onFrameChanged = [this] { frameChanged(); };
    m_window.onScreensChanged = [this] {
        if (m_makeshift || !CaptionLayout::frameIsOnScreen(m_window.frame(), m_window.screens()))
            place();
    };
}

FloatingCaptions::~FloatingCaptions()
{
    m_window.onFrameChanged = nullptr;
    m_window.onScreensChanged = nullptr;
    m_main.stopTimer(m_clearTimer);
}

/// Where the user left it, or, while that screen is away, in a place that is not kept.
void FloatingCaptions::place()
{
    auto const screens = m_window.screens();
    m_makeshift.reset();
    if (auto const stored = Registry::get<Defaults>().string(frameKey)) {
        auto frame = CaptionLayout::frame(*stored);
        frame.width = std::min(frame.width, CaptionLayout::maximumWidth);
        frame.height = std::min(frame.height, CaptionLayout::maximumHeight);
        if (CaptionLayout::frameIsOnScreen(frame, screens))
            return m_window.setFrame(frame);
    }
    if (screens.empty())
        return;
    m_makeshift = CaptionLayout::defaultFrame(screens.front());
    m_window.setFrame(*m_makeshift);
}

void FloatingCaptions::resetPlace()
{
    auto const screens = m_window.screens();
    if (screens.empty())
        return;
    m_window.setFrame(CaptionLayout::defaultFrame(screens.front()));
    m_makeshift.reset();
    frameChanged();
}

std::string& FloatingCaptions::full(CaptionKind kind)
{
    switch (kind) {
    case CaptionKind::original:
        return m_fullOriginal;
    case CaptionKind::translation:
        break;
    case CaptionKind::speak:
        return m_fullSpeak;
    }
    return m_fullTranslation;
}

void FloatingCaptions::update(CaptionKind kind, std::string const& text)
{
    onMain([this, kind, text] {
        full(kind) = text;
        retrim();
        if (m_model.settings->showOverlay)
            m_window.show();
        clearLater();
    });
}

void FloatingCaptions::showStatus(std::string const& text)
{
    onMain([this, text] {
        m_message = text;
        retrim();
        if (!*m_model.running)
            clearLater();
    });
}

void FloatingCaptions::orderFrontRegardless()
{
    m_window.show();
    if (!*m_model.running)
        clearLater();
}

void FloatingCaptions::followModel()
{
    auto const news = [this](auto const&) { takeNews(); };
    m_watches.push_back(m_model.status.observe(news));
    m_watches.push_back(m_model.running.observe(news));
    m_watches.push_back(m_model.settings.observe(news));
}

void FloatingCaptions::takeNews()
{
    auto const& settings = *m_model.settings;
    auto const said = std::exchange(m_said, m_model.statusText());
    auto const language = std::exchange(m_uiLang, settings.uiLang);
    if (said != m_said || language != m_uiLang) {
        m_message.clear();
        retrim();
    }
    bool const wasSwitchedOn = std::exchange(m_switchedOn, settings.showOverlay);
    if (wasSwitchedOn != m_switchedOn && (!m_switchedOn || *m_model.running))
        m_switchedOn ? m_window.show() : m_window.hide();
    if (std::exchange(m_running, *m_model.running) && !m_running)
        clearLater();
}

void FloatingCaptions::clearLater()
{
    m_main.stopTimer(m_clearTimer);
    m_clearTimer = m_main.startTimer(m_main.now() + clearDelay, [this] { clear(); });
}

void FloatingCaptions::clear()
{
    for (auto* full : {&m_fullOriginal, &m_fullTranslation, &m_fullSpeak})
        full->clear();
    if (!*m_model.running) {
        m_message.clear();
        m_window.hide();
    }
    retrim();
}

void FloatingCaptions::frameChanged()
{
    retrim();
    auto const frame = m_window.frame();
    if (m_makeshift && samePlace(frame, *m_makeshift))
        return;
    m_makeshift.reset();
    Registry::get<Defaults>().set(frameKey, CaptionLayout::text(frame));
}

/// Fits fonts and texts to the frame of this moment.
void FloatingCaptions::retrim()
{
    auto const frame = m_window.frame();
    CaptionLayout const layout(frame.width, frame.height);
    auto const rows = layout.rows();
    auto const label = [&](std::string const& full, int fontSize, int lines) {
        return Label{CaptionLayout::tail(full, layout.capacity(fontSize, lines)), fontSize, lines == 0};
    };
    m_content = Content{
        {m_message.empty() ? m_said : m_message, statusSize, !layout.showsStatus()},
        label(m_fullOriginal, layout.originalSize(), rows.original),
        label(m_fullTranslation, layout.translationSize(), rows.translation),
        label(m_fullSpeak.empty() ? "" : "🎙 → " + m_fullSpeak, layout.speakSize(), rows.speak),
        layout.wrapWidth(),
    };
}

void FloatingCaptions::onMain(std::function<void()> job) { m_main.post(m_lifetime.whileAlive(std::move(job))); }

} // namespace lingrelay
