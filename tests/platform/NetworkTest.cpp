// One contract, for the simulated network and for real connections to a loopback server, plain and encrypted.

#include "platform/sim/SimNetwork.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/platform/RealNetwork.h"
#include "tests/platform/SimServer.h"

#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lingrelay {

namespace {

using Answer = TestServer::Answer;
using Strings = std::vector<std::string>;

struct World {
    virtual ~World() = default;
    virtual Network& network() = 0;
    virtual Scheduler& scheduler() = 0;
    virtual TestServer& server() = 0;
    /// Runs what there is to run until `done`; false when `limit` passed first.
    virtual bool until(std::function<bool()> done, Duration limit = 20s) = 0;
    void pass(Duration time)
    {
        until([] { return false; }, time);
    }
};

struct SimWorld final : World {
    VirtualTime time{3};
    VirtualScheduler main{time};
    SimNetwork sim{time};
    SimServer simServer{sim};

    Network& network() override { return sim; }
    Scheduler& scheduler() override { return main; }
    TestServer& server() override { return simServer; }
    bool until(std::function<bool()> done, Duration limit) override { return time.advanceUntil(done, limit, 1ms); }
};

struct RealWorld : World {
    explicit RealWorld(std::optional<TestCertificate> certificate = {}, std::optional<TestCertificate> trusted = {})
        : loopback(std::move(certificate))
    {
        if (trusted)
            trust.emplace(*trusted);
        real.emplace();
    }

    std::optional<Environment> trust;
    LoopbackServer loopback;
    std::optional<RealNetwork> real; ///< which reads the environment

    Network& network() override { return *real->network; }
    Scheduler& scheduler() override { return real->loop; }
    TestServer& server() override { return loopback; }
    bool until(std::function<bool()> done, Duration limit = 20s) override { return real->until(done, limit); }
};

std::unique_ptr<World> sim() { return std::make_unique<SimWorld>(); }
std::unique_ptr<World> plain() { return std::make_unique<RealWorld>(); }
std::unique_ptr<World> encrypted()
{
    auto const certificate = TestCertificate::make("DNS:localhost,IP:127.0.0.1");
    return std::make_unique<RealWorld>(certificate, certificate);
}

/// A client that writes down what it is told.
struct Client {
    explicit Client(World& world, WebSocketRequest request)
        : socket(world.network().connect(std::move(request), world.scheduler()))
    {
    }

    void listen()
    {
        socket->receive([this](Result<WebSocket::Message> result) {
            told.push_back(result ? (result->binary ? "binary " : "text ") + result->data : "end");
            if (!result)
                end = result.error();
            else if (keepListening)
                listen();
        });
    }
    WebSocket::Sent sent(int number)
    {
        return [this, number](std::optional<Error> error) {
            told.push_back(fmt::format("{} {}", error ? "failed" : "sent", number));
            if (error)
                end = *error;
        };
    }
    std::size_t count(std::string const& beginning) const
    {
        return static_cast<std::size_t>(
            std::count_if(told.begin(), told.end(), [&](auto const& line) { return line.starts_with(beginning); }));
    }

    std::shared_ptr<WebSocket> socket;
    Strings told;
    std::optional<Error> end;
    bool keepListening = true;
};

WebSocketRequest requestTo(std::string url)
{
    WebSocketRequest request;
    request.url = std::move(url);
    return request;
}

struct OpenClient : Client {
    OpenClient(World& world, WebSocketRequest request) : Client(world, std::move(request))
    {
        EXPECT_TRUE(world.until([this] { return socket->state() == WebSocket::State::open; }));
    }
};

class SocketContract : public testing::TestWithParam<std::pair<char const*, std::unique_ptr<World> (*)()>> {
protected:
    std::unique_ptr<World> world = GetParam().second();
    TestServer& server = world->server();

