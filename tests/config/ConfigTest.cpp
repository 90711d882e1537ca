#include "base/Registry.h"
#include "config/AppSettings.h"
#include "config/Hosts.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "config/Languages.h"
#include "platform/linux/FileDefaults.h"
#include "platform/sim/SimDefaults.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lingrelay {

namespace fs = std::filesystem;

namespace {

class ConfigTest : public testing::Test {
protected:
    Registry m_registry;
    Defaults& m_store = m_registry.put<Defaults>(std::make_shared<SimDefaults>());
    UiLanguage& m_language = m_registry.put(std::make_shared<UiLanguage>());
};

TEST_F(ConfigTest, anEmptyStoreGivesTheDefaultRecord)
{
    auto const settings = AppSettings::load();
    EXPECT_EQ(settings, AppSettings());
    EXPECT_EQ(settings.sampleRate, 48000);
    EXPECT_EQ(settings.voiceSpeed, 1.15);
    EXPECT_TRUE(settings.tts && settings.polishTyped && !settings.echoGuard);
}

TEST_F(ConfigTest, storedFalseAndZeroSurviveTrueAndNonZeroDefaults)
{
    for (auto const* key : {"tts", "muteOriginal", "rollingContext", "showOverlay", "menuBarIcon", "endpointDetection",
             "autoDetectContext", "polishTyped"})
        m_store.set(key, false);
    m_store.set("autoDetectMinutes", 0);
    m_store.set("voiceSpeed", 0);
    auto const settings = AppSettings::load();
    EXPECT_FALSE(settings.tts || settings.muteOriginal || settings.rollingContext || settings.showOverlay
        || settings.menuBarIcon || settings.endpointDetection || settings.autoDetectContext || settings.polishTyped);
    EXPECT_EQ(settings.autoDetectMinutes, 0);
    EXPECT_EQ(settings.voiceSpeed, 0);
}

TEST_F(ConfigTest, everyFieldButTwoSurvivesSaveAndLoad)
{
    AppSettings changed;
    AppSettings::forEachField([&](char const*, auto member) {
        auto& field = changed.*member;
        using Field = std::decay_t<decltype(field)>;
        if constexpr (std::is_same_v<Field, bool>)
            field = !field;
        else if constexpr (std::is_arithmetic_v<Field>)
            field += 1;
        else if constexpr (std::is_same_v<Field, AppSettings::Mode>)
            field = AppSettings::Mode::both;
        else if constexpr (std::is_same_v<Field, std::string>)
            field += "x";
        else
            field["org.example.Calls"] = "AB";
    });
    changed.save();
    auto loaded = AppSettings::load();
    EXPECT_EQ(loaded.gender, "female");
    EXPECT_EQ(loaded.sampleRate, 48000);
    loaded.gender = changed.gender;
    loaded.sampleRate = changed.sampleRate;
    EXPECT_EQ(loaded, changed);
    EXPECT_FALSE(m_store.value("sampleRate") || m_store.value("gender"));
}

TEST_F(ConfigTest, oddStoredValuesAreCopedWith)
{
    m_store.set("mode", "Both");
    m_store.set("perAppProfiles", {{"a", "1"}, {"b", 2}});
    m_store.set("voiceSpeed", "1.25");
    m_store.set("voiceName", Json::array({1}));
    m_store.set("tts", "YES");
    m_store.set("latencyAdjustment", Json::object());
    auto const settings = AppSettings::load();
    EXPECT_EQ(settings.mode, AppSettings::Mode::listen);
    EXPECT_TRUE(settings.perAppProfiles.empty());
    EXPECT_EQ(settings.voiceSpeed, 1.25);
    EXPECT_EQ(settings.voiceName, "Daniel");
    EXPECT_TRUE(settings.tts);
    EXPECT_EQ(settings.latencyAdjustment, 0);
}

TEST_F(ConfigTest, twoWayNeedsForceOrBothDirections)
{
    AppSettings settings;
    settings.twoWayAuto = true;
    EXPECT_FALSE(settings.twoWay());
    settings.mode = AppSettings::Mode::both;
    EXPECT_TRUE(settings.twoWay());
    settings = {};
    settings.forceTwoWay = true;
    EXPECT_TRUE(settings.twoWay());
}

TEST_F(ConfigTest, aKeyOfBlanksIsNoKey)
{
    EXPECT_FALSE(Secrets::byokActive());
    m_store.set("k.soniox", " \n\t ");
    EXPECT_FALSE(Secrets::byokActive());
    m_store.set("k.soniox", " abc\n");
    EXPECT_EQ(Secrets::key(), "abc");
    m_store.set("k.soniox", 123456);
    EXPECT_FALSE(Secrets::byokActive()) << "of another type";
}

TEST_F(ConfigTest, onlyEnglishSelectsEnglish)
{
    EXPECT_EQ(T("yes", "vâng"), "yes");
    m_language.setModelLanguage("fr");
    EXPECT_EQ(T("yes", "vâng"), "vâng");
    EXPECT_EQ(L10n::t("ready"), "● ready") << "the applied language follows later";
    EXPECT_EQ(Catalog::name("vi"), "Vietnamese");
    m_language.setLang("fr");
    EXPECT_EQ(L10n::t("ready"), "● sẵn sàng");
    EXPECT_EQ(Catalog::name("vi"), "Tiếng Việt");
    EXPECT_EQ(L10n::t("no.such.key"), "no.such.key");
    EXPECT_EQ(Catalog::name("xx"), "XX");
}

TEST_F(ConfigTest, hostsTakeTheStoredOverrideAndTheProtocolsPath)
{
    EXPECT_TRUE(Hosts::load().stt.starts_with("wss://"));
    m_store.set("host.stt", "ws://127.0.0.1:7");
    auto hosts = Hosts::load();
    EXPECT_EQ(hosts.sttUrl(), "ws://127.0.0.1:7/transcribe-websocket");
    hosts.stt = "ws://127.0.0.1:7/other?x=1";
    EXPECT_EQ(hosts.sttUrl(), "ws://127.0.0.1:7/other?x=1");
}

class FileDefaultsTest : public testing::Test {
protected:
    std::string aside(std::string const& ending) const { return path.string() + ".damaged" + ending; }
    TemporaryFolder folder;
    fs::path path = folder / "store/defaults.json";
};

TEST_F(FileDefaultsTest, isPrivateAndTwoProgramsKeepEachOthersChanges)
{
    FileDefaults window(path);
    window.set("k.soniox", "secret");
    window.set("gone", 1);
    window.flush();
    struct stat info { };
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    ASSERT_EQ(::stat(path.parent_path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700U);
    {
        FileDefaults other(path);
        for (int i = 0; i < 20; ++i) {
            other.set("other" + std::to_string(i), i);
            window.set("window" + std::to_string(i), i);
        }
        other.set("gone", nullptr);
        other.set("k.soniox", "another");
    }
    window.set("tts", false);
    window.flush();
    FileDefaults const after(path);
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(after.value("other" + std::to_string(i)) && after.value("window" + std::to_string(i))) << i;
    EXPECT_EQ(after.string("k.soniox"), "another");
    EXPECT_TRUE(after.value("tts") && !after.value("gone"));
}

TEST_F(FileDefaultsTest, everyDamagedFileIsKeptAndWhatItLostIsRemembered)
{
    std::string const deep = "{\"a\": " + std::string(100'000, '[') + std::string(100'000, ']') + '}';
    for (auto const& [text, ending] : {std::pair(deep, ""), {"{\"k.soniox\": \"sec\", \"tts\" :}", ".2"}}) {
        writeFile(path, text);
        EXPECT_EQ(FileDefaults(path).setAside(), aside(ending));
        EXPECT_EQ(readFile(aside(ending)), text);
    }
    FileDefaults mended(path);
    EXPECT_FALSE(mended.setAside() || mended.value("k.soniox"));
    EXPECT_EQ(mended.lost(), (std::vector<std::string>{"k.soniox", "tts"}));
    mended.set("k.soniox", "");
    mended.flush();
    EXPECT_EQ(FileDefaults(path).lost(), std::vector<std::string>{"tts"});
}

} // namespace

} // namespace lingrelay
