// One contract, for the simulated network and for real connections to a loopback server, plain and encrypted.

#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/sim/SimNetwork.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/platform/SimServer.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

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
    virtual bool until(std::function<bool()> done, Duration limit = 10s) = 0;
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

/// Sets an environment variable for a while.
class Environment {
public:
    Environment(char const* name, std::string const& value) : m_name(name) { ::setenv(name, value.c_str(), 1); }
    ~Environment() { ::unsetenv(m_name); }

private:
    char const* m_name;
};

/// A file with a certificate that SSL_CERT_FILE names.
class Trust {
public:
    explicit Trust(TestCertificate const& certificate)
        : m_path(fmt::format("{}trust-{}.pem", testing::TempDir(), ::getpid()))
        , m_variable("SSL_CERT_FILE", m_path)
    {
        std::ofstream(m_path) << certificate.certificate;
    }
    ~Trust() { ::unlink(m_path.c_str()); }

private:
    std::string m_path;
    Environment m_variable;
};

struct RealWorld : World {
    explicit RealWorld(std::optional<TestCertificate> certificate = {}, std::optional<TestCertificate> trusted = {})
        : trust(trusted ? std::optional<Trust>(std::in_place, *trusted) : std::nullopt)
        , loopback(std::move(certificate))
    {
    }
    ~RealWorld() override
    {
        asio.reset();
        runtime.stop();
    }

    std::optional<Trust> trust;
    LoopbackServer loopback;
    AsioRuntime runtime;
    AsioMainLoop loop;
    std::unique_ptr<AsioNetwork> asio = std::make_unique<AsioNetwork>(runtime);

    Network& network() override { return *asio; }
    Scheduler& scheduler() override { return loop; }
    TestServer& server() override { return loopback; }
    bool until(std::function<bool()> done, Duration limit = 10s) override
    {
        for (auto const end = loop.now() + limit; !done();) {
            if (loop.now() >= end)
                return false;
            loop.startTimer(loop.now() + 2ms, [this] { loop.quit(); });
            loop.run();
        }
        return true;
    }
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

class SocketContract : public testing::TestWithParam<std::pair<char const*, std::unique_ptr<World> (*)()>> {
protected:
    std::unique_ptr<World> world = GetParam().second();
    TestServer& server = world->server();

    WebSocketRequest request(std::string const& target = "/speech") const
    {
        WebSocketRequest result;
        result.url = server.url("ws", target);
        return result;
    }
    bool open(Client const& client)
    {
        return world->until([&] { return client.socket->state() == WebSocket::State::open; });
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
    ASSERT_TRUE(open(client));
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

TEST_P(SocketContract, bigMessagesArriveWhole)
{
    Client client(*world, request());
    std::string big(3 << 20, 'a');
    for (std::size_t i = 0; i < big.size(); i += 7)
        big[i] = static_cast<char>('b' + i % 20);
    client.socket->sendBinary(big, client.sent(1));
    client.socket->sendText(big, client.sent(2));
    ASSERT_TRUE(frames(2));
    auto const seen = server.seen()[0].frames;
    EXPECT_TRUE(seen[0] == "binary " + big);
    EXPECT_TRUE(seen[1] == "text " + big);
    server.send(0, {true, big});
    client.keepListening = false;
    client.listen();
    ASSERT_TRUE(world->until([&] { return client.count("binary") == 1; }));
    EXPECT_TRUE(client.told.back() == "binary " + big);
}

/// Far more than is kept for a caller that does not ask: nothing is lost, whoever is slow.
TEST_P(SocketContract, unreadMessagesWaitAndAreNotLost)
{
    Client client(*world, request());
    ASSERT_TRUE(open(client));
    std::string const block(1 << 20, 'x');
    for (int i = 0; i < 24; ++i)
        server.send(0, {false, fmt::format("{:02}{}", i, block)});
    world->pass(500ms);
    client.listen();
    ASSERT_TRUE(world->until([&] { return client.told.size() == 24; }));
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(client.told[i].substr(0, 7), fmt::format("text {:02}", i));
}

TEST_P(SocketContract, closeByTheServerIsToldOnceToTheReceiver)
{
    Client client(*world, request());
    client.listen();
    ASSERT_TRUE(open(client));
    server.send(0, {false, "last"});
    server.close(0, 4001);
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.told, (Strings{"text last", "end"}));
    EXPECT_EQ(client.end->kind, Error::Kind::networkConnectionLost);
    EXPECT_EQ(client.end->code, 4001);
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
    Client client(*world, request());
    ASSERT_TRUE(open(client));
    server.send(0, {false, "kept"});
    world->pass(50ms);
    server.drop(0);
    ASSERT_TRUE(world->until([&] { return client.socket->state() == WebSocket::State::closed; }));
    client.listen();
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.told, (Strings{"text kept", "end"}));
    EXPECT_EQ(client.end->kind, Error::Kind::networkConnectionLost);
    EXPECT_EQ(client.end->code, 0);
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
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.told, Strings{"failed 1"});
    EXPECT_EQ(
        client.end, (Error{Error::Kind::badServerResponse, "The server refused the connection (HTTP 401).", 401}));
}