    WebSocketRequest request(std::string const& target = "/speech") const
    {
        return requestTo(server.url("ws", target));
    }
    /// What the client's end is, once it has come.
    Error ended(Client const& client)
    {
        EXPECT_TRUE(world->until([&] { return client.end.has_value(); }));
        return client.end.value_or(Error());
    }
    bool frames(std::size_t count, std::size_t connection = 0)
    {
        return world->until([&] {
            auto const seen = server.seen();
            return connection < seen.size() && seen[connection].frames.size() >= count;
        });
    }
};

TEST_P(SocketContract, messagesKeepTheirOrderAlsoThoseSentWhileConnecting)
{
    server.answerWith(Answer::accept, 50ms);
    auto wanted = request("/speech?a=b");
    wanted.bearer = "key-1";
    Client client(*world, wanted);
    client.socket->sendText("hello", client.sent(1));
    client.socket->sendBinary("one", client.sent(2));
    client.socket->sendText("", {});
    EXPECT_EQ(client.socket->state(), WebSocket::State::connecting);
    EXPECT_EQ(client.socket->queuedBytes(), 3u);
    EXPECT_EQ(client.told, Strings());
    ASSERT_TRUE(world->until([&] { return client.socket->state() == WebSocket::State::open; }));
    client.socket->sendBinary("two", client.sent(3));
    ASSERT_TRUE(frames(4));
    EXPECT_EQ(server.seen()[0].frames, (Strings{"text hello", "binary one", "text ", "binary two"}));
    EXPECT_EQ(server.seen()[0].target, "/speech?a=b");
    EXPECT_EQ(server.seen()[0].authorization, "Bearer key-1");
    ASSERT_TRUE(world->until([&] { return client.told.size() == 3; }));
    EXPECT_EQ(client.told, (Strings{"sent 1", "sent 2", "sent 3"}));
    EXPECT_EQ(client.socket->queuedBytes(), 0u);

    // Messages wait until they are asked for, one at a time.
    for (int i = 0; i < 3; ++i)
        server.send(0, {i == 1, std::to_string(i)});
    world->pass(50ms);
    client.keepListening = false;
    client.told.clear();
    client.listen();
    EXPECT_EQ(client.told, Strings());
    world->pass(20ms);
    EXPECT_EQ(client.told, Strings{"text 0"});
    client.keepListening = true;
    client.listen();
    ASSERT_TRUE(world->until([&] { return client.told.size() == 3; }));
    EXPECT_EQ(client.told, (Strings{"text 0", "binary 1", "text 2"}));
}

/// Far more than is kept for a caller that does not ask: all arrives whole, whoever is slow.
TEST_P(SocketContract, manyAndBigMessagesWaitAndAreNotLost)
{
    Client client(*world, request());
    std::string big(3 << 20, 'a');
    for (std::size_t i = 0; i < big.size(); i += 7)
        big[i] = static_cast<char>('b' + i % 20);
    client.socket->sendBinary(big, client.sent(1));
    client.socket->sendText(big, client.sent(2));
    ASSERT_TRUE(frames(2));
    EXPECT_TRUE(server.seen()[0].frames == (Strings{"binary " + big, "text " + big}));
    for (int i = 0; i < 8; ++i)
        server.send(0, {false, fmt::format("{}{}", i, big)});
    world->pass(500ms);
    client.told.clear();
    client.listen();
    ASSERT_TRUE(world->until([&] { return client.told.size() == 8; }));
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(client.told[i] == fmt::format("text {}{}", i, big)) << i;
}

TEST_P(SocketContract, closeByTheServerIsToldOnceToTheReceiver)
{
    OpenClient client(*world, request());
    client.listen();
    server.send(0, {false, "last"});
    server.close(0, 4001);
    EXPECT_EQ(ended(client).kind, Error::Kind::networkConnectionLost);
    EXPECT_EQ(client.told, (Strings{"text last", "end"}));
    EXPECT_EQ(ended(client).code, 4001);
    EXPECT_EQ(client.socket->state(), WebSocket::State::closed);

    // Whatever is asked of it afterwards is answered with the same error.
    client.socket->sendText("late", client.sent(7));
    client.listen();
    client.socket->ping();
    client.socket->cancel(1001);
    ASSERT_TRUE(world->until([&] { return client.told.size() == 4; }));
    EXPECT_EQ(client.told, (Strings{"text last", "end", "failed 7", "end"}));
    EXPECT_EQ(client.end->code, 4001);
}

TEST_P(SocketContract, lostConnectionIsToldEvenWithoutACloseFrame)
{
    OpenClient client(*world, request());
    server.send(0, {false, "kept"});
    world->pass(50ms);
    server.drop(0);
    ASSERT_TRUE(world->until([&] { return client.socket->state() == WebSocket::State::closed; }));
    client.listen();
    EXPECT_EQ(ended(client).kind, Error::Kind::networkConnectionLost);
    EXPECT_EQ(client.told, (Strings{"text kept", "end"}));
    EXPECT_EQ(ended(client).code, 0);
}

TEST_P(SocketContract, deadConnectionIsToldToTheReceiverOrElseToTheWaitingSends)
{
    server.answerWith(Answer::never, {});
    auto wanted = request();
    wanted.connectTimeout = 150ms;
    Client receiver(*world, wanted);
    Client sender(*world, wanted);
    for (auto* client : {&receiver, &sender}) {
        client->socket->sendText("a", client->sent(1));
        client->socket->sendBinary("b", client->sent(2));
    }
    receiver.listen();
    auto const start = world->scheduler().now();
    ASSERT_TRUE(world->until([&] { return receiver.end && sender.told.size() == 2; }));
    EXPECT_GE(world->scheduler().now(), start + 140ms);
    world->pass(50ms);
    EXPECT_EQ(receiver.told, Strings{"end"});
    EXPECT_EQ(sender.told, (Strings{"failed 1", "failed 2"}));
    EXPECT_EQ(receiver.end->kind, Error::Kind::timedOut);
    EXPECT_EQ(sender.end->kind, Error::Kind::timedOut);
    EXPECT_EQ(sender.socket->queuedBytes(), 0u);
}

TEST_P(SocketContract, refusedUpgradeNamesTheStatus)
{
    server.answerWith(Answer::refuse, {});
    Client client(*world, request());
    client.socket->sendText("config", client.sent(1));
    EXPECT_EQ(
        ended(client), (Error{Error::Kind::badServerResponse, "The server refused the connection (HTTP 401).", 401}));
    EXPECT_EQ(client.told, Strings{"failed 1"});
}

TEST_P(SocketContract, letGoEndsWithoutACloseFrameAndWithoutAWord)
{
    OpenClient client(*world, request());
    client.listen();
    auto const held = std::make_shared<int>();
    client.socket->sendText("a", [held, &client](auto) { client.told.push_back("sent"); });
    client.socket.reset();
    world->until([&] { return server.seen()[0].gone; });
    world->pass(30ms);
    EXPECT_TRUE(server.seen()[0].gone);
    EXPECT_EQ(server.seen()[0].closeCode, std::nullopt);
    EXPECT_EQ(client.told, Strings());
    EXPECT_EQ(held.use_count(), 1);

    server.answerWith(Answer::never, {});
    Client connecting(*world, request());
    connecting.listen();
    world->pass(30ms);
    connecting.socket.reset();
    world->pass(30ms);
    EXPECT_EQ(connecting.told, Strings());
}

TEST_P(SocketContract, cancelSendsWhatWasQueuedAndThenTheCodeAlsoOfASocketThatIsLetGo)
{
    for (std::size_t const connection : {0, 1}) {
        OpenClient client(*world, request());
        client.listen();
        Strings expected(20, "binary " + std::string(5000, 'x'));
        for (int i = 0; i < 20; ++i)
            client.socket->sendBinary(std::string(5000, 'x'), client.sent(i));
        client.socket->sendText("", {});
        expected.emplace_back("text ");
        client.socket->cancel(1001);
        EXPECT_EQ(client.socket->state(), WebSocket::State::closed);
        client.socket->sendText("too late", {});
        if (connection == 1)
            client.socket.reset();
        ASSERT_TRUE(world->until([&] { return server.seen()[connection].gone; }));
        EXPECT_EQ(server.seen()[connection].closeCode, 1001);
        EXPECT_TRUE(server.seen()[connection].frames == expected);
        if (connection == 1) {
            EXPECT_EQ(client.told, Strings());
            break;
        }
        ASSERT_TRUE(world->until([&] { return client.end && client.count("sent") == 20; }));
        EXPECT_EQ(client.end->kind, Error::Kind::cancelled);
        EXPECT_EQ(client.count("end"), 1u);
    }
}

TEST_P(SocketContract, cancelWhileConnectingEndsAtOnce)
{
    server.answerWith(Answer::never, {});
    Client client(*world, request());
    client.socket->sendText("config", client.sent(1));
    client.listen();
    world->pass(20ms);
    client.socket->cancel(1001);
    EXPECT_EQ(ended(client).kind, Error::Kind::cancelled);
    world->pass(30ms);
    EXPECT_EQ(client.told, Strings{"end"});
}

TEST_P(SocketContract, pongsKeepAQuietConnectionAlive)
{
    auto wanted = request();
    wanted.idleTimeout = 1500ms;
    OpenClient client(*world, wanted);
    client.listen();
    for (int i = 0; i < 8; ++i) {
        client.socket->ping();
        world->pass(300ms);
    }
    EXPECT_EQ(client.told, Strings());
    EXPECT_EQ(server.seen()[0].frames, Strings(8, "ping"));
    auto const quiet = world->scheduler().now();
    EXPECT_EQ(ended(client).kind, Error::Kind::timedOut);
    EXPECT_GE(world->scheduler().now() - quiet, 1s);
}

TEST_P(SocketContract, lifetimeEndsABusyConnection)
{
    auto wanted = request();
    wanted.lifetime = 300ms;
    auto const start = world->scheduler().now();
    OpenClient client(*world, wanted);
    client.listen();
    for (int i = 0; i < 1000 && !client.end; ++i) {
        server.send(0, {false, "tick"});
        world->pass(20ms);
    }
    ASSERT_TRUE(client.end);
    EXPECT_EQ(client.end->kind, Error::Kind::timedOut) << client.end->message;
    EXPECT_GE(world->scheduler().now() - start, 290ms);
}

/// The server stops reading. What waits on this side, the system's buffer included, stays below the limit; of the
/// sound that waits the oldest goes, text stays, and the callers hear of every message and of every lost byte.
TEST_P(SocketContract, unreadProviderHoldsAtMostTheLimitAndTheOldestSoundGoesFirst)
{
    auto* const real = dynamic_cast<LoopbackServer*>(&server);
    if (real)
        real->useSmallWindow();
    constexpr std::size_t limit = 64000;
    constexpr std::size_t blockSize = 3200;
    constexpr int blocks = 100;
    auto wanted = request();
    std::size_t dropped = 0;
    wanted.maxQueuedBytes = limit;
    wanted.onDropped = [&](std::size_t bytes) { dropped += bytes; };
    OpenClient client(*world, wanted);
    client.socket->sendText("the server reads", {});
    ASSERT_TRUE(frames(1));
    server.stall(0);
    world->pass(20ms);
    client.socket->sendText("ends the read that was under way", {});
    ASSERT_TRUE(!real || frames(2));
    for (int i = 0; i < blocks; ++i) {
        client.socket->sendBinary(fmt::format("{:04}", i) + std::string(blockSize - 4, 'x'), client.sent(i));
        EXPECT_LE(client.socket->queuedBytes(), limit);
        if (i == 50)
            client.socket->sendText("in between", {});
        world->pass(3ms);
    }
    world->pass(100ms);
    auto const taken = server.unreadBytes(0);
    EXPECT_GT(dropped, 0u);
    EXPECT_LE(blocks * blockSize - dropped, limit + taken);
    EXPECT_GE(blocks * blockSize - dropped, limit / 2); // not thrown away without need

    server.resume(0);
    auto const kept = blocks - dropped / blockSize;
    ASSERT_TRUE(frames(2 + kept + 1));
    world->pass(50ms);
    auto seen = server.seen()[0].frames;
    EXPECT_EQ(std::erase(seen, "text in between"), 1u);
    seen.erase(seen.begin(), seen.begin() + 2);
    ASSERT_EQ(seen.size(), kept);
    std::vector<int> numbers;
    for (auto const& frame : seen)
        numbers.push_back(std::stoi(frame.substr(7, 4)));
    EXPECT_EQ(numbers.back(), blocks - 1);
    int gaps = 0; // the head was with the system already, which may take one more now and then; then comes the newest
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        EXPECT_GT(numbers[i], numbers[i - 1]);
        gaps += numbers[i] != numbers[i - 1] + 1;
    }
    EXPECT_LE(gaps, 4);
    EXPECT_EQ(client.count("sent"), static_cast<std::size_t>(blocks));
    EXPECT_EQ(client.socket->queuedBytes(), 0u);
}

