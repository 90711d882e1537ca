// What the views see of the program.

#include "tests/support/TemporaryFolder.h"
#include "tests/support/World.h"
#include "ui/AppBridge.h"
#include "ui/HistoryModel.h"
#include "ui/LinesModel.h"
#include "ui/SectionsBridge.h"
#include "ui/SettingsBridge.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Direction = AppModel::Direction;
using FailureMode = QAbstractItemModelTester::FailureReportingMode;

QStringList column(QAbstractItemModel const& model, int role)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts << model.data(model.index(row, 0), role).toString();
    return texts;
}

class ModelsTest : public testing::Test {
protected:
    void log(Direction direction, std::string const& text)
    {
        model.log(direction, "source of " + text, text, "1", world.main.date());
    }

    World world;
    TemporaryFolder folder;
    SessionStore& store = world.registry.put(std::make_shared<SessionStore>(folder / "Sessions"));
    AppModel& model = world.registry.put(std::make_shared<AppModel>());
};

TEST_F(ModelsTest, linesComeAndGoWithoutAReset)
{
    TranscriptModel transcript(model);
    QAbstractItemModelTester const tester(&transcript, FailureMode::Fatal);
    QSignalSpy const resets(&transcript, &QAbstractItemModel::modelReset);
    QSignalSpy const removals(&transcript, &QAbstractItemModel::rowsRemoved);
    EXPECT_TRUE(transcript.empty());
    for (int i = 0; i < 2005; ++i)
        log(i % 2 == 0 ? Direction::listen : Direction::speak, std::to_string(i));
    EXPECT_EQ(transcript.rowCount(), 2000);
    EXPECT_EQ(removals.size(), 5) << "the oldest, one for each that came";
    EXPECT_EQ(transcript.index(0, 0).data(LinesModel::TranslationRole), "5");
    EXPECT_EQ(transcript.index(1999, 0).data(LinesModel::TranslationRole), "2004");
    EXPECT_EQ(transcript.index(1999, 0).data(LinesModel::DirectionRole), "listen");

    transcript.setFilter("speak");
    EXPECT_EQ(transcript.count(), 1000);
    log(Direction::listen, "not on show");
    EXPECT_EQ(transcript.count(), 999) << "the oldest, which was shown, has gone";
    model.transcript = std::vector<AppModel::Line>();
    EXPECT_EQ(transcript.count(), 0);
    EXPECT_TRUE(transcript.empty());
    log(Direction::listen, "first");
    EXPECT_EQ(transcript.count(), 0);
    EXPECT_FALSE(transcript.empty()) << "copying and exporting take all lines";
    EXPECT_EQ(resets.size(), 0);
}

class HistoryTest : public ModelsTest {
protected:
    ~HistoryTest() override
    {
        history.shutdown();
        world.time.runReady();
    }

    static QString id(std::string const& name)
    {
        return QStringLiteral("00000000-0000-4000-8000-%1").arg(toQt(name), 12, QLatin1Char('0'));
    }
    static SessionStore::Session session(std::string const& name, double startedAt, std::string const& words)
    {
        Date const start{std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(startedAt))};
        return {id(name).toStdString(), start, start + std::chrono::milliseconds(83'900), "listen", "en", "xx", name,
            {{id(name + "1").toStdString(), start, Direction::listen, "", words, ""}}};
    }
    void archive(std::string const& name, double startedAt, std::string const& words)
    {
        EXPECT_TRUE(store.archive(session(name, startedAt, words)));
        store.load();
    }
    void open()
    {
        history.setActive(true);
        world.time.runReady();
    }
    void seek(char const* words)
    {
        history.setQuery(words);
        world.time.advance(seconds(0.01));
    }
    QStringList titles() { return column(history, HistoryModel::TitleRole); }
    void answer(int status, std::string const& body)
    {
        world.answerBackend([=](auto const&) { return HttpResponse{status, {}, body}; });
    }

    HistoryModel history{model, world.main, world.background};
    QAbstractItemModelTester tester{&history, FailureMode::Fatal};
    QSignalSpy resets{&history, &QAbstractItemModel::modelReset};
};

