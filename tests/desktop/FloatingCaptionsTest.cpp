#include "desktop/FloatingCaptions.h"

#include "base/Registry.h"
#include "base/Text.h"
#include "config/L10n.h"
#include "desktop/WindowPlace.h"
#include "platform/sim/SimDefaults.h"
#include "platform/sim/SimPanelWindow.h"
#include "platform/sim/VirtualTime.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

constexpr char const* frameKey = "overlayFrame";
Rect const defaultPlace{420, 730, 760, 150};

struct FloatingCaptionsTest : testing::Test {
    void open() { captions = std::make_unique<FloatingCaptions>(main, window, model); }
    void update(CaptionKind kind, std::string const& text)
    {
        captions->update(kind, text);
        time.runReady();
    }
    FloatingCaptions::Content const& content() { return *captions->content(); }
    std::string stored() { return defaults.string(frameKey).value_or(""); }

    VirtualTime time;
    VirtualScheduler main{time};
    Registry registry;
    Defaults& defaults = registry.put<Defaults>(std::make_shared<SimDefaults>());
    UiLanguage& language = registry.put(std::make_shared<UiLanguage>());
    AppModel& model = registry.put(std::make_shared<AppModel>());
    SimPanelWindow window;
    std::unique_ptr<FloatingCaptions> captions;
};

} // namespace

TEST(CaptionLayoutTest, tailKeepsTheNewestWholeWords)
{
    EXPECT_EQ(CaptionLayout::tail("one two", 7), "one two");
    EXPECT_EQ(CaptionLayout::tail("one two three", 9), "…three");
    EXPECT_EQ(CaptionLayout::tail("one two three", 10), "…two three"); // what was cut off was a blank
    EXPECT_EQ(CaptionLayout::tail("indivisible", 5), "…sible");
    EXPECT_EQ(CaptionLayout::tail("anything", 0), "");
    EXPECT_EQ(CaptionLayout::tail("", 5), "");
    // What the reader takes for one character counts once and is never cut.
    EXPECT_EQ(CaptionLayout::tail("Tiếng Việt", 10), "Tiếng Việt");
    EXPECT_EQ(CaptionLayout::tail("👩‍👩‍👧‍👦👩‍👩‍👧‍👦👩‍👩‍👧‍👦", 2),
        "…👩‍👩‍👧‍👦👩‍👩‍👧‍👦");
    EXPECT_EQ(CaptionLayout::tail("これは字幕です", 3), "…幕です");
}

TEST(WindowPlaceTest, fitsTheScreenAndKeepsTheRunButtonFreeOfThePanel)
{
    for (auto const& it : {
             std::pair{Rect{0, 0, 2560, 1440}, Rect{750, 386, 1060, 700}}, // in the middle
             {Rect{0, 0, 1600, 1000}, Rect{188, 166, 1060, 700}}, // beside the panel
             {Rect{100, 50, 1600, 1000}, Rect{288, 216, 1060, 700}}, // on any screen
             {Rect{0, 0, 1066, 666}, Rect{8, 40, 1050, 618}}, // at 1.5 times: below it
             {Rect{0, 0, 800, 500}, Rect{8, 40, 784, 452}}, // at twice: nowhere
         }) {
        auto const place = WindowPlace::first(it.first, 1060, 700);
        EXPECT_EQ(CaptionLayout::text(place), CaptionLayout::text(it.second)) << CaptionLayout::text(it.first);
    }
}

TEST_F(FloatingCaptionsTest, standsWhereTheUserLeftItUnlessThatCannotBeSeen)
{
    open();
    EXPECT_EQ(window.frame(), defaultPlace);
    EXPECT_EQ(stored(), ""); // nobody has moved it
    EXPECT_FALSE(window.shown);

    window.setFrame({50, 60.25, 500, 200});
    EXPECT_EQ(stored(), "{{50, 60.25}, {500, 200}}");
    captions.reset();
    window.setFrame({});
    open();
    EXPECT_EQ(window.frame(), (Rect{50, 60.25, 500, 200}));

    for (auto const* lost : {"{{1700, 60}, {500, 200}}", "{{50, 60}, {279, 200}}", "{{50, 60}, {500, 63}}", "damaged",
             "", "{{1, 2}, {3}}", "{{1, 2}, {-, 4}}", "{{1e999, 2}, {3, 4}}", "{{nan, nan}, {nan, nan}}"}) {
        captions.reset();
        defaults.set(frameKey, lost);
        open();
        EXPECT_EQ(window.frame(), defaultPlace) << lost;
    }
    window.visibleFrames = {{0, 0, 1600, 1000}, {1600, 0, 800, 600}};
    captions.reset();
    defaults.set(frameKey, "{{1700, 60}, {500, 200}}");
    open();
    EXPECT_EQ(window.frame(), (Rect{1700, 60, 500, 200}));
    captions.reset();
    defaults.set(frameKey, "{{60, 60}, {1e9, 90000}}");
    open();
    EXPECT_EQ(window.frame(), (Rect{60, 60, CaptionLayout::maximumWidth, CaptionLayout::maximumHeight}));

    window.visibleFrames = {{0, 30, 1280, 700}};
    captions->resetPlace();
    EXPECT_EQ(window.frame(), (Rect{260, 496, 760, 150}));
    EXPECT_EQ(stored(), "{{260, 496}, {760, 150}}");
    window.visibleFrames.clear();
    captions->resetPlace();
    EXPECT_EQ(window.frame(), (Rect{260, 496, 760, 150}));
}