TEST_P(SocketContract, cancelGivesAServerThatDoesNotReadOneSecond)
{
    if (auto* const real = dynamic_cast<LoopbackServer*>(&server))
        real->useSmallWindow();
    auto wanted = request();
    wanted.maxQueuedBytes = 64000;
    OpenClient client(*world, wanted);
    server.stall(0);
    world->pass(20ms);
    for (int i = 0; i < 40; ++i)
        client.socket->sendBinary(std::string(3200, 'x'), client.sent(i));
    client.listen();
    world->pass(50ms);
    client.socket->cancel(1001);
    ASSERT_TRUE(world->until([&] { return client.socket->queuedBytes() == 0; }, 10s));
    world->pass(50ms);
    EXPECT_EQ(client.count("end"), 1u);
    EXPECT_EQ(client.count("failed"), 0u); // the receiver knows; the sends are dropped without a word
    EXPECT_LT(client.count("sent"), 40u);
    EXPECT_EQ(server.seen()[0].closeCode, std::nullopt);
}

TEST_P(SocketContract, addressesThatWouldLeakAreRefused)
{
    for (std::string const url : {"ws://example.com/x", "ws://127.0.0.1.example.com/", "wss://user@localhost/",
             "http://localhost/", "ws://localhost@example.com/", "", "wss://"}) {
        Client client(*world, requestTo(url));
        client.listen();
        EXPECT_EQ(client.told, Strings());
        EXPECT_EQ(ended(client).kind, Error::Kind::badUrl) << url;
        EXPECT_EQ(client.socket->state(), WebSocket::State::closed);
    }
    auto wanted = request();
    wanted.bearer = "key\r\nX-Evil: 1";
    Client client(*world, wanted);
    client.socket->sendText("a", client.sent(1));
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.told, Strings{"failed 1"});
    EXPECT_TRUE(server.seen().empty());
}

