#include "base/Uuid.h"
#include "config/L10n.h"
#include "tests/support/Desk.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace lingrelay {

namespace {

using Kind = AppModel::StatusKind;
using Mode = AppSettings::Mode;
using Texts = std::vector<std::string>;

class AppDelegateTest : public testing::Test, protected Desk {
protected:
    void launch(Change const& change = [](auto&) {})
    {
        set(change);
        Desk::launch();
    }
    void TearDown() override { end(); }
    /// Without a key of the user's own.
    template <class... Answer> void hosted(Answer... answer)
    {
        world.defaults.set("k.soniox", "");
        world.answerBackend(answer...);
    }
    void addVirtualDevice()
    {
        devices.inputList.push_back({3, "Lingrelay Microphone"});
        devices.outputList.push_back({3, "Lingrelay"});
    }
    std::ptrdiff_t files() const
    {
        std::error_code none;
        std::filesystem::directory_iterator const list(store.folder(), none);
        return std::count_if(std::filesystem::begin(list), std::filesystem::end(list),
            [](auto const& file) { return file.path().extension() == ".json"; });
    }
    /// Journals that are left.
    bool journals() const { return !std::filesystem::is_empty(Journal::folder(store)); }
};

TEST_F(AppDelegateTest, aListenSessionRunsFromStartToArchive)
{
    std::vector<std::string> archived;
    launch();
    app->keeping().onArchived
        = [&](auto const&, Result<std::filesystem::path> const& file) { archived.push_back(file->string()); };
    start();
    EXPECT_TRUE(*model->running);
    EXPECT_EQ(*model->statusKind, Kind::live);
    EXPECT_EQ(*model->status, "● ready");
    EXPECT_EQ(trace, (Texts{"capture start", "muter start"}));
    EXPECT_TRUE(overlay.shown);
    capture.hear(std::string(3200, '\x40'));
    wait(0.1);
    EXPECT_GT(*model->systemLevel, 0);
    EXPECT_EQ(recogniser()->count(SimPeer::Kind::binary), 1U);
    say("Hello.", "Hola.");
    world.time.setDate(world.time.date() - std::chrono::hours(1)); // a clock that was set right
    wait(65.9);
    ASSERT_EQ(model->transcript->size(), 1U);
    EXPECT_EQ(*model->listenOriginal, "Hello.");
    EXPECT_EQ(*model->listenTranslated, "Hola.");
    EXPECT_EQ(model->elapsedString(), "00:01:05");
    EXPECT_EQ(voice.texts, Texts{"Hola."});
    trace.clear();
    stop();
    EXPECT_EQ(trace, (Texts{"capture stop", "muter stop"}));
    EXPECT_FALSE(*model->running);
    EXPECT_FALSE(*model->startedAt);
    EXPECT_EQ(*model->statusKind, Kind::idle);
    ASSERT_EQ(archived.size(), 1U);
    auto const kept = SessionStore::read(archived[0]);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->lines[0].translation, "Hola.");
    EXPECT_EQ(kept->mode, "listen");
    EXPECT_EQ(model->transcript->size(), 1U) << "the transcript runs on";
    EXPECT_EQ(*model->listenTranslated, "Hola.");
    start();
    say("Bye.", "Adiós.");
    stop();
    EXPECT_EQ(SessionStore::read(archived.back())->lines.size(), 2U) << "the next session holds the earlier lines too";
}