TEST_P(SocketContract, letGoEndsWithoutACloseFrameAndWithoutAWord)
{
    Client client(*world, request());
    ASSERT_TRUE(open(client));
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

TEST_P(SocketContract, cancelSendsWhatWasQueuedAndThenTheCode)
{
    Client client(*world, request());
    ASSERT_TRUE(open(client));
    client.listen();
    Strings expected;
    for (int i = 0; i < 20; ++i) {
        client.socket->sendBinary(std::string(5000, 'x'), client.sent(i));
        expected.push_back("binary " + std::string(5000, 'x'));
    }
    client.socket->sendText("", {});
    expected.push_back("text ");
    client.socket->cancel(1001);
    EXPECT_EQ(client.socket->state(), WebSocket::State::closed);
    client.socket->sendText("too late", {});
    ASSERT_TRUE(world->until([&] { return client.end && client.count("sent") == 20; }));
    EXPECT_EQ(client.end->kind, Error::Kind::cancelled);
    ASSERT_TRUE(world->until([&] { return server.seen()[0].gone; }));
    EXPECT_EQ(server.seen()[0].closeCode, 1001);
    EXPECT_TRUE(server.seen()[0].frames == expected);
    EXPECT_EQ(client.count("end"), 1u);
}

TEST_P(SocketContract, cancelGoesOnWhenTheSocketIsLetGo)
{
    Client client(*world, request());
    ASSERT_TRUE(open(client));
    for (int i = 0; i < 20; ++i)
        client.socket->sendText(std::to_string(i), client.sent(i));
    client.socket->cancel(1001);
    client.socket.reset();
    ASSERT_TRUE(world->until([&] { return server.seen()[0].gone; }));
    EXPECT_EQ(server.seen()[0].closeCode, 1001);
    EXPECT_EQ(server.seen()[0].frames.size(), 20u);
    EXPECT_EQ(client.told, Strings());
}

TEST_P(SocketContract, cancelWhileConnectingEndsAtOnce)
{
    server.answerWith(Answer::never, {});
    Client client(*world, request());
    client.socket->sendText("config", client.sent(1));
    client.listen();
    world->pass(20ms);
    client.socket->cancel(1001);
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }, 300ms));
    world->pass(30ms);
    EXPECT_EQ(client.told, Strings{"end"});
    EXPECT_EQ(client.end->kind, Error::Kind::cancelled);
}

TEST_P(SocketContract, pongsKeepAQuietConnectionAlive)
{
    auto wanted = request();
    wanted.idleTimeout = 300ms;
    Client client(*world, wanted);
    ASSERT_TRUE(open(client));
    client.listen();
    for (int i = 0; i < 10; ++i) {
        client.socket->ping();
        world->pass(80ms);
    }
    EXPECT_EQ(client.told, Strings());
    auto const seen = server.seen()[0].frames;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "ping"), 10);

    auto const quiet = world->scheduler().now();
    ASSERT_TRUE(world->until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.end->kind, Error::Kind::timedOut);
    EXPECT_GE(world->scheduler().now() - quiet, 150ms);
    EXPECT_LT(world->scheduler().now() - quiet, 1500ms);
}