class HttpContract : public SocketContract {
protected:
    Result<HttpResponse> exchange(HttpRequest request)
    {
        std::vector<Result<HttpResponse>> results;
        world->network().exchange(
            std::move(request), world->scheduler(), [&](auto result) { results.push_back(std::move(result)); });
        EXPECT_TRUE(results.empty());
        world->until([&] { return !results.empty(); });
        EXPECT_LE(results.size(), 1u);
        return results.empty() ? Error{.message = "no answer"} : results[0];
    }
    HttpRequest post(std::string body) const { return {"POST", server.url("http", "/v1/x?y=1"), {}, std::move(body)}; }
};

TEST_P(HttpContract, requestAndResponseKeepTheirPartsWhateverTheStatus)
{
    using Header = std::pair<std::string, std::string>;
    auto const has = [](auto const& headers, Header const& header) {
        return std::count(headers.begin(), headers.end(), header) == 1;
    };
    for (int const status : {200, 204, 302, 404, 429, 500, 503}) {
        TestServer::HttpSeen seen;
        auto const body = status == 204 ? std::string() : std::string("b\0dy", 4);
        server.answerHttp([&](auto const& request) {
            seen = request;
            return TestServer::HttpAnswer{{status, {{"X-Thing", "Kept As Is"}}, body}};
        });
        auto request = post("{\"a\":1}");
        request.headers = {{"Content-Type", "application/json"}, {"User-Agent", "Relay/1.0"}};
        auto const result = exchange(request);
        ASSERT_TRUE(result) << status;
        EXPECT_EQ(result->status, status);
        EXPECT_EQ(result->body, body);
        EXPECT_TRUE(has(result->headers, Header("x-thing", "Kept As Is")));
        EXPECT_EQ(seen.method + seen.target + seen.body, "POST/v1/x?y=1{\"a\":1}");
        EXPECT_TRUE(has(seen.headers, Header("content-type", "application/json")));
        EXPECT_TRUE(has(seen.headers, Header("user-agent", "Relay/1.0")));
    }
}