TEST_F(HistoryTest, sessionsAreFoundOpenedAndDeleted)
{
    archive("A", 1000, "the harbour");
    archive("B", 2000, "a lighthouse");
    EXPECT_EQ(history.count(), 0) << "nothing is read before it is looked at";
    open();
    EXPECT_EQ(titles(), (QStringList{"B", "A"}));
    auto const row = history.index(1, 0);
    EXPECT_EQ(row.data(HistoryModel::SizeRole), "1 line · 1:23");
    EXPECT_TRUE(row.data(HistoryModel::DetailsRole).toString().startsWith("English → XX · "));

    history.toggle(id("A"));
    EXPECT_EQ(history.selected(), id("A"));
    EXPECT_EQ(column(*history.lines(), LinesModel::TranslationRole), QStringList{"the harbour"});
    history.toggle(id("B"));
    EXPECT_EQ(history.selected(), id("B"));
    EXPECT_EQ(history.textOf(id("B")), "THEM: a lighthouse");
    seek("HARBOUR");
    EXPECT_EQ(titles(), QStringList{"A"});
    history.setQuery("lighthouse");
    seek("nothing"); // before the first search is done
    EXPECT_EQ(history.count(), 0);
    EXPECT_FALSE(history.empty());
    history.setQuery("harbour");
    archive("D", 500, "a harbour, too"); // in the middle of the search
    world.time.advance(seconds(0.01));
    EXPECT_EQ(titles(), (QStringList{"A", "D"}));
    store.remove(session("D", 500, ""));
    seek("");
    EXPECT_EQ(history.selected(), id("B")) << "a search does not close it";

    resets.clear(); // with other words, another list
    archive("C", 1500, "in between");
    EXPECT_EQ(titles(), (QStringList{"B", "C", "A"}));
    history.toggle(id("C"));
    history.toggle(id("C"));
    EXPECT_EQ(history.selected(), "");
    for (auto const* name : {"C", "A", "B"})
        history.remove(id(name));
    EXPECT_TRUE(history.empty());
    EXPECT_EQ(resets.size(), 0);
}

TEST_F(HistoryTest, theArchiveIsReadWhileTheWindowGoesOn)
{
    ASSERT_TRUE(store.archive(session("A", 1000, "one")));
    ASSERT_TRUE(store.archive(session("B", 2000, "two")));
    history.setActive(true);
    EXPECT_TRUE(history.loading());
    history.setQuery("t");
    history.setQuery("");
    EXPECT_EQ(history.count(), 0) << "a search does not read it on main";
    bool late = false;
    world.background.post(
        [&] { world.main.post([&] { late = store.archive(session("C", 3000, "three")).operator bool(); }); });
    world.time.runReady();
    EXPECT_TRUE(late);
    EXPECT_FALSE(history.loading());
    EXPECT_EQ(titles(), (QStringList{"C", "B", "A"})) << "a session that ended meanwhile is there too";
}

TEST_F(HistoryTest, minutesBelongToTheSessionThatIsOpen)
{
    archive("A", 1000, "one");
    archive("B", 2000, "two");
    EXPECT_FALSE(history.ready()) << "nobody could be asked";
    history.setHosted(world.hosted);
    EXPECT_TRUE(history.ready());
    open();
    history.makeSummary();
    EXPECT_FALSE(history.summarizing()) << "none is open";

    answer(200, R"({"summary":"Minutes."})");
    history.toggle(id("A"));
    history.makeSummary();
    EXPECT_TRUE(history.summarizing());
    seek("two"); // hides it
    world.time.advance(seconds(1.0));
    seek("");
    EXPECT_FALSE(history.summarizing());
    EXPECT_EQ(history.summary(), "Minutes.");
    archive("C", 3000, "three");
    EXPECT_EQ(history.summary(), "Minutes.") << "another one does not close it";
    history.toggle(id("B"));
    EXPECT_EQ(history.summary(), "");
    history.makeSummary();
    history.toggle(id("A"));
    world.time.advance(seconds(1.0));
    EXPECT_EQ(history.summary(), "") << "they were another one's";
    EXPECT_FALSE(history.summarizing());

    answer(503, "");
    history.makeSummary();
    world.time.advance(seconds(5.0));
    EXPECT_EQ(history.summaryError(), "Server error 503");
    history.makeSummary();
    EXPECT_EQ(history.summaryError(), "");

    seek("two");
    store.remove(session("A", 1000, "one")); // elsewhere, while it is hidden
    EXPECT_EQ(history.selected(), "");
}