TEST_F(AppDelegateTest, aSessionThatCannotBeWrittenStaysInItsJournal)
{
    std::vector<bool> kept;
    launch();
    app->keeping().onArchived = [&](auto const&, auto const& file) { kept.push_back(static_cast<bool>(file)); };
    start();
    say("Gone.", "Ido.");
    model->transcript = std::vector<AppModel::Line>(); // the user empties the list
    say("Hello.", "Hola.");
    auto const away = store.folder().string() + " away";
    std::filesystem::create_directory(away);
    std::filesystem::rename(store.folder() / "Journal", away + "/Journal");
    std::filesystem::remove_all(store.folder());
    writeFile(store.folder(), "no folder");
    stop();
    EXPECT_EQ(kept, std::vector{false});
    end();
    std::filesystem::remove(store.folder());
    std::filesystem::rename(away, store.folder());
    auto const recovered = Journal::recover(store);
    ASSERT_EQ(recovered.size(), 1U);
    auto const session = SessionStore::read(recovered[0]);
    ASSERT_TRUE(session);
    ASSERT_EQ(session->lines.size(), 1U);
    EXPECT_EQ(session->lines[0].source, "Hello.");
    EXPECT_FALSE(journals());
}

TEST_F(AppDelegateTest, twoQuickStartsMakeOneHostedSession)
{
    hosted();
    world.backendDelay = 1;
    launch();
    model->commands.start();
    model->commands.start();
    wait(0.1);
    EXPECT_EQ(*model->statusKind, Kind::connecting);
    model->commands.stop(); // too early to do anything
    wait(2);
    EXPECT_TRUE(*model->running);
    EXPECT_EQ(calls, Texts{"start"});
    EXPECT_EQ(recognisers.size(), 1U);
    stop();
    wait(1);
    model->commands.start();
    wait(0.1);
    app->quitNow();
    wait(2);
    EXPECT_FALSE(*model->running) << "who quits meanwhile begins none";
    EXPECT_EQ(calls, (Texts{"start", "end", "start", "end"}));
}

TEST_F(AppDelegateTest, whoQuitsWhileASessionIsOpenedBeginsNoneAndGivesItBack)
{
    hosted();
    world.backendDelay = 1;
    launch();
    model->commands.start();
    wait(0.1);
    app->quitNow();
    app->shutdown();
    EXPECT_FALSE(app->idle());
    wait(1.5);
    EXPECT_FALSE(*model->running);
    EXPECT_EQ(calls, (Texts{"start", "end"}));
    wait(1);
    EXPECT_TRUE(app->idle());
}

TEST_F(AppDelegateTest, aRefusedStartLeavesEverythingStopped)
{
    struct Case {
        std::string answer;
        std::string message;
    };
    std::string answer;
    hosted([&](auto const&) { return HttpResponse{200, {}, answer}; });
    std::vector<std::string> refusals;
    launch([](auto& settings) { settings.mode = Mode::speak; });
    driver.present = shell.answer = false;
    app->onRefused = [&](auto const& failure) { refusals.push_back(failure.message); };
    for (auto const& [body, message] :
        {Case{R"({"error":"No.","code":"banned"})", "No."},
            Case{R"({"error":"Full.","code":"at_capacity"})", "All translation slots are busy. Try again in a moment."},
            Case{"<html>busy</html>", "Could not start a session."}}) {
        answer = body;
        shell.whileAsked = [this] { // for the virtual microphone: once more, by another way
            shell.whileAsked = {};
            model->commands.start();
        };
        start();
        EXPECT_EQ(*model->status, message);
        EXPECT_EQ(*model->statusKind, Kind::warning);
        EXPECT_EQ(overlay.statuses.back(), "⚠ " + message);
        EXPECT_EQ(std::exchange(refusals, {}), Texts{message}) << "told once";
    }
    EXPECT_FALSE(*model->running);
    EXPECT_EQ(std::count(trace.begin(), trace.end(), "ask"), std::ssize(trace));
    EXPECT_TRUE(world.network.peers().empty());
}