TEST_P(HttpContract, slowAnswerTimesOutAndAHugeOneIsRefused)
{
    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{{200, {}, "late"}, Duration(-1)}; });
    for (auto const limit : {&HttpRequest::timeout, &HttpRequest::idleTimeout}) {
        auto request = post("");
        request.*limit = 150ms;
        auto const start = world->scheduler().now();
        auto const slow = exchange(request);
        EXPECT_TRUE(!slow && slow.error().kind == Error::Kind::timedOut);
        EXPECT_GE(world->scheduler().now() - start, 140ms);
    }

    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{{200, {}, std::string((16 << 20) + 1, 'x')}}; });
    auto const huge = exchange(post(""));
    EXPECT_TRUE(!huge && huge.error().kind == Error::Kind::badServerResponse);

    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{{200, {}, std::string(16 << 20, 'x')}}; });
    auto const big = exchange(post(std::string(5 << 20, 'y')));
    EXPECT_TRUE(big && big->body.size() == 16U << 20);
}

TEST_P(HttpContract, requestsThatCannotBeSentSafelyAreRefused)
{
    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{}; });
    auto const kind = [&](HttpRequest request) {
        auto const result = exchange(std::move(request));
        return result ? std::nullopt : std::optional(result.error().kind);
    };
    EXPECT_EQ(kind({"GET", "http://example.com/", {}, {}}), Error::Kind::badUrl);
    EXPECT_EQ(kind({"GET", "wss://localhost/", {}, {}}), Error::Kind::badUrl);
    for (auto const& header :
        {std::pair<std::string, std::string>{"A", "b\r\nX: y"}, {"A B", "c"}, {"", "c"}, {"A:", "c"}}) {
        auto request = post("");
        request.headers = {header};
        EXPECT_EQ(kind(request), Error::Kind::other) << header.first;
    }
    auto request = post("");
    request.method = "GET / HTTP/1.1\r\nX:";
    EXPECT_EQ(kind(request), Error::Kind::other);
}