TEST_F(ModelsTest, aSettingIsKeptAndAppliedWhenItChangesAndNotOtherwise)
{
    SettingsBridge settings(model);
    QStringList applied;
    model.commands.applySettings = [&] { applied << toQt(rawValue(model.settings->mode)); };
    settings.set_mode("both");
    settings.set_mode("sideways");
    settings.set_mode("both");
    settings.set_endpointSensitivity(-0.30000000000000004); // as a slider's steps add up
    EXPECT_EQ(settings.endpointSensitivityText(), "-0.3");
    EXPECT_EQ(applied, (QStringList{"both", "both"}));
    EXPECT_EQ(AppSettings::load().mode, AppSettings::Mode::both);
    EXPECT_EQ(AppSettings::load().endpointSensitivity, -0.3);

    AppBridge const app(model);
    QSignalSpy const texts(&app, &AppBridge::languageChanged);
    EXPECT_EQ(app.languageName("es"), "Spanish");
    settings.set_uiLang("vi");
    EXPECT_EQ(app.languageName("es"), "Tiếng Tây Ban Nha") << "before anybody has applied it";
    EXPECT_EQ(app.statusText(), "Chưa chạy");
    EXPECT_EQ(texts.size(), 1);
    settings.set_tts(false);
    EXPECT_EQ(texts.size(), 1);
}

TEST_F(ModelsTest, theVirtualMicrophoneIsOfferedWhereItMayBe)
{
    AppBridge app(model);
    QSignalSpy changes(&app, &AppBridge::devicesChanged);
    EXPECT_FALSE(app.devicesKnown()) << "no warning before anybody has looked";
    model.outputDevices = std::vector<AudioDevice>();
    model.virtualInstalled = false;
    EXPECT_TRUE(app.devicesKnown()) << "there is no sound server";
    changes.clear();
    model.inputDevices = std::vector<AudioDevice>{{1, "Microphone"}, {7, "Lingrelay"}};
    model.outputDevices = std::vector<AudioDevice>{{2, "Speakers"}, {7, "Lingrelay"}};
    EXPECT_EQ(changes.size(), 2);
    auto const texts = [](QVariantList const& choices) {
        QStringList result;
        for (auto const& choice : choices)
            result << choice.toMap()["text"].toString() + choice.toMap()["mark"].toString();
        return result;
    };
    EXPECT_EQ(texts(app.microphones()), (QStringList{"System default", "Microphone"}));
    EXPECT_EQ(texts(app.speakOutputs()), (QStringList{"System default", "Speakers", "LingrelayRecommended"}));
    EXPECT_EQ(texts(app.listenOutputs()), (QStringList{"System default", "Speakers"}));

    model.micDeviceID = 1;
    EXPECT_EQ(app.microphone(), "1");
}

TEST_F(ModelsTest, exportsTakeTheWholeTranscriptAndAKeyIsTrimmed)
{
    AppBridge app(model);
    TranscriptModel transcript(model);
    transcript.setFilter("listen");
    log(Direction::listen, "one");
    log(Direction::speak, "two");
    EXPECT_TRUE(app.transcriptAs("txt").contains("two"));
    EXPECT_EQ(app.transcriptAs("srt"), "") << "no session has begun";
    model.startedAt = world.main.date();
    EXPECT_TRUE(app.transcriptAs("srt").contains("two"));

    std::vector<std::string> adopted;
    model.commands.adoptKey = [&] { adopted.push_back(world.defaults.string("k.soniox").value_or("none")); };
    app.setOwnKey(" secret");
    EXPECT_EQ(world.defaults.string("k.soniox"), "secret") << "a quit may be next";
    app.setOwnKey(" secrets \n");
    app.adoptOwnKey();
    app.adoptOwnKey();
    app.setOwnKey("");
    app.adoptOwnKey();
    EXPECT_EQ(adopted, (std::vector<std::string>{"secrets", ""})) << "whole ones, and only news";
}