TEST_F(AppDelegateTest, serviceTimeThatRunsOutEndsTheSessionLikeAStop)
{
    hosted([](std::string const& path) {
        return path == "tick" ? HttpResponse{200, {}, R"({"remaining_seconds":0,"stop":true})"} : World::session(600);
    });
    bool exhausted = false;
    launch();
    app->onExhausted = [&](auto const&) { exhausted = true; };
    start();
    say("Hello.", "Hola.", 61);
    EXPECT_TRUE(exhausted);
    EXPECT_FALSE(*model->running);
    EXPECT_EQ(*model->status, "Your service time has run out.");
    EXPECT_EQ(*model->statusKind, Kind::warning);
    EXPECT_EQ(files(), 1);
    EXPECT_FALSE(journals());
    EXPECT_EQ(calls, (Texts{"start", "tick"})) << "the server knows that it is over";

    writeFile(store.folder() / "Journal", "in the way");
    std::filesystem::remove_all(store.folder());
    writeFile(store.folder(), "no folder");
    start();
    wait(61);
    EXPECT_EQ(*model->status, "Your service time has run out.");
    EXPECT_TRUE(model->banner->starts_with("Not saved: ")) << "that stands beside it";
}

TEST_F(AppDelegateTest, aLineThatAStreamHadFinishedBeforeTheStopIsKept)
{
    Texts files;
    launch();
    app->keeping().onArchived = [&](auto const&, Result<std::filesystem::path> const& file) {
        if (file)
            files.push_back(file->string());
    };
    for (bool const first : {false, true}) {
        start();
        if (first)
            say("Hello.", "Hola.");
        app->listenEngine().onLine("Wait!", "¡Espera!", "");
        stop();
        EXPECT_EQ(SessionStore::read(files.back())->lines.size(), first ? 3U : 1U);
        EXPECT_FALSE(journals());
    }
    EXPECT_EQ(files.at(1), files.at(2)) << "one session, written again";
    std::filesystem::create_directory(files.back() + ".new"); // in the way of writing it once more
    app->listenEngine().onLine("Late.", "Tarde.", "");
    wait(0.1);
    EXPECT_EQ(SessionStore::read(files.at(2))->lines.size(), 3U) << "what is archived outlives a write that fails";
}

TEST_F(AppDelegateTest, hearingNeedsPermissionAndSpeakingDoesNot)
{
    workspace.mayHear = false;
    launch([](auto& settings) { settings.mode = Mode::both; });
    start();
    EXPECT_FALSE(*model->running);
    EXPECT_TRUE(*model->needsPermissions);
    EXPECT_EQ(*model->statusKind, Kind::warning);
    change([](auto& settings) { settings.mode = Mode::speak; });
    start();
    EXPECT_TRUE(*model->running);
}

TEST_F(AppDelegateTest, theDefaultInputIsSwitchedForTheCallAndGivenBack)
{
    addVirtualDevice();
    struct Case {
        std::optional<std::uint32_t> before, after;
        char const* mic;
    };
    launch([](auto& settings) {
        settings.mode = Mode::speak;
        settings.autoRouteMic = true;
    });
    for (auto const& [before, after, mic] : {Case{11, 11, "mic device 11"}, Case{3, 10, "mic device 10"}}) {
        devices.input = before;
        devices.builtIn = 10;
        trace.clear();
        start();
        EXPECT_EQ(devices.input, 3U);
        EXPECT_EQ(trace, (Texts{mic, "mic start"}));
        model->commands.pickMic(12);
        model->commands.pickMic({});
        EXPECT_EQ(trace.back(), mic) << "not the virtual microphone, which is the default now";
        stop();
        EXPECT_EQ(devices.input, after);
    }
    devices.input = {}; // unreadable: nothing better is known than the virtual device
    start();
    stop();
    EXPECT_EQ(devices.input, 3U);
}

TEST_F(AppDelegateTest, quittingGivesTheInputBackBeforeAnythingCanHang)
{
    addVirtualDevice();
    launch([](auto& settings) {
        settings.mode = Mode::speak;
        settings.autoRouteMic = true;
    });
    start();
    app->quitNow();
    EXPECT_EQ(devices.input, 10U);
    wait(0.5);
    EXPECT_EQ(trace.back(), "terminate");
    EXPECT_FALSE(shell.exited);
    wait(0.6);
    EXPECT_TRUE(shell.exited);
    EXPECT_EQ(files(), 0) << "nothing was said";
    EXPECT_FALSE(journals());
}

