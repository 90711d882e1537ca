#include "tests/support/OtherProgram.h"
#include "tests/ui/captions/CaptionsWorld.h"

#include <QAccessible>

#include <atomic>
#include <thread>

namespace lingrelay {

namespace {

constexpr std::uint32_t white = 0xffffff;

struct PanelTest : CaptionsWorld {
    ~PanelTest() override { testDesktop->end(DesktopServer::Part::compositor); }

    Rect frame() const { return panel->frame(); }
    /// In the middle of the glass, where no text is.
    bool onTop(OtherProgram& eye)
    {
        return sees([&] { return eye.colourAt(frame().x + 10, frame().y + frame().height / 2) < 0x303030; });
    }
    std::string stored() { return registry.get<Defaults>().string("overlayFrame").value_or(""); }
};

TEST_F(PanelTest, everythingTheUserDoesToItLeavesTheFocusWhereItIs)
{
    OtherProgram other("Editor");
    say(CaptionKind::original, "Good morning");
    auto const start = frame();
    ASSERT_EQ(start, (Rect{420, 730, 760, 150}));

    pointer("mousemove 500 800 click 1");
    drag(500, 800, -60, -45);
    EXPECT_EQ(frame(), (Rect{360, 685, 760, 150}));
    EXPECT_EQ(stored(), CaptionLayout::text(frame()));

    drag(360 + 760 - 15, 685 + 150 - 15, 50, 30); // the grip
    EXPECT_EQ(frame(), (Rect{360, 685, 810, 180}));
    drag(362, 775, 40, 30); // the edge across: the opposite one stays
    EXPECT_EQ(frame(), (Rect{400, 685, 770, 180}));
    drag(400 + 770 - 15, 685 + 180 - 15, -900, -400);
    EXPECT_EQ(frame(), (Rect{400, 685, 280, 64}));

    settle();
    pointer("mousemove 480 715 click --repeat 2 --delay 80 1");
    EXPECT_TRUE(sees([&] { return frame() == start; })) << "a double click brings it home";
    EXPECT_EQ(stored(), CaptionLayout::text(start));

    drag(500, 800, -60, -45);
    pointer("mousemove 450 750 click 1 mousedown 1");
    settle();
    captions->orderOut();
    settle();
    pointer("mouseup 1"); // nobody tells the panel
    say(CaptionKind::translation, "Buenos días");
    EXPECT_TRUE(onTop(other));
    settle(0.6);
    auto const place = frame();
    EXPECT_NE(place, start);
    pointer("mousemove 460 760 click 1");
    settle();
    EXPECT_EQ(frame(), place) << "one click brings nothing home";
    EXPECT_EQ(other.focusLosses(), 0);
    EXPECT_TRUE(other.hasFocus());
}

struct PanelInFrontTest : PanelTest, testing::WithParamInterface<bool> { };

INSTANTIATE_TEST_SUITE_P(Compositor, PanelInFrontTest, testing::Bool());

TEST_P(PanelInFrontTest, staysInFrontOfAllWindowsOnEveryDesktop)
{
    ASSERT_TRUE(!GetParam() || testDesktop->start(DesktopServer::Part::compositor));
    OtherProgram other("Editor");
    say(CaptionKind::original, "Good morning");
    ASSERT_TRUE(onTop(other));
    other.raise();
    settle();
    EXPECT_TRUE(onTop(other));
    {
        OtherProgram film("Film", OtherProgram::Look::fullScreen);
        EXPECT_TRUE(sees([&] { return film.colourAt(10, 10) == white && film.colourAt(1590, 990) == white; }))
            << "it covers the whole screen";
        EXPECT_TRUE(onTop(film));
        film.raise();
        settle();
        EXPECT_TRUE(onTop(film));
        EXPECT_EQ(film.focusLosses(), 0);
    }
    other.setDesktop(1);
    EXPECT_TRUE(eventually([&] { return !other.viewable(); }));
    OtherProgram there("Elsewhere");
    EXPECT_TRUE(onTop(there));
    there.setDesktop(0);
    EXPECT_TRUE(eventually([&] { return other.viewable(); }));
    EXPECT_TRUE(onTop(other));
}

TEST_F(PanelTest, itsRoundCornersShowWhatIsBehindWithACompositorAndWithout)
{
    OtherProgram other("Editor", OtherProgram::Look::fullScreen);
    say(CaptionKind::original, "Good morning");
    auto const corners = [&] {
        auto const at = frame();
        settle();
        for (auto const& [x, y] : {std::pair{at.x + 1, at.y + 1}, {at.x + at.width - 2, at.y + 1},
                 {at.x + 1, at.y + at.height - 2}, {at.x + at.width - 2, at.y + at.height - 2}}) {
            if (other.colourAt(x, y) != white)
                return false;
        }
        return other.colourAt(at.x + 10, at.y + at.height / 2) < 0x303030;
    };
    EXPECT_TRUE(sees(corners)) << "without a compositor";
    panel->setFrame({100, 100, 500, 300});
    EXPECT_TRUE(sees(corners)) << "in another size";
    ASSERT_TRUE(testDesktop->start(DesktopServer::Part::compositor));
    open();
    say(CaptionKind::original, "Good morning to you");
    EXPECT_TRUE(sees(corners)) << "with one";
    EXPECT_GT(other.colourAt(110, 250) & 0xff, 0x1au) << "a little of what is behind shines through";
    testDesktop->end(DesktopServer::Part::compositor);
    say(CaptionKind::original, "Good evening");
    EXPECT_TRUE(sees([&] {
        panel->show(); // the next caption
        return corners();
    })) << "once it has gone";
}

TEST_F(PanelTest, aCaptionDoesNotWaitForTheServer)
{
    say(CaptionKind::original, "Good morning");
    std::atomic<bool> stopped = true;
    testDesktop->signal(DesktopServer::Part::display, SIGSTOP);
    std::thread wake([&] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        stopped = false;
        testDesktop->signal(DesktopServer::Part::display, SIGCONT);
    });
    for (int i = 0; i < 3; ++i)
        panel->show();
    EXPECT_TRUE(stopped) << "it came first";
    wake.join();
}

TEST_F(PanelTest, comesBackToItsPlaceUnlessThatScreenHasGone)
{
    OtherProgram other("Editor");
    testDesktop->splitScreen();
    EXPECT_TRUE(sees([&] { return panel->screens().size() == 2; }));
    EXPECT_EQ(panel->screens().front(), (Rect{0, 0, 800, 1000}));
    Rect const place{1000, 300, 500, 120};
    panel->setFrame(place);
    open();
    EXPECT_EQ(frame(), place);
    say(CaptionKind::original, "Good morning");
    EXPECT_EQ(frame(), place);
    EXPECT_TRUE(onTop(other));

    testDesktop->unplugRightHalf();
    Rect const home{20, 730, 760, 150};
    EXPECT_TRUE(sees([&] { return frame() == home; })) << "its screen has gone while it is shown";

    testDesktop->joinScreen();
    EXPECT_TRUE(sees([&] { return frame() == place; })) << "until it is there again";
}

TEST_F(PanelTest, finishedLinesAreReadAloudOnlyWhenThatIsWanted)
{
    static QStringList heard;
    heard.clear();
    ASSERT_TRUE(testDesktop->start(DesktopServer::Part::accessibility));
    ASSERT_TRUE(sees([] { return QAccessible::isActive(); }));
    auto* const before = QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
        auto const* const seen = event->type() == QAccessible::ObjectShow ? event->accessibleInterface() : nullptr;
        if (seen && seen->role() == QAccessible::Notification)
            heard.append(seen->text(QAccessible::Name));
    });
    say(CaptionKind::original, "Good");
    view->announceLine(QStringLiteral("Good morning."));
    EXPECT_EQ(heard, QStringList());
    view->setProperty("announce", true);
    say(CaptionKind::original, "How");
    view->announceLine(QStringLiteral("How are you?"));
    view->announceLine(QStringLiteral("How are you?"));
    settle();
    EXPECT_EQ(heard, QStringList({QStringLiteral("How are you?"), QStringLiteral("How are you?")}));
    QAccessible::installUpdateHandler(before);
    testDesktop->end(DesktopServer::Part::accessibility);
}

} // namespace

} // namespace lingrelay