TEST_F(ModelsTest, aLaneFlowsWhileSomethingIsHeardAtItsEnds)
{
    LaneModel lane(model, Direction::speak);
    QSignalSpy const changes(&lane, &LaneModel::stateChanged);
    EXPECT_FALSE(lane.shown()) << "the mode only listens";
    model.settings.update([](AppSettings& now) { now.mode = AppSettings::Mode::both; });
    EXPECT_TRUE(lane.shown());
    EXPECT_EQ(lane.languages(), "Vietnamese → English");
    model.settings.update([](AppSettings& now) { now.forceTwoWay = true; });
    EXPECT_EQ(lane.languages(), "Vietnamese ⇄ English");

    model.micLevel = 0.5;
    EXPECT_EQ(lane.inLevel(), 0) << "what was heard last does not stand";
    EXPECT_FALSE(lane.flowing());
    model.running = true;
    EXPECT_TRUE(lane.inAwake() && lane.flowing());
    model.micLevel = 0.03;
    EXPECT_FALSE(lane.flowing());
    model.running = false;
    model.speakOutLevel = 0.5; // a typed line needs no session
    EXPECT_TRUE(lane.outAwake() && lane.flowing() && !lane.inAwake());
    auto const told = changes.size();
    model.speakOutLevel = 0.6;
    EXPECT_EQ(changes.size(), told);
}

TEST_F(ModelsTest, whatCouldNotBeSpokenComesBackBeforeWhatWasWrittenSince)
{
    AppBridge app(model);
    std::vector<std::string> said;
    std::function<void(std::string const&)> done;
    model.commands.typeToSpeak = [&](std::string const& text, auto end) {
        said.push_back(text);
        done = std::move(end);
    };
    app.setDraft(" \n");
    EXPECT_FALSE(app.mayBeSaid());
    app.say();
    app.setDraft("One. Two.");
    EXPECT_TRUE(app.mayBeSaid());
    app.say();
    EXPECT_EQ(said, (std::vector<std::string>{"One. Two."}));
    EXPECT_EQ(app.draft(), "");
    app.setDraft("Three.");
    model.typing = true;
    EXPECT_FALSE(app.mayBeSaid());
    done("Two.");
    EXPECT_EQ(app.draft(), "Two. Three.");
    app.say();
    done("");
    EXPECT_EQ(app.draft(), "");
}

TEST_F(ModelsTest, aPressIsAnsweredBeforeTheQuestionThatItRaises)
{
    AppBridge app(model);
    int starts = 0;
    model.commands.start = [&] {
        ++starts;
        app.toggleRun(); // again, while a question stands
        QCoreApplication::processEvents();
    };
    app.toggleRun();
    EXPECT_EQ(starts, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(starts, 1);
    app.toggleRun();
    QCoreApplication::processEvents();
    EXPECT_EQ(starts, 2);
}

TEST_F(ModelsTest, serviceTimeShowsWhileAHostedSessionIsOn)
{
    AppBridge app(model);
    EXPECT_EQ(app.balance(), "") << "also before there is a backend";
    app.setHosted(world.hosted);
    EXPECT_EQ(app.balance(), "");

    // One is opened for a single line, too, while nothing runs.
    QStringList shown;
    QObject::connect(&app, &AppBridge::balanceChanged, &app, [&] { shown << app.balance(); });
    std::int64_t left = 3600;
    world.answerBackend([&](auto const&) { return World::session(std::exchange(left, left - 60)); });
    world.startHosted();
    world.time.advance(seconds(61.0));
    world.hosted.end();
    world.time.advance(seconds(1.0));
    EXPECT_EQ(shown, (QStringList{"1 h left", "59 min left", ""}));
    EXPECT_EQ(app.languageCount(), "61");
    app.setLocalService(true);
    world.startHosted();
    world.time.advance(seconds(1.0));
    EXPECT_EQ(app.balance() + app.languageCount(), "") << "neither is the local service's";
    world.hosted.end();
    world.time.advance(seconds(1.0));
    world.language.setModelLanguage("vi");
    EXPECT_EQ(HostedSession::format(3660), "1 giờ 1 phút");
    world.language.setModelLanguage("en");

    model.status = "Connecting…";
    EXPECT_EQ(app.statusText(), "Connecting…");
    model.status = "";
    model.running = true;
    EXPECT_EQ(app.statusText(), "Running");
}

} // namespace

} // namespace lingrelay