TEST_P(SocketContract, lifetimeEndsABusyConnection)
{
    auto wanted = request();
    wanted.lifetime = 300ms;
    auto const start = world->scheduler().now();
    Client client(*world, wanted);
    ASSERT_TRUE(open(client));
    client.listen();
    for (int i = 0; i < 100 && !client.end; ++i) {
        server.send(0, {false, "tick"});
        world->pass(20ms);
    }
    ASSERT_TRUE(client.end);
    EXPECT_EQ(client.end->kind, Error::Kind::timedOut) << client.end->message;
    EXPECT_GE(world->scheduler().now() - start, 290ms);
    EXPECT_LT(world->scheduler().now() - start, 1500ms);
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
    Client client(*world, wanted);
    ASSERT_TRUE(open(client));
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
    auto client = std::make_unique<Client>(*world, wanted);
    ASSERT_TRUE(open(*client));
    server.stall(0);
    world->pass(20ms);
    for (int i = 0; i < 40; ++i)
        client->socket->sendBinary(std::string(3200, 'x'), client->sent(i));
    client->listen();
    world->pass(50ms);
    client->socket->cancel(1001);
    world->pass(1500ms);
    EXPECT_EQ(client->count("end"), 1u);
    EXPECT_EQ(client->count("failed"), 0u); // the receiver knows; the sends are dropped without a word
    EXPECT_LT(client->count("sent"), 40u);
    EXPECT_EQ(client->socket->queuedBytes(), 0u);
    EXPECT_EQ(server.seen()[0].closeCode, std::nullopt);
}

TEST_P(SocketContract, addressesThatWouldLeakAreRefused)
{
    for (std::string const url : {"ws://example.com/x", "ws://127.0.0.1.example.com/", "wss://user@localhost/",
             "http://localhost/", "ws://localhost@example.com/", "", "wss://"}) {
        WebSocketRequest wanted;
        wanted.url = url;
        Client client(*world, wanted);
        client.listen();
        EXPECT_EQ(client.told, Strings());
        ASSERT_TRUE(world->until([&] { return client.end.has_value(); })) << url;
        EXPECT_EQ(client.end->kind, Error::Kind::badUrl) << url;
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
    std::optional<Result<HttpResponse>> exchange(HttpRequest request)
    {
        std::vector<Result<HttpResponse>> results;
        world->network().exchange(
            std::move(request), world->scheduler(), [&](auto result) { results.push_back(std::move(result)); });
        EXPECT_TRUE(results.empty());
        world->until([&] { return !results.empty(); });
        EXPECT_LE(results.size(), 1u);
        return results.empty() ? std::nullopt : std::optional(results[0]);
    }
    HttpRequest post(std::string body) const { return {"POST", server.url("http", "/v1/x?y=1"), {}, std::move(body)}; }
};

TEST_P(HttpContract, requestAndResponseKeepTheirParts)
{
    TestServer::HttpSeen seen;
    server.answerHttp([&](auto const& request) {
        seen = request;
        return TestServer::HttpAnswer{{201, {{"X-Thing", "Kept As Is"}}, std::string("b\0dy", 4)}};
    });
    auto request = post("{\"a\":1}");
    request.headers = {{"Content-Type", "application/json"}, {"User-Agent", "Relay/1.0"}};
    auto const result = exchange(request);
    ASSERT_TRUE(result && *result);
    EXPECT_EQ((*result)->status, 201);
    EXPECT_EQ((*result)->body, std::string("b\0dy", 4));
    auto const& headers = (*result)->headers;
    EXPECT_EQ(
        std::count(headers.begin(), headers.end(), std::pair<std::string, std::string>("x-thing", "Kept As Is")), 1);
    EXPECT_EQ(seen.method + seen.target + seen.body, "POST/v1/x?y=1{\"a\":1}");
    for (auto const& [name, value] :
        {std::pair<std::string, std::string>{"content-type", "application/json"}, {"user-agent", "Relay/1.0"}})
        EXPECT_EQ(std::count(seen.headers.begin(), seen.headers.end(), std::pair(name, value)), 1) << name;
}

TEST_P(HttpContract, anyStatusIsAResponse)
{
    for (int status : {200, 204, 302, 404, 429, 500, 503}) {
        server.answerHttp([&](auto const&) {
            return TestServer::HttpAnswer{{status, {}, status == 204 ? "" : "text"}};
        });
        auto const result = exchange(post(""));
        ASSERT_TRUE(result && *result) << status;
        EXPECT_EQ((*result)->status, status);
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
        ASSERT_TRUE(slow && !*slow);
        EXPECT_EQ(slow->error().kind, Error::Kind::timedOut);
        EXPECT_GE(world->scheduler().now() - start, 140ms);
    }

    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{{200, {}, std::string((16 << 20) + 1, 'x')}}; });
    auto const huge = exchange(post(""));
    ASSERT_TRUE(huge && !*huge);
    EXPECT_EQ(huge->error().kind, Error::Kind::badServerResponse);

    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{{200, {}, std::string(16 << 20, 'x')}}; });
    auto const big = exchange(post(std::string(5 << 20, 'y')));
    ASSERT_TRUE(big && *big);
    EXPECT_EQ((*big)->body.size(), 16u << 20);
}