TEST_F(AppDelegateTest, whoQuitsWhileAQuestionIsOpenStartsNothing)
{
    launch([](auto& settings) { settings.mode = Mode::speak; });
    driver.present = shell.answer = false;
    shell.whileAsked = [this] { app->quitNow(); };
    start();
    EXPECT_NE(std::find(trace.begin(), trace.end(), "ask"), trace.end());
    EXPECT_FALSE(app->running());
}

TEST_F(AppDelegateTest, theMicrophoneIsNeverOneOfOurOwn)
{
    launch([](auto& settings) { settings.mode = Mode::speak; });
    auto const chosen = [this] {
        start();
        stop();
        return mic.device;
    };
    devices.builtIn = {};
    devices.inputList = {{3, "Lingrelay Microphone"}, {4, "My Aggregate"}, {5, "CADefaultDevice"}, {6, "Webcam"}};
    for (auto const input : {3U, 4U, 5U, 99U}) {
        devices.input = input;
        EXPECT_EQ(chosen(), 6U);
    }
    devices.inputList.pop_back();
    EXPECT_EQ(chosen(), std::nullopt) << "nothing real: the speak direction starts all the same";
    devices.inputList.push_back({6, "Webcam"});
    devices.inputList.push_back({7, "USB"});
    model->commands.pickMic(7);
    EXPECT_EQ(chosen(), 7U);
    model->commands.pickMic(3);
    EXPECT_EQ(chosen(), 6U) << "a pick that is not real is no pick";
}

TEST_F(AppDelegateTest, speechGoesWhereThePresetSays)
{
    addVirtualDevice();
    struct Case {
        char const* preset;
        bool twoWay;
        std::optional<std::uint32_t> device;
    };
    launch();
    for (auto const& [preset, twoWay, device] : {Case{"", false, 3}, Case{"nonsense", false, 3},
             Case{"videoCall", false, 3}, Case{"watchVideo", false, {}}, Case{"videoCall", true, {}}}) {
        change([&, preset = preset, twoWay = twoWay](auto& settings) {
            settings.mode = Mode::speak;
            settings.preset = preset;
            settings.forceTwoWay = twoWay;
        });
        start();
        EXPECT_EQ(app->speakEngine().player().device(), device) << preset;
        stop();
    }
}

TEST_F(AppDelegateTest, aPresetRestartsTheDirectionsAndNotTheSession)
{
    launch([](auto& settings) { settings.mode = Mode::both; });
    start();
    auto const startedAt = *model->startedAt;
    wait(5);
    trace.clear();
    model->commands.applyPreset(Preset::inPerson);
    wait(0.2);
    EXPECT_EQ(trace, (Texts{"capture stop", "mic stop", "mic device 10", "mic start", "muter stop"}));
    EXPECT_EQ(*model->startedAt, startedAt);
    EXPECT_EQ(AppSettings::load().preset, "inPerson");
    EXPECT_TRUE(model->settings->echoGuard);
    recogniser()->sendText(R"({"tokens":[{"text":"Two people.","is_final":true}]})");
    wait(0.1);
    EXPECT_EQ(*model->listenOriginal, "Two people.") << "two people at one microphone: both are captioned";
    model->commands.applyPreset(Preset::textChat);
    EXPECT_FALSE(model->settings->muteOriginal) << "left as it was";
    stop();
    trace.clear();
    model->commands.applyPreset(Preset::videoCall);
    EXPECT_TRUE(trace.empty()) << "idle: nothing starts";
    EXPECT_NE(overlay.statuses.back().find("pick “Lingrelay”"), std::string::npos);
}