auto const worlds
    = testing::Values(std::pair{"sim", &sim}, std::pair{"plain", &plain}, std::pair{"encrypted", &encrypted});
auto const name = [](auto const& test) { return std::string(test.param.first); };
INSTANTIATE_TEST_SUITE_P(All, SocketContract, worlds, name);
INSTANTIATE_TEST_SUITE_P(All, HttpContract, worlds, name);

// What only a real connection can get wrong.

std::optional<Error> connectError(World& world, std::string const& url)
{
    auto request = requestTo(url);
    request.connectTimeout = 5s;
    Client client(world, request);
    client.listen();
    world.until([&] { return client.end || client.socket->state() == WebSocket::State::open; });
    return client.end;
}

TEST(AsioNetwork, certificateMustBeTrustedAndBeForTheHost)
{
    auto const good = TestCertificate::make("DNS:localhost,IP:127.0.0.1");
    auto const other = TestCertificate::make("DNS:other.example,DNS:*.localhost");
    auto const expired = TestCertificate::make("DNS:localhost", -60);
    struct Case {
        TestCertificate served, trusted;
        char const* host;
        std::string problem; ///< empty: none
    };
    for (auto const& [served, trusted, host, problem] :
        {Case{good, good, "localhost", ""}, {good, good, "127.0.0.1", ""},
            {other, other, "localhost", "not for localhost"}, {other, other, "127.0.0.1", "not for 127.0.0.1"},
            {good, other, "localhost", "not trusted"}, {expired, expired, "localhost", "expired"}}) {
        RealWorld world(served, trusted);
        auto const error = connectError(world, fmt::format("wss://{}:{}/", host, world.loopback.port()));
        EXPECT_EQ(error.has_value(), !problem.empty()) << problem;
        if (!error)
            continue;
        EXPECT_EQ(error->kind, Error::Kind::secureConnectionFailed);
        EXPECT_NE(error->message.find(problem), std::string::npos) << error->message;
        EXPECT_TRUE(world.loopback.seen().empty()) << "no key goes out";
    }
    RealWorld notEncrypted;
    EXPECT_TRUE(connectError(notEncrypted, fmt::format("wss://localhost:{}/", notEncrypted.loopback.port())));
}