TEST_P(HttpContract, requestsThatCannotBeSentSafelyAreRefused)
{
    server.answerHttp([](auto const&) { return TestServer::HttpAnswer{}; });
    auto const kind = [&](HttpRequest request) {
        auto const result = exchange(std::move(request));
        return result && !*result ? std::optional(result->error().kind) : std::nullopt;
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
    WebSocketRequest request;
    request.url = url;
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
    RealWorld trusted(good, good);
    EXPECT_EQ(connectError(trusted, fmt::format("wss://localhost:{}/", trusted.loopback.port())), std::nullopt);
    EXPECT_EQ(connectError(trusted, fmt::format("wss://127.0.0.1:{}/", trusted.loopback.port())), std::nullopt);

    RealWorld wrongName(other, other);
    for (auto const* host : {"localhost", "127.0.0.1"}) {
        auto const error = connectError(wrongName, fmt::format("wss://{}:{}/", host, wrongName.loopback.port()));
        ASSERT_TRUE(error) << host;
        EXPECT_EQ(error->kind, Error::Kind::secureConnectionFailed);
        EXPECT_NE(error->message.find(fmt::format("not for {}", host)), std::string::npos) << error->message;
    }

    RealWorld untrusted(good, TestCertificate::make("DNS:localhost"));
    auto const error = connectError(untrusted, untrusted.loopback.url("ws", "/"));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind, Error::Kind::secureConnectionFailed);
    EXPECT_NE(error->message.find("not trusted"), std::string::npos) << error->message;
    EXPECT_TRUE(untrusted.loopback.seen().empty()); // no key went out

    RealWorld notEncrypted;
    auto const refused = connectError(notEncrypted, fmt::format("wss://localhost:{}/", notEncrypted.loopback.port()));
    ASSERT_TRUE(refused);
}

TEST(AsioNetwork, nobodyListeningIsToldAtOnce)
{
    RealWorld world;
    std::uint16_t port = 0;
    {
        LoopbackServer const gone({});
        port = gone.port();
    }
    auto const error = connectError(world, fmt::format("ws://localhost:{}/", port));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind, Error::Kind::cannotConnectToHost);
}

TEST(AsioNetwork, messageBeyondTheLimitIsAnError)
{
    RealWorld world;
    WebSocketRequest request;
    request.url = world.loopback.url("ws", "/");
    Client client(world, request);
    ASSERT_TRUE(world.until([&] { return client.socket->state() == WebSocket::State::open; }));
    client.listen();
    world.loopback.send(0, {true, std::string((16 << 20) + 1, 'x')});
    ASSERT_TRUE(world.until([&] { return client.end.has_value(); }));
    EXPECT_EQ(client.end->kind, Error::Kind::badServerResponse);
}