TEST_F(FloatingCaptionsTest, aScreenThatGoesAwayForAWhileTakesThePlaceAlong)
{
    auto const beside = std::vector<Rect>{{0, 0, 1600, 1000}, {1600, 0, 800, 600}};
    window.visibleFrames = beside;
    defaults.set(frameKey, "{{1700, 60}, {500, 200}}");
    open();
    auto const plug = [&](std::vector<Rect> screens) {
        window.visibleFrames = std::move(screens);
        window.onScreensChanged();
        return window.frame();
    };
    EXPECT_EQ(plug({beside[0]}), defaultPlace);
    EXPECT_EQ(plug(beside), (Rect{1700, 60, 500, 200}));
    plug({beside[0]});
    window.setFrame({30, 40, 500, 200}); // by the user, who now wants it here
    EXPECT_EQ(plug(beside), (Rect{30, 40, 500, 200}));
    EXPECT_EQ(stored(), "{{30, 40}, {500, 200}}");
    defaults.set(frameKey, "{{1700, 60}, {500, 200}}");
    window.setFrame({1700, 60, 500, 200});
    plug({beside[0]});
    captions->resetPlace(); // by a double click: wanted, though it stands there already
    EXPECT_EQ(plug(beside), defaultPlace);
}

TEST_F(FloatingCaptionsTest, aResizeCutsTheWholeTextsAfresh)
{
    open();
    std::string text;
    for (int word = 100; word < 400; ++word)
        text += std::to_string(word) + " ";
    update(CaptionKind::translation, text + "end");
    update(CaptionKind::original, text + "end");
    update(CaptionKind::speak, text + "end");
    EXPECT_EQ(characterCount(content().translation.text), 108u); // of 110: no cut word, and an ellipsis
    EXPECT_TRUE(content().speak.hidden);
    EXPECT_EQ(content().speak.text, "");

    window.setFrame({0, 0, 2000, 600});
    EXPECT_FALSE(content().speak.hidden);
    EXPECT_GT(characterCount(content().translation.text), 400u);
    EXPECT_TRUE(content().speak.text.ends_with("end"));
    EXPECT_EQ(content().speak.text.find("🎙"), std::string::npos); // a long text loses its mark
    update(CaptionKind::speak, "short");
    EXPECT_EQ(content().speak.text, "🎙 → short");
    update(CaptionKind::speak, "");
    EXPECT_EQ(content().speak.text, "");

    window.setFrame({0, 0, 280, 64});
    EXPECT_TRUE(content().status.hidden);
    EXPECT_FALSE(content().translation.hidden);
    EXPECT_LE(characterCount(content().translation.text), 35u);
}

TEST_F(FloatingCaptionsTest, captionsShowThePanelAndClearEightSecondsAfterTheLast)
{
    model.running = true;
    open();
    captions->showStatus("Listening");
    time.runReady();
    EXPECT_EQ(content().status.text, "Listening");
    EXPECT_FALSE(window.shown);

    for (auto const* text : {"a", "a b", "a b c"}) {
        update(CaptionKind::original, text);
        time.advance(seconds(7.9));
    }
    EXPECT_EQ(content().original.text, "a b c");
    EXPECT_EQ(window.shows, 3);
    captions->orderOut();
    captions->showStatus("Reconnecting"); // touches neither the order nor the timer
    time.advance(seconds(0.2));
    EXPECT_EQ(content().original.text, "");
    EXPECT_EQ(content().status.text, "Reconnecting");
    EXPECT_FALSE(window.shown);

    update(CaptionKind::translation, "translated");
    EXPECT_EQ(content().translation.text, "translated");
    EXPECT_TRUE(window.shown);
    captions->update(CaptionKind::original, "too late");
    captions.reset();
    time.advance(seconds(20)); // neither the posted caption nor the timer touches what is gone
}

TEST_F(FloatingCaptionsTest, theSwitchHoldsForCaptionsToo)
{
    auto const wanted = [this](bool on) { model.settings.update([=](AppSettings& now) { now.showOverlay = on; }); };
    model.running = true;
    wanted(false);
    open();
    update(CaptionKind::translation, "Hola");
    EXPECT_FALSE(window.shown);
    wanted(true);
    EXPECT_TRUE(window.shown) << "at once, with what is said";
    EXPECT_EQ(content().translation.text, "Hola");
    wanted(false);
    EXPECT_FALSE(window.shown);
    captions->orderFrontRegardless();
    update(CaptionKind::translation, "Hola");
    EXPECT_TRUE(window.shown) << "as it was asked for";
}

TEST_F(FloatingCaptionsTest, saysWhatTheWindowSaysAndGoesWhenNothingRuns)
{
    open();
    EXPECT_EQ(content().status.text, "Idle");
    captions->showStatus("⚠ No network");
    captions->orderFrontRegardless();
    time.advance(seconds(7.9));
    EXPECT_TRUE(window.shown);
    EXPECT_EQ(content().status.text, "⚠ No network");
    time.advance(seconds(0.2));
    EXPECT_FALSE(window.shown);

    model.running = true;
    model.status = "● ready";
    captions->orderFrontRegardless();
    captions->showStatus("↺ replay");
    time.advance(seconds(20));
    EXPECT_TRUE(window.shown) << "it waits for captions";
    EXPECT_EQ(content().status.text, "↺ replay");
    model.status = "↻ reconnecting…";
    EXPECT_EQ(content().status.text, "↻ reconnecting…");
    update(CaptionKind::translation, "Hola");
    model.running = false;
    model.status = "";
    EXPECT_EQ(content().status.text, "Idle");
    model.settings.update([](AppSettings& now) { now.uiLang = "vi"; });
    EXPECT_EQ(content().status.text, "Chưa chạy");
    time.advance(seconds(7.9));
    EXPECT_EQ(content().translation.text, "Hola");
    time.advance(seconds(0.2));
    EXPECT_FALSE(window.shown);
}

} // namespace lingrelay