TEST(AsioNetwork, messageBeyondTheLimitIsAnError)
{
    RealWorld world;
    OpenClient client(world, requestTo(world.loopback.url("ws", "/")));
    client.listen();
    world.loopback.send(0, {true, std::string((16 << 20) + 1, 'x')});
    ASSERT_TRUE(world.until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.end->kind, Error::Kind::badServerResponse);
}

std::string noise(std::mt19937& random, std::size_t most)
{
    std::string bytes(1 + random() % most, '\0');
    for (auto& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

TEST(AsioNetwork, anAnswerIsWaitedForWhileItsBytesMove)
{
    RawServer server([](RawServer::Connection const& connection) {
        connection.readHeader();
        for (auto const* piece : {"HTTP/1.1 200 OK\r\n", "Content-Length: 2\r\n\r\n", "o", "k"}) {
            std::this_thread::sleep_for(500ms);
            connection.write(piece);
        }
    });
    RealWorld world;
    std::optional<Result<HttpResponse>> answer;
    HttpRequest request{"GET", fmt::format("http://127.0.0.1:{}/", server.port()), {}, {}};
    request.idleTimeout = 1500ms;
    world.network().exchange(request, world.scheduler(), [&](auto result) { answer = std::move(result); });
    ASSERT_TRUE(world.until([&] { return answer.has_value(); }));
    EXPECT_TRUE(*answer && (**answer).body == "ok");
}

/// Servers that answer with rubbish, or send it once the upgrade stands: always an error, told once.
TEST(AsioNetwork, malformedInputIsAnErrorAndNothingElse)
{
    std::string const upgrade = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                "Sec-WebSocket-Accept: ";
    std::mt19937 random(11);
    Strings answers{upgrade + "wrong\r\n\r\n"};
    for (auto const* start : {"", "HTTP/1.1 200 ", "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n"}) {
        for (int i = 0; i < 20; ++i)
            answers.push_back(start + noise(random, 300));
    }
    Strings frames{std::string("\x83\x01x", 3), std::string("\xC1\x01x", 3), std::string("\x81\x81\1\2\3\4x", 7),
        std::string("\x81\x02\xC3\x28", 4), std::string("\x80\x01x", 3), std::string("\x89\xFE\x00\x80", 4),
        std::string("\x88\x01x", 3), std::string("\x82\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 10)};
    for (int i = 0; i < 60; ++i)
        frames.push_back(noise(random, 200));

    std::mutex mutex;
    std::string answer;
    bool upgrades = false;
    RawServer rubbish([&](RawServer::Connection const& connection) {
        auto const header = connection.readHeader();
        auto const begin = header.find("Sec-WebSocket-Key: ") + 19;
        auto const key = webSocketAccept(header.substr(begin, header.find("\r\n", begin) - begin));
        std::lock_guard const lock(mutex);
        connection.write((upgrades ? upgrade + key + "\r\n\r\n" : "") + answer);
    });
    RealWorld world;
    for (auto const* list : {&answers, &frames}) {
        for (auto const& bytes : *list) {
            {
                std::lock_guard const lock(mutex);
                upgrades = list == &frames;
                answer = bytes;
            }
            Client client(world, requestTo(fmt::format("ws://127.0.0.1:{}/", rubbish.port())));
            client.listen();
            ASSERT_TRUE(world.until([&] { return client.end.has_value(); }));
            EXPECT_EQ(client.count("end"), 1u);
            int results = upgrades;
            if (!upgrades)
                world.network().exchange({"GET", fmt::format("http://127.0.0.1:{}/", rubbish.port()), {}, {}},
                    world.scheduler(), [&](Result<HttpResponse>) { ++results; });
            ASSERT_TRUE(world.until([&] { return results == 1; }));
        }
    }
}

/// Threads that open, use, cancel and let go of sockets as they like: for the sanitizers.
TEST(AsioNetwork, socketsMayBeUsedFromAnyThread)
{
    RealWorld world;
    std::atomic<int> told = 0;
    auto const scheduler = world.real->runtime.makeScheduler();
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t);
            for (int i = 0; i < 25; ++i) {
                auto request = requestTo(world.loopback.url("ws", "/"));
                request.maxQueuedBytes = 20000;
                request.onDropped = [&](std::size_t) { ++told; };
                auto const socket = world.network().connect(request, *scheduler);
                socket->receive([&](auto const&) { ++told; });
                for (unsigned n = random() % 40; n > 0; --n) {
                    socket->sendBinary(std::string(random() % 5000, 'x'), [&](auto const&) { ++told; });
                    if (random() % 8 == 0)
                        std::this_thread::sleep_for(1ms);
                    if (random() % 10 == 0)
                        socket->ping();
                    (void)socket->queuedBytes();
                }
                if (random() % 2)
                    socket->cancel(1001);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    world.real->network.reset();
    world.real->runtime.stop();
    EXPECT_GT(told, 0);
}

TEST(AsioNetwork, whatWaitsAtTheEndIsLetGo)
{
    for (std::string const scheme : {"http", "ws"}) {
        auto held = std::make_shared<int>();
        std::weak_ptr<int> const kept = held;
        {
            RealWorld world;
            std::atomic<bool> asked = false;
            world.server().answerHttp([&](auto const&) {
                asked = true;
                return TestServer::HttpAnswer{{200, {}, "never"}, Duration(-1)};
            });
            auto const scheduler = world.real->runtime.makeScheduler();
            std::shared_ptr<WebSocket> socket;
            if (scheme == "http") {
                HttpRequest request;
                request.url = world.server().url(scheme, "/");
                world.network().exchange(request, *scheduler, [held](auto const&) {});
            } else {
                auto request = requestTo(world.server().url(scheme, "/"));
                request.onDropped = [held](std::size_t) {};
                socket = world.network().connect(request, *scheduler);
            }
            held.reset();
            ASSERT_TRUE(world.until([&] { return socket ? socket->state() == WebSocket::State::open : bool(asked); }));
        }
        EXPECT_TRUE(kept.expired()) << scheme;
    }
}

/// The end of the network waits for goodbyes, so that a program may end right after it cancelled.
TEST(AsioNetwork, endWaitsForCancelledSockets)
{
    RealWorld world;
    OpenClient client(world, requestTo(world.loopback.url("ws", "/")));
    for (int i = 0; i < 50; ++i)
        client.socket->sendText(std::string(10000, 'x'), {});
    client.socket->cancel(1001);
    client.socket.reset();
    world.real->network.reset();
    world.real->runtime.stop();
    ASSERT_TRUE(world.until([&] { return world.loopback.seen()[0].gone; }));
    EXPECT_EQ(world.loopback.seen()[0].frames.size(), 50u);
    EXPECT_EQ(world.loopback.seen()[0].closeCode, 1001);
}

} // namespace

} // namespace lingrelay
