#include "base/Registry.h"
#include "config/AppSettings.h"
#include "config/Hosts.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "config/Languages.h"
#include "platform/linux/FileDefaults.h"
#include "platform/sim/SimDefaults.h"

#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lingrelay {

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

TEST_F(ConfigTest, theCatalogueBeginsWithDetectionAndNamesEachCodeOnce)
{
    auto const languages = Catalog::languages();
    ASSERT_EQ(languages.size(), 61U);
    EXPECT_EQ(languages[0].code, "auto");
    EXPECT_EQ(languages[1].code, "en");
    EXPECT_EQ(languages[60].code, "cy");
    std::set<std::string> codes;
    for (auto const& language : languages)
        codes.insert(language.code);
    EXPECT_EQ(codes.size(), languages.size());
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

TEST(FileDefaultsTest, isPrivateAtomicAndSetsDamageAside)
{
    namespace fs = std::filesystem;
    auto const folder = fs::temp_directory_path() / ("lingrelay-defaults-" + std::to_string(::getpid()));
    auto const path = folder / "store" / "defaults.json";
    {
        FileDefaults store(path);
        store.set("k.soniox", "secret");
        store.set("gone", 1);
        store.set("gone", nullptr);
    }
    struct stat info { };
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    ASSERT_EQ(::stat(path.parent_path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700U);
    EXPECT_EQ(FileDefaults(path).string("k.soniox"), "secret");
    EXPECT_FALSE(FileDefaults(path).value("gone"));

    std::ofstream(path) << "{\"k.soniox\": \"sec";
    FileDefaults damaged(path);
    EXPECT_FALSE(damaged.value("k.soniox"));
    EXPECT_TRUE(fs::exists(path.string() + ".damaged"));
    damaged.set("tts", false);
    EXPECT_FALSE(FileDefaults(path).boolean("tts"));
    fs::remove_all(folder);
}

} // namespace

} // namespace lingrelay
