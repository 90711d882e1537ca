#include "tests/ui/captions/CaptionsWorld.h"

#include <QQuickItem>

namespace lingrelay {

namespace {

std::string repeated(std::string const& words, int times)
{
    std::string text;
    for (int i = 0; i < times; ++i)
        text += words;
    return text;
}

struct Script {
    char const* name;
    std::string status;
    std::string original;
    std::string translation;
    std::string speak;
};

std::vector<Script> const scripts{
    {"short", "ready", "Good morning", "Buenos días", "How are you?"},
    {"english", repeated("A line of status that is far too long. ", 9),
        repeated("All the wide meadows were waving WITH WARM WILLOWS. ", 60),
        repeated("Many merry men were marching. ", 80), repeated("MMMM WWWW ", 60)},
    {"vietnamese", "⚠ Micro: không nghe thấy gì", repeated("Những cánh đồng lúa trải dài dưới ánh nắng. ", 60),
        repeated("Ở đây chúng tôi đã được nghe kể chuyện. ", 60), repeated("Xin cảm ơn quý vị. ", 60)},
    {"cjk", "⚠ Micro: không nghe thấy gì", repeated("これは字幕です。長い文章でも読めます。", 60),
        repeated("你好，欢迎收听今天的节目。", 80), repeated("안녕하세요 여러분 ", 60)},
    {"rightToLeft", "⚠ Micro: không nghe thấy gì", repeated("صباح الخير جميعا ", 80),
        repeated("ברוכים הבאים לכולם ", 80), repeated("مرحبا ", 60)},
    {"unbroken", "⚠ Micro: không nghe thấy gì", std::string(3000, 'W'), std::string(3000, 'm'),
        repeated("🎙👩‍👩‍👧", 200)},
    {"broken", "two\nlines", repeated("one\n\n", 30), repeated("zwei\r\n", 9) + "\u2028\u2029drei", "a\nb\nc"},
    {"empty", "", "", "", ""},
};

struct DrawingTest : CaptionsWorld {
    /// Every text that is shown, where it is drawn in the window.
    std::vector<QRectF> textsOf(QQuickItem* item) const
    {
        std::vector<QRectF> found;
        for (auto* const child : item->childItems()) {
            auto const inner = textsOf(child);
            found.insert(found.end(), inner.begin(), inner.end());
            if (!child->isVisible() || !child->property("contentWidth").isValid() || !child->isEnabled())
                continue;
            auto const width = child->property("contentWidth").toReal();
            auto const height = child->property("contentHeight").toReal();
            found.push_back(child->mapRectToScene({(child->width() - width) / 2, 0, width, height}));
        }
        return found;
    }
};

TEST_F(DrawingTest, textNeverRunsOutOfTheGlass)
{
    for (auto const& size : {std::pair{280, 64}, {280, 400}, {760, 150}, {500, 96}, {1400, 600}, {1400, 64}}) {
        panel->setFrame({10, 10, static_cast<double>(size.first), static_cast<double>(size.second)});
        for (auto const& script : scripts) {
            SCOPED_TRACE(testing::Message() << script.name << ' ' << size.first << " x " << size.second);
            captions->showStatus(script.status);
            captions->update(CaptionKind::original, script.original);
            captions->update(CaptionKind::speak, script.speak);
            say(CaptionKind::translation, script.translation);
            auto const texts = textsOf(window->contentItem());
            auto const& content = *captions->content();
            std::size_t expected = 0;
            for (auto const* label : {&content.status, &content.original, &content.translation, &content.speak})
                expected += !label->hidden && !label->text.empty();
            EXPECT_EQ(texts.size(), expected);
            auto const glass = QRectF(20, 8, size.first - 40, size.second - 16).adjusted(-0.5, -0.5, 0.5, 0.5);
            for (auto const& text : texts)
                EXPECT_TRUE(glass.contains(text))
                    << text.x() << "," << text.y() << " " << text.width() << " x " << text.height();
        }
    }
}

} // namespace

} // namespace lingrelay