TEST_F(AppDelegateTest, whatTheOtherSideSaidIsNotTheUsersWhenTheMicrophoneHearsIt)
{
    launch([](auto& settings) { settings.mode = Mode::both; });
    start();
    auto const hear = [this](std::size_t direction, char const* source, char const* translation) {
        recognisers.at(direction).lock()->sendText(clause(source, translation));
        wait(0.5);
    };
    hear(0, "We should meet on Thursday afternoon.", "Veámonos.");
    hear(1, "should meet on Thursday afternoon.", "Leak.");
    hear(1, "That suits me well.", "Me viene bien.");
    ASSERT_EQ(model->transcript->size(), 2U);
    EXPECT_EQ(model->transcript->back().source, "That suits me well.");
}

TEST_F(AppDelegateTest, settingsOfARunningSessionApplyWithoutAReconnect)
{
    launch();
    start();
    change([](auto& settings) {
        settings.voiceName = "Emma";
        settings.showOverlay = false;
        settings.menuBarIcon = false;
        settings.uiLang = "vi";
    });
    EXPECT_EQ(app->listenEngine().settings()->voiceName, "Emma");
    EXPECT_EQ(app->listenEngine().settings()->sampleRate, 16000);
    EXPECT_EQ(recognisers.size(), 1U);
    EXPECT_FALSE(overlay.shown);
    EXPECT_FALSE(shell.statusItem);
    EXPECT_EQ(L10n::t("ready"), "● sẵn sàng");
}

TEST_F(AppDelegateTest, faultsOfSourcesAreShownAndEndNothing)
{
    launch([](auto& settings) { settings.mode = Mode::both; });
    soundMuter.failure = SoundMuter::Failure{SoundMuter::Step::device, 5};
    start();
    EXPECT_EQ(std::count_if(overlay.statuses.begin(), overlay.statuses.end(),
                  [](auto const& text) { return text.starts_with("⚠ "); }),
        1)
        << "what cannot be muted";
    capture.onError("No sound.");
    mic.onError("gone");
    wait(0.1);
    EXPECT_EQ(*model->status, "No sound.");
    EXPECT_EQ(*model->statusKind, Kind::warning);
    EXPECT_EQ(
        (Texts{overlay.statuses.end() - 2, overlay.statuses.end()}), (Texts{"⚠ No sound.", "⚠ Microphone: gone"}));
    EXPECT_TRUE(*model->running);
    mic.onRecovered();
    wait(0.1);
    EXPECT_EQ(*model->status, "No sound.") << "that lasts";
    EXPECT_EQ(overlay.statuses.back(), "No sound.");
    capture.onRecovered();
    wait(0.1);
    EXPECT_EQ(*model->status, "● ready");
    EXPECT_EQ(*model->statusKind, Kind::live);
    EXPECT_EQ(overlay.statuses.back(), "● ready");
    mic.onError("gone");
    capture.onError("No sound.");
    app->listenEngine().onStatus(Engine::Status::ready, {});
    wait(0.1);
    EXPECT_EQ(*model->status, "● ready");
    EXPECT_EQ(*model->banner, "No sound.") << "what the streams say hides no trouble that stands";
    capture.onRecovered();
    wait(0.1);
    EXPECT_EQ(*model->banner, "Microphone: gone");
    model->commands.applyPreset(Preset::inPerson);
    wait(0.1);
    EXPECT_EQ(*model->banner, "") << "the microphone has started anew";
    mic.onError("gone");
    wait(0.1);
    stop();
    mic.onRecovered();
    wait(0.1);
    EXPECT_EQ(*model->status, "") << "a session that has ended is not ready";
    EXPECT_EQ(*model->banner, "");
}

