// lingrelay-bench-server: a speech provider on loopback, for any number of clients at once. Its recogniser listens to
// nothing and talks all the time, eight messages a second; its voice makes 50 ms of sound of each character, five times
// as fast as it is played. Prints JSON lines: the addresses of both, each clause, and of each recognition its beginning
// and, once it has ended, what was sent and came when, in nanoseconds of the monotonic clock.
//
// A message is recognised wherever it goes: "#N" ends its previews, and "N" stands before the last mark of a
// translation.

#include "base/Base64.h"
#include "base/Json.h"
#include "base/Text.h"
#include "bench/Conversation.h"
#include "bench/Loopback.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>

using namespace lingrelay;
using namespace lingrelay::bench;

namespace {

constexpr std::size_t blockBytes = 4800; ///< a tenth of a second at 24 kHz
constexpr auto blockInterval = std::chrono::milliseconds(20);
constexpr std::size_t charactersPerBlock = 2;

std::int64_t monotonicNow() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

void report(Json const& line)
{
    static std::mutex mutex;
    std::lock_guard const lock(mutex);
    std::printf("%s\n", jsonText(line).c_str());
    std::fflush(stdout);
}

Json preview(std::string text, char const* status)
{
    return {{"text", std::move(text)}, {"is_final", false}, {"translation_status", status}};
}

std::string numbered(std::string const& text, int number)
{
    auto message = *parseJson(text);
    auto& tokens = message["tokens"];
    for (auto& token : tokens) {
        if (token.value("translation_status", "") != "translation")
            continue;
        auto& words = token["text"].get_ref<std::string&>();
        if (!token["is_final"].get<bool>() || std::string_view(".!?").find(words.back()) == std::string_view::npos)
            continue;
        words.insert(words.size() - 1, " " + std::to_string(number));
    }
    auto const mark = " #" + std::to_string(number);
    // In both: of what the user says only the translation becomes a caption.
    tokens.push_back(preview(mark, "original"));
    tokens.push_back(preview(mark, "translation"));
    return jsonText(message);
}

void recognise(Peer& peer)
{
    readMessage(peer); // the configuration
    report({{"kind", "open"}});
    static std::atomic<int> last = 0;
    auto sent = Json::array();
    auto blocks = Json::array();
    {
        std::jthread const talk([&](std::stop_token stop) {
            Conversation conversation;
            auto next = std::chrono::steady_clock::now();
            while (!stop.stop_requested()) {
                int const number = ++last;
                auto const message = numbered(conversation.next(), number);
                Json const stamp{number, monotonicNow()};
                if (!writeText(peer, message))
                    return;
                sent.push_back(stamp);
                std::this_thread::sleep_until(next += std::chrono::milliseconds(125));
            }
        });
        while (!readMessage(peer).empty())
            blocks.push_back(monotonicNow());
    }
    writeText(peer, R"({"tokens":[],"finished":true})");
    report({{"kind", "stream"}, {"sent", sent}, {"blocks", blocks}});
}

void speak(Peer& peer)
{
    static auto const frame = jsonText({{"audio", encodeBase64(std::string(blockBytes, '\x11'))}});
    readMessage(peer); // the configuration
    auto const asked = parseJson(readMessage(peer));
    if (!asked)
        return; // kept warm for nothing
    auto const came = monotonicNow();
    auto const text = jsonString(*asked, "text").value_or("");
    report({{"kind", "clause"}, {"text", text}, {"came", came}});
    auto next = std::chrono::steady_clock::now();
    for (auto blocks = characterCount(text) / charactersPerBlock + 1; blocks > 0; --blocks) {
        std::this_thread::sleep_until(next += blockInterval);
        if (!writeText(peer, frame))
            return;
    }
    writeText(peer, R"({"audio_end":true})");
    readMessage(peer); // its close
}

void serve(Loopback& loopback, void (*talkTo)(Peer&))
{
    for (;;) {
        std::thread([talkTo, peer = loopback.accept()] {
            talkTo(*peer);
            boost::beast::error_code ignored;
            peer->close(boost::beast::websocket::close_code::normal, ignored);
        }).detach();
    }
}

} // namespace

int main()
{
    Loopback recogniser;
    Loopback voice;
    report({{"kind", "ready"}, {"stt", recogniser.url()}, {"tts", voice.url()}});
    std::thread speaking([&voice] { serve(voice, speak); });
    serve(recogniser, recognise);
}
