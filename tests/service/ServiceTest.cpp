#include "base/Base64.h"
#include "base/Text.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/service/Client.h"
#include "tools/WordErrors.h"

#include <cmath>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

constexpr auto sttPath = "/transcribe-websocket";
constexpr auto ttsPath = "/tts-websocket";

std::string clip(std::string const& number)
{
    return readFile(LINGRELAY_SPEECH_CLIPS "/sense_and_sensibility_01_austen_64kb-" + number + ".wav").substr(44);
}

std::string silence(double duration) { return std::string(static_cast<std::size_t>(duration * 16000) * 2, '\0'); }

Json sttConfig(std::string const& key)
{
    return {{"api_key", key}, {"model", "stt-rt-v5"}, {"audio_format", "pcm_s16le"}, {"sample_rate", 16000},
        {"num_channels", 1}, {"translation", {{"type", "one_way"}, {"target_language", "es"}}},
        {"enable_endpoint_detection", true}, {"language_hints", {"en", "es"}}};
}

Json ttsConfig(std::string const& key, char const* voice = "Daniel", double speed = 1, char const* id = "A")
{
    return {{"api_key", key}, {"model", "tts-rt-v2"}, {"language", "es"}, {"voice", voice},
        {"audio_format", "pcm_s16le"}, {"sample_rate", 24000}, {"speed", speed}, {"stream_id", id}};
}

/// What a stream says, checked for the order of the protocol on the way.
struct Transcript {
    std::string original;
    std::string translation;
    int ends = 0;
    int guesses = 0; ///< messages with non-final tokens
    bool finished = false;
    std::int64_t lastMs = 0; ///< where the last final word ends

    void take(Json const& message)
    {
        bool guessing = false;
        for (auto const& token : message.value("tokens", Json::array())) {
            auto const text = token.at("text").get<std::string>();
            bool const final = token.at("is_final").get<bool>();
            EXPECT_FALSE(final && guessing) << "finals come first: " << message;
            guessing = guessing || !final;
            if (final && text == "<end>")
                ++ends;
            else if (final)
                takeFinal(token, text);
        }
        guesses += guessing;
        finished = message.value("finished", false);
        auto const total = message.at("total_audio_proc_ms").get<std::int64_t>();
        EXPECT_LE(message.at("final_audio_proc_ms").get<std::int64_t>(), total);
        EXPECT_GE(total, m_totalMs);
        m_totalMs = total;
    }

private:
    void takeFinal(Json const& token, std::string const& text)
    {
        bool const translated = token.at("translation_status") == "translation";
        (translated ? translation : original) += text;
        if (translated)
            return;
        auto const start = token.at("start_ms").get<std::int64_t>();
        EXPECT_GE(start, lastMs) << token;
        lastMs = token.at("end_ms").get<std::int64_t>();
        EXPECT_GE(lastMs, start);
    }

    std::int64_t m_totalMs = 0;
};

void sendSound(Client& client, std::string const& sound)
{
    for (std::size_t at = 0; at < sound.size(); at += 3200)
        client.binary(sound.substr(at, 3200));
}

Transcript transcribe(Client& client)
{
    Transcript transcript;
    while (auto const text = client.receive()) {
        auto const message = Json::parse(*text);
        EXPECT_FALSE(message.contains("error_code")) << message;
        transcript.take(message);
    }
    return transcript;
}

std::size_t wordErrors(std::string const& heard, std::string const& said)
{
    auto const found = compareWords({{"", wordsOf(said)}}, wordsOf(heard)).at(0);
    return found.errors();
}

struct Spoken {
    std::vector<std::int16_t> samples;
    std::vector<Json> others; ///< messages without audio

    double duration() const { return static_cast<double>(samples.size()) / 24000; }
    double level() const
    {
        double sum = 0;
        for (auto const sample : samples)
            sum += static_cast<double>(sample) * sample;
        return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(samples.size(), 1)));
    }
};