TEST_F(AppDelegateTest, whatCannotBeKeptIsToldAndKeptOnceItCanBe)
{
    launch();
    writeFile(store.folder(), "no folder");
    start();
    say("Hello.", "Hola.");
    EXPECT_TRUE(model->status->starts_with("Not saved: ")) << *model->status;
    EXPECT_EQ(*model->statusKind, Kind::warning);
    EXPECT_EQ(overlay.statuses.back(), "⚠ " + *model->status);
    stop();
    EXPECT_TRUE(model->status->starts_with("Not saved: ")) << *model->status;
    EXPECT_EQ(*model->statusKind, Kind::error);
    start();
    EXPECT_EQ(*model->status, "● ready");
    say("And you?", "¿Y tú?");
    EXPECT_TRUE(model->status->starts_with("Not saved: ")) << *model->status;
    recogniser()->drop();
    wait(0.01);
    EXPECT_EQ(*model->statusKind, Kind::connecting);
    wait(5);
    say("Are you there?", "¿Estás?");
    EXPECT_TRUE(model->banner->starts_with("Not saved: ")) << "a new connection saves nothing";
    capture.onError("No sound.");
    capture.onRecovered();
    wait(0.1);
    EXPECT_TRUE(model->banner->starts_with("Not saved: ")) << "nor does sound";
    std::filesystem::remove(store.folder());
    say("Bye.", "Adiós.");
    EXPECT_EQ(*model->status, "● ready");
    EXPECT_EQ(*model->banner, "");
    EXPECT_TRUE(journals());
    stop();
    EXPECT_EQ(*model->status, "");
    auto const& sessions = *store.sessions();
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions.front().lines.size(), 4U);
}

TEST_F(AppDelegateTest, aHostedSessionGoesOnAtAnotherProvider)
{
    hosted();
    launch();
    start();
    say("Hello.", "Hola.");
    app->providerReplaced();
    wait(1);
    EXPECT_EQ(calls, (Texts{"start", "start"}));
    EXPECT_EQ(recognisers.size(), 2U);
    say("Bye.", "Adiós.");
    EXPECT_EQ(model->transcript->size(), 2U);
    EXPECT_EQ(*model->status, "● ready");
    app->providerReplaced();
    stop();
    wait(1);
    EXPECT_EQ(calls.back(), "end") << "one that comes too late is given back";
    EXPECT_EQ(recognisers.size(), 2U);
    EXPECT_EQ(*model->status, "");
    auto const before = calls.size();
    app->providerReplaced();
    wait(1);
    EXPECT_EQ(calls.size(), before) << "nobody has asked for a session";
    EXPECT_EQ(files(), 1);
    start();
    calls.clear();
    app->providerReplaced();
    wait(0.01);
    model->commands.stop();
    model->commands.start(); // takes the session that is being opened
    wait(1);
    stop();
    wait(1);
    EXPECT_EQ(calls, (Texts{"start", "end"}));
}

TEST_F(AppDelegateTest, aHeldKeyOpensTheMicrophone)
{
    launch([](auto& settings) {
        settings.mode = Mode::speak;
        settings.pushToTalk = true;
    });
    start();
    EXPECT_TRUE(mic.muted);
    EXPECT_FALSE(*model->talking);
    key.press(true);
    EXPECT_FALSE(mic.muted);
    EXPECT_TRUE(*model->talking);
    stop();
    EXPECT_FALSE(key.watching);
    EXPECT_FALSE(mic.muted) << "not for the next session";
    key.present = false;
    start();
    EXPECT_FALSE(mic.muted) << "no key could open it";
    EXPECT_TRUE(*model->talking);
}

TEST_F(AppDelegateTest, anApplicationBringsItsProfile)
{
    ContextProfile profile;
    profile.id = newUuid();
    profile.name = "Standup";
    profile.topic = "sprint";
    ContextProfile::save({profile});
    launch([&](auto& settings) { settings.perAppProfiles = {{"meet", profile.id}}; });
    workspace.bringToFront("editor");
    EXPECT_FALSE(model->activeProfile());
    workspace.bringToFront("meet");
    workspace.bringToFront("editor");
    ASSERT_TRUE(model->activeProfile());
    start();
    EXPECT_NE(recogniser()->frames.at(0).data.find("sprint"), std::string::npos);
    say("One.", "Uno.");
    stop();
    EXPECT_EQ(store.sessions()->front().profileName, "Standup");
}