/// Servers that answer the upgrade and then send rubbish, or answer with rubbish: always an error, told once.
TEST(AsioNetwork, malformedInputIsAnErrorAndNothingElse)
{
    std::mt19937 random(11);
    int round = 0;
    RawServer rubbish([&](RawServer::Connection& connection) {
        auto const header = connection.readHeader();
        std::string noise(1 + random() % 300, '\0');
        for (auto& c : noise)
            c = static_cast<char>(random());
        switch (round++ % 4) {
        case 0:
            break;
        case 1:
            noise = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: "
                    "Upgrade\r\nSec-WebSocket-Accept: wrong\r\n\r\n";
            break;
        case 2:
            noise = "HTTP/1.1 200 " + noise;
            break;
        case 3:
            noise = "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n" + noise;
            break;
        }
        connection.write(noise);
    });
    RealWorld world;
    for (int i = 0; i < 60; ++i) {
        auto const error = connectError(world, fmt::format("ws://127.0.0.1:{}/", rubbish.port()));
        ASSERT_TRUE(error) << i;
        int results = 0;
        world.network().exchange({"GET", fmt::format("http://127.0.0.1:{}/", rubbish.port()), {}, {}},
            world.scheduler(), [&](Result<HttpResponse>) { ++results; });
        ASSERT_TRUE(world.until([&] { return results == 1; })) << i;
    }
}

TEST(AsioNetwork, anAnswerIsWaitedForWhileItsBytesMove)
{
    RawServer server([](RawServer::Connection& connection) {
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

TEST(AsioNetwork, malformedFramesEndTheConnection)
{
    std::mutex mutex;
    std::string frame;
    RawServer server([&](RawServer::Connection& connection) {
        auto const header = connection.readHeader();
        auto const begin = header.find("Sec-WebSocket-Key: ") + 19;
        auto const answer = webSocketAccept(header.substr(begin, header.find("\r\n", begin) - begin));
        std::lock_guard const lock(mutex);
        connection.write(
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: "
            + answer + "\r\n\r\n" + frame);
    });
    std::mt19937 random(5);
    Strings frames{std::string("\x83\x01x", 3), std::string("\xC1\x01x", 3), std::string("\x81\x81\1\2\3\4x", 7),
        std::string("\x81\x02\xC3\x28", 4), std::string("\x80\x01x", 3), std::string("\x89\xFE\x00\x80", 4),
        std::string("\x88\x01x", 3), std::string("\x82\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 10)};
    for (int i = 0; i < 60; ++i) {
        std::string noise(1 + random() % 200, '\0');
        for (auto& c : noise)
            c = static_cast<char>(random());
        frames.push_back(noise);
    }
    RealWorld world;
    for (auto const& bytes : frames) {
        {
            std::lock_guard const lock(mutex);
            frame = bytes;
        }
        WebSocketRequest request;
        request.url = fmt::format("ws://127.0.0.1:{}/", server.port());
        Client client(world, request);
        client.listen();
        ASSERT_TRUE(world.until([&] { return client.end.has_value(); }));
        EXPECT_EQ(client.count("end"), 1u);
    }
}

/// Threads that open, use, cancel and let go of sockets as they like: for the sanitizers.
TEST(AsioNetwork, socketsMayBeUsedFromAnyThread)
{
    RealWorld world;
    std::atomic<int> told = 0;
    auto const scheduler = world.runtime.makeScheduler();
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t);
            for (int i = 0; i < 25; ++i) {
                WebSocketRequest request;
                request.url = world.loopback.url("ws", "/");
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
    world.asio.reset();
    world.runtime.stop();
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
            auto const scheduler = world.runtime.makeScheduler();
            std::shared_ptr<WebSocket> socket;
            if (scheme == "http") {
                HttpRequest request;
                request.url = world.server().url(scheme, "/");
                world.network().exchange(request, *scheduler, [held](auto const&) {});
            } else {
                WebSocketRequest request;
                request.url = world.server().url(scheme, "/");
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
    WebSocketRequest request;
    request.url = world.loopback.url("ws", "/");
    Client client(world, request);
    ASSERT_TRUE(world.until([&] { return client.socket->state() == WebSocket::State::open; }));
    for (int i = 0; i < 50; ++i)
        client.socket->sendText(std::string(10000, 'x'), {});
    client.socket->cancel(1001);
    client.socket.reset();
    auto const start = Clock::now();
    world.asio.reset();
    world.runtime.stop();
    EXPECT_LT(Clock::now() - start, 1500ms);
    ASSERT_TRUE(world.until([&] { return world.loopback.seen()[0].gone; }));
    EXPECT_EQ(world.loopback.seen()[0].frames.size(), 50u);
    EXPECT_EQ(world.loopback.seen()[0].closeCode, 1001);
}

} // namespace

} // namespace lingrelay