Spoken listen(Client& client)
{
    Spoken spoken;
    while (auto const text = client.receive()) {
        auto const message = Json::parse(*text);
        auto const bytes = decodeBase64(message.value("audio", "")).value_or("");
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
            spoken.samples.push_back(
                static_cast<std::int16_t>(static_cast<unsigned char>(bytes[i]) | bytes[i + 1] << 8));
        if (bytes.empty())
            spoken.others.push_back(message);
        if (message.value("terminated", false))
            break;
    }
    return spoken;
}

constexpr auto sentence = "Buenos días, este es un ejemplo de una frase un poco más larga.";

Spoken say(LocalService const& service, double speed, char const* voice = "Daniel")
{
    Client client(service, ttsPath, service.token);
    client.send(ttsConfig(service.token, voice, speed));
    client.send({{"text", sentence}, {"text_end", true}, {"stream_id", "A"}});
    return listen(client);
}

/// One service for all tests that do no harm to it.
struct Service : testing::Test {
    static void SetUpTestSuite() { shared = std::make_unique<LocalService>(); }
    static void TearDownTestSuite() { shared.reset(); }

    Client stt(std::string const& key) { return {*shared, sttPath, key}; }
    Client tts(std::string const& key) { return {*shared, ttsPath, key}; }

    static std::unique_ptr<LocalService> shared;
};

std::unique_ptr<LocalService> Service::shared;

TEST_F(Service, recognisesAndTranslatesSpeech)
{
    auto client = stt(shared->token);
    client.send(sttConfig(shared->token));
    auto other = stt(shared->token); // the other direction of a call
    other.send(sttConfig(shared->token));
    sendSound(other, clip("0930") + silence(0.5));
    other.text("");
    sendSound(client, clip("0880") + silence(0.8) + clip("0930") + silence(0.5));
    client.text("");
    auto const heard = transcribe(client);
    auto const heardOfTheOther = transcribe(other).original;
    EXPECT_LE(wordErrors(heardOfTheOther, "he might even have been made amiable himself"), 3U) << heardOfTheOther;
    EXPECT_EQ(client.closeCode(), 1000);
    EXPECT_TRUE(heard.finished);
    EXPECT_EQ(heard.ends, 2);
    EXPECT_GT(heard.guesses, 4);
    EXPECT_LE(
        wordErrors(heard.original, "he was not an ill disposed young man he might even have been made amiable himself"),
        5u)
        << heard.original;
    EXPECT_NE(heard.translation.find("joven"), std::string::npos) << heard.translation;
    EXPECT_NEAR(static_cast<double>(heard.lastMs), 7000, 700);
}

TEST_F(Service, finalizeAnswersInMidSentenceAndOtherRatesAreHeard)
{
    auto client = stt(shared->token);
    auto config = sttConfig(shared->token);
    config["sample_rate"] = 8000;
    config["enable_speaker_diarization"] = true;
    config.erase("translation");
    client.send(config);
    auto const wide = clip("0930");
    std::string narrow;
    for (std::size_t i = 0; i + 1 < wide.size(); i += 4)
        narrow += wide.substr(i, 2);
    sendSound(client, narrow);
    client.send({{"type", "keepalive"}});
    client.send({{"type", "finalize"}});
    std::string text;
    Json token;
    while (text.find("<fin>") == std::string::npos && client.open()) {
        auto const message = client.message();
        for (auto const& each : message.value("tokens", Json::array())) {
            token = each.value("is_final", false) && each.contains("speaker") ? each : token;
            text += each.value("is_final", false) ? each.at("text").get<std::string>() : "";
        }
    }
    EXPECT_LE(wordErrors(text, "he might even have been made amiable himself fin"), 4u) << text;
    EXPECT_EQ(token.value("speaker", ""), "1");
    EXPECT_EQ(token.value("translation_status", ""), "none");
}

TEST_F(Service, speaksWithTheSpeedAndTheVoiceThatWereAsked)
{
    auto const normal = say(*shared, 1);
    EXPECT_GT(normal.duration(), 2.5);
    EXPECT_LT(normal.duration(), 6);
    EXPECT_GT(normal.level(), 1000);
    ASSERT_EQ(normal.others.size(), 2u);
    EXPECT_EQ(normal.others[0], (Json{{"stream_id", "A"}, {"audio_end", true}}));
    EXPECT_NEAR(normal.duration() / say(*shared, 1.3).duration(), 1.3, 0.12);
    EXPECT_NEAR(normal.duration() / say(*shared, 0.7).duration(), 0.7, 0.12);
    EXPECT_NE(say(*shared, 1, "Maya").samples, normal.samples);
}