TEST_F(AppDelegateTest, theVirtualMicrophoneIsOfferedWhereItIsMissed)
{
    auto const asked = [this] {
        trace.clear();
        start();
        EXPECT_TRUE(*model->running) << "no answer and no failure stops anything";
        stop();
        return std::count(trace.begin(), trace.end(), "ask");
    };
    driver.present = shell.answer = false;
    launch();
    EXPECT_EQ(asked(), 0) << "nobody speaks";
    for (bool const together : {true, false}) {
        change([=](auto& settings) {
            settings.mode = Mode::speak;
            settings.forceTwoWay = together;
        });
        EXPECT_EQ(asked(), together ? 0 : 1) << "two people at one machine speak into no call";
    }
    driver.offered = false;
    EXPECT_EQ(asked(), 0);
    model->commands.installDriver();
    wait(0);
    EXPECT_EQ(overlay.statuses.back(), "⚠ Device install failed");
    driver.offered = driver.present = true;
    EXPECT_EQ(asked(), 0) << "it is installed, though its device is not there";
    driver.present = driver.works = shell.answer = false;
    EXPECT_EQ(asked(), 1);
    EXPECT_EQ(driver.installs, 0);
    shell.answer = true;
    EXPECT_EQ(asked(), 1);
    EXPECT_EQ(driver.installs, 1);
    EXPECT_EQ(std::count(overlay.statuses.begin(), overlay.statuses.end(), "⚠ Device install failed"), 2);
    EXPECT_EQ(asked(), 1) << "and again at the next start";
}

TEST_F(AppDelegateTest, theNewVirtualMicrophoneIsTakenOnceItHasAppeared)
{
    driver.present = false;
    launch([](auto& settings) {
        settings.mode = Mode::speak;
        settings.showOverlay = false;
    });
    start();
    auto const done = std::string("✓ Installed “Lingrelay” — pick it as the Microphone in Meet/Zalo");
    EXPECT_NE(std::find(overlay.statuses.begin(), overlay.statuses.end(), done), overlay.statuses.end());
    EXPECT_FALSE(overlay.shown) << "captions are not wanted";
    addVirtualDevice();
    auto const menus = shell.menus;
    wait(2.2); // 2.4 s after the installation
    EXPECT_FALSE(app->speakEngine().player().device());
    wait(0.2);
    EXPECT_EQ(app->speakEngine().player().device(), 3U);
    EXPECT_EQ(shell.menus, menus + 1);
    EXPECT_EQ(model->inputDevices->size(), 2U) << "the lists are refreshed by those who show them";
    model->commands.refreshDevices();
    EXPECT_TRUE(*model->virtualInstalled);
    EXPECT_EQ(*model->speakDeviceID, 3U);
}

TEST_F(AppDelegateTest, aPickThatHasVanishedIsNoPick)
{
    addVirtualDevice();
    launch();
    auto const menus = shell.menus;
    model->commands.pickMic(11);
    EXPECT_EQ(trace, Texts{"mic device 11"});
    EXPECT_EQ(*model->micDeviceID, 11U);
    devices.inputList.erase(devices.inputList.begin() + 1);
    model->commands.pickMic(11);
    EXPECT_EQ(trace.back(), "mic device default");
    EXPECT_FALSE(*model->micDeviceID);
    EXPECT_EQ(model->inputDevices->size(), 2U) << "a pick brings fresh lists";
    model->commands.pickSpeakOut(3);
    EXPECT_EQ(app->speakEngine().player().device(), 3U) << "the speak voice may go into the virtual microphone";
    model->commands.pickSpeakOut(99);
    EXPECT_FALSE(*model->speakDeviceID);
    EXPECT_FALSE(app->speakEngine().player().device());
    EXPECT_EQ(shell.menus, menus + 4);
    model->commands.pickListenOut(2);
    model->commands.pickListenOut(3);
    EXPECT_EQ(*model->listenOutDeviceID, 2U) << "the listen voice may not";
    model->commands.pickListenOut(99);
    EXPECT_FALSE(*model->listenOutDeviceID);
}

} // namespace

} // namespace lingrelay