TEST_F(Service, textMayComeInPartsAndStreamsShareASocket)
{
    auto client = tts(shared->token);
    client.send(ttsConfig(shared->token, "Nobody", 1, "B"));
    auto refused = listen(client);
    ASSERT_EQ(refused.others.size(), 2u);
    EXPECT_NE(refused.others[0].value("error_message", "").find("Daniel"), std::string::npos);
    auto config = ttsConfig(shared->token, "Emma", 1, "B");
    config["language"] = "xx";
    client.send(config);
    refused = listen(client);
    EXPECT_NE(refused.others.at(0).value("error_message", "").find("speaks: af, "), std::string::npos);

    client.send(ttsConfig(shared->token)); // the socket is still good
    client.send({{"text", "Buenos días. Este "}, {"stream_id", "A"}});
    client.send({{"text", "es un ejemplo"}, {"stream_id", "A"}});
    client.send({{"text", "."}, {"text_end", true}, {"stream_id", "A"}});
    auto const spoken = listen(client);
    EXPECT_GT(spoken.duration(), 1);
    EXPECT_GT(spoken.level(), 1000);
    client.send(ttsConfig(shared->token, "Jack", 1, "C"));
    client.send({{"text", " \n"}, {"text_end", true}, {"stream_id", "C"}});
    EXPECT_EQ(listen(client).others.size(), 2u);
}

TEST_F(Service, wrongKeysAreToldAndClosed)
{
    auto const& token = shared->token;
    for (auto const& [bearer, key] :
        {std::pair<std::string, std::string>("", "x"), {"", ""}, {"x", token}, {token, "x"}}) {
        for (std::string const path : {sttPath, ttsPath}) {
            Client client(*shared, path, bearer);
            client.send(path == sttPath ? sttConfig(key) : ttsConfig(key));
            auto const message = client.message();
            EXPECT_EQ(message.value("error_code", 0), 401) << message;
            EXPECT_NE(message.value("error_message", "").find("Incorrect API key provided"), std::string::npos);
            EXPECT_EQ(message.contains("tokens"), path == sttPath);
            EXPECT_FALSE(client.receive());
            EXPECT_EQ(client.closeCode(), 1000);
        }
    }
}

TEST_F(Service, sessionsHandOutKeysThatWork)
{
    auto const [status, body]
        = post(*shared, "/base/v1/pro/session/start", jsonText({{"client_token", shared->token}}));
    EXPECT_EQ(status, 200);
    auto const session = Json::parse(body);
    auto client = tts(session.at("tts_key"));
    client.send(ttsConfig(session.at("tts_key")));
    client.send({{"text", "Hola."}, {"text_end", true}, {"stream_id", "A"}});
    EXPECT_GT(listen(client).duration(), 0.2);
    EXPECT_EQ(Json::parse(post(*shared, "/v1/pro/session/start", "{}").second).at("code"), "unauthorized");
    EXPECT_EQ(post(*shared, "/v1/pro/nothing", "{}").first, 404);
    EXPECT_EQ(post(*shared, "/v1/pro/session/tick", std::string(2 << 20, ' ')).first, 413);
}

TEST_F(Service, languagesItCannotDoAreNamed)
{
    auto client = stt(shared->token);
    auto config = sttConfig(shared->token);
    config["translation"]["target_language"] = "vi";
    client.send(config);
    auto const text = client.message().value("error_message", "");
    EXPECT_TRUE(text.starts_with("The local service recognises English only. It translates English to: ")) << text;
    EXPECT_NE(text.find("Spanish (es)"), std::string::npos);
}

TEST_F(Service, survivesGarbage)
{
    std::mt19937 random(7);
    auto const noise = [&](std::size_t size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        return bytes;
    };
    for (std::string const path : {sttPath, ttsPath}) {
        for (auto const& frame : {std::string(), std::string("{"), std::string("[]"), std::string("{\"api_key\": 1}"),
                 std::string(70000, '['), noise(100), jsonText({{"api_key", shared->token}, {"model", {}}}),
                 std::string((1 << 20) + 1, 'a')}) {
            Client text(*shared, path, shared->token);
            ASSERT_TRUE(text.open());
            text.text(frame);
            Client binary(*shared, path, shared->token);
            binary.binary(frame);
            EXPECT_FALSE(text.message(seconds(5)).contains("audio"));
        }
        Client later(*shared, path, shared->token);
        later.send(path == sttPath ? sttConfig(shared->token) : ttsConfig(shared->token));
        later.binary(noise(64000));
        later.text(noise(50));
    }
    for (auto const& bytes : {std::string("GET / HTTP/1.1\r\n\r\n"), noise(5000),
             std::string("POST /v1/pro/session/start HTTP/1.1\r\nContent-Length: 5\r\n\r\n[[[[["),
             "GET " + std::string(100000, 'a') + " HTTP/1.1\r\n\r\n",
             std::string("GET /tts-websocket HTTP/1.1\r\nUpgrade: websocket\r\nConnection: upgrade\r\n\r\n")})
        RawServer::send(shared->port, bytes);
    EXPECT_TRUE(shared->runs());
    EXPECT_GT(say(*shared, 1.3).duration(), 1);
}

TEST(ServiceProgram, endsAtOnceWithSignalsAndWithItsParent)
{
    for (int const number : {SIGTERM, SIGINT}) {
        LocalService const service;
        service.signal(number);
        EXPECT_EQ(service.wait(10), 0);
    }
    TestProcess const parent({"/bin/sh", "-c", "'" LINGRELAY_SERVICE "' & echo child $!; exec sleep 600"});
    ASSERT_TRUE(eventually([&] { return parent.output().find("listening") != std::string::npos; }));
    auto const said = parent.output();
    auto const service = std::stoi(said.substr(said.find("child ") + 6));
    parent.end(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        auto const state = readFile(fmt::format("/proc/{}/stat", service));
        return state.empty() || state.find(") Z") != std::string::npos;
    }));
}

TEST(ServiceProgram, saysWhatIsWrongInOneLine)
{
    LocalService const first;
    ASSERT_NE(first.port, 0) << first.line;
    LocalService const second({"--port", std::to_string(first.port)});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(second.errors(),
        fmt::format(
            "lingrelay-service: port {} is in use: choose another with --port, or leave it out for a free one\n",
            first.port));
    LocalService const wrong({"--script", "/no/such/file"});
    EXPECT_EQ(wrong.wait(), 2);
    EXPECT_EQ(wrong.line, "");
}

TEST(ServiceProgram, limitsHold)
{
    TemporaryFolder const folder;
    writeFile(folder / "script", R"({"limits": {"stt_streams": 1, "start_seconds": 1, "idle_seconds": 1,
        "tts_streams_a_connection": 1, "tts_audio_seconds": 0.5}})");
    LocalService const service({"--script", folder / "script"});
    auto const& token = service.token;
    Client silent(service, sttPath, "");
    EXPECT_EQ(silent.message().value("error_message", ""), "Start request timeout");
    Client idle(service, sttPath, "");
    idle.send(sttConfig(token));
    Client second(service, sttPath, "");
    second.send(sttConfig(token));
    EXPECT_EQ(second.message().value("error_code", 0), 429);
    EXPECT_EQ(idle.message().value("error_message", ""), "Timed out while waiting for the first audio chunk");

    Client tts(service, ttsPath, "");
    tts.send(ttsConfig(token));
    tts.send(ttsConfig(token, "Daniel", 1, "B"));
    EXPECT_NE(listen(tts).others.at(0).value("error_message", "").find("concurrent"), std::string::npos);
    tts.send({{"text", sentence}, {"text_end", true}, {"stream_id", "A"}});
    auto const cut = listen(tts);
    EXPECT_LT(cut.duration(), 0.8);
    EXPECT_EQ(cut.others.at(0).value("error_code", 0), 400);
}

} // namespace
} // namespace lingrelay::service
