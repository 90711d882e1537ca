#include "service/Server.h"

#include "base/Log.h"
#include "service/engines/Summary.h"
#include "service/script/ScriptPlayer.h"
#include "service/wire/SttConversation.h"
#include "service/wire/TtsConversation.h"

#include <boost/asio/co_spawn.hpp>

namespace lingrelay::service {

namespace {

constexpr int mostConnections = 256;
constexpr auto requestTime = std::chrono::seconds(10); ///< for a client to send a whole request
constexpr std::size_t bodyLimit = 1 << 20;
constexpr std::string_view pathStart = "/v1/";

using Parser = http::request_parser<http::string_body>;

std::string pathOf(HttpRequest const& request)
{
    std::string const target(request.target());
    return target.substr(0, target.find('?'));
}

/// "start" for "/v1/pro/session/start"; empty for a path that is not served.
std::string operationOf(std::string_view path)
{
    auto const at = path.rfind(pathStart);
    if (at == std::string_view::npos)
        return {};
    path.remove_prefix(at + pathStart.size());
    for (std::string_view const known :
        {"pro/session/start", "pro/session/tick", "pro/session/end", "pro/balance", "summary", "translate"}) {
        if (path == known)
            return std::string(known.substr(known.rfind('/') + 1));
    }
    return {};
}

HttpResponse response(HttpRequest const& request, int status, std::string body)
{
    HttpResponse answer;
    answer.version(request.version());
    answer.result(static_cast<unsigned>(status));
    answer.set(http::field::content_type, "application/json");
    answer.keep_alive(request.keep_alive());
    answer.body() = std::move(body);
    answer.prepare_payload();
    return answer;
}

Json errorJson(char const* code, char const* text) { return {{"error", text}, {"code", code}}; }

std::string errorBody(char const* code, char const* text) { return jsonText(errorJson(code, text)); }

/// The body as an object, with the token of the Authorization header as `client_token` when it has none of its own.
Json bodyOf(HttpRequest const& request)
{
    auto body = parseJson(request.body()).value_or(Json());
    if (!body.is_object())
        body = Json::object();
    if (auto const header = request.find(http::field::authorization);
        header != request.end() && !body.contains("client_token")) {
        std::string_view const value(header->value().data(), header->value().size());
        body["client_token"] = std::string(value.substr(value.starts_with("Bearer ") ? 7 : 0));
    }
    return body;
}

/// Until the client has gone.
asio::awaitable<void> keepSilent(beast::tcp_stream& stream)
{
    stream.expires_never();
    std::array<char, 4096> ignored;
    bool there = true;
    while (there) {
        auto const [error, size] = co_await stream.async_read_some(asio::buffer(ignored), quietly);
        there = !error;
    }
}

} // namespace

Server::Server(asio::io_context& context, Options options)
    : m_context(context)
    , m_options(std::move(options))
    , m_token(newSecret("local"))
    , m_provider{m_options.script ? m_options.script->limits : Limits{}, {m_token, m_options.sessions},
          DecoderPool(m_options.modelFolder), Translator(context.get_executor(), m_options.modesFolder),
          Voices(context.get_executor())}
    , m_acceptor(context)
{
}

std::optional<Error> Server::listen()
{
    if (m_options.script && !m_options.script->record.empty() && !m_recorder.open(m_options.script->record))
        return Error{Error::Kind::other, fmt::format("the record {} cannot be written", m_options.script->record)};
    using asio::ip::tcp;
    boost::system::error_code error;
    tcp::endpoint const place(asio::ip::address_v4::loopback(), m_options.port);
    m_acceptor.open(place.protocol(), error);
    if (!error)
        m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error)
        m_acceptor.bind(place, error);
    if (!error)
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error == asio::error::address_in_use)
        return Error{Error::Kind::cannotConnectToHost,
            fmt::format(
                "port {} is in use: choose another with --port, or leave it out for a free one", m_options.port)};
    if (error)
        return Error{Error::Kind::cannotConnectToHost,
            fmt::format("port {} cannot be used ({}): choose another with --port", m_options.port, error.message())};
    if (!m_options.script || m_options.script->needsRecogniser()) {
        if (auto const problem = m_provider.decoders.problem(); !problem.empty())
            Log::write("[service] {}", problem);
        else
            m_provider.decoders.warm();
    }
    asio::co_spawn(m_context, acceptAll(), [](std::exception_ptr) {});
    return {};
}

std::uint16_t Server::port() const
{
    boost::system::error_code ignored;
    return m_acceptor.local_endpoint(ignored).port();
}

std::string Server::pairs() const
{
    if (m_options.script)
        return {};
    return fmt::format("translates en {}\n", fmt::join(m_provider.translator.targets(), " "));
}

asio::awaitable<void> Server::acceptAll()
{
    for (;;) {
        auto [error, socket] = co_await m_acceptor.async_accept(quietly);
        if (error) { // out of descriptors, most likely: wait for some to be closed
            co_await pause(m_context.get_executor(), seconds(0.1));
            continue;
        }
        if (m_connections >= mostConnections)
            continue;
        boost::system::error_code ignored;
        socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        asio::co_spawn(m_context, serve(std::move(socket)), [](std::exception_ptr problem) {
            try {
                if (problem)
                    std::rethrow_exception(problem);
            } catch (std::exception const& failure) {
                Log::write("[service] a connection failed: {}", failure.what());
            }
        });
    }
}

asio::awaitable<void> Server::serve(asio::ip::tcp::socket socket)
{
    Counted const counted(m_connections);
    beast::tcp_stream stream(std::move(socket));
    beast::flat_buffer buffer;
    bool more = true;
    while (more) {
        Parser parser;
        parser.header_limit(32 << 10);
        parser.body_limit(bodyLimit);
        stream.expires_after(requestTime);
        auto const [error, size] = co_await http::async_read(stream, buffer, parser, quietly);
        if (error == http::error::body_limit || error == http::error::header_limit)
            co_await http::async_write(
                stream, response({}, 413, errorBody("too_large", "The request is too large.")), quietly);
        if (error)
            break;
        auto request = parser.release();
        if (beast::websocket::is_upgrade(request))
            co_return co_await serveSocket(std::move(stream), std::move(request));
        more = co_await serveRequest(stream, request) && request.keep_alive();
    }
    boost::system::error_code ignored;
    stream.socket().shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
}

asio::awaitable<void> Server::serveSocket(beast::tcp_stream stream, HttpRequest request)
{
    auto const path = pathOf(request);
    bool const stt = path.ends_with("/transcribe-websocket");
    if (!stt && !path.ends_with("/tts-websocket")) {
        co_await http::async_write(
            stream, response(request, 404, errorBody("not_found", "There is no such path.")), quietly);
        co_return;
    }
    auto const protocol = stt ? Protocol::stt : Protocol::tts;
    auto const index = m_sockets[protocol]++;
    auto const name = fmt::format("{}#{}", stt ? "stt" : "tts", index);
    ScriptConnection const* scripted = nullptr;
    if (m_options.script)
        scripted = stt ? m_options.script->stt(index) : m_options.script->tts(index);
    if (scripted && !co_await admit(stream, request, *scripted, name))
        co_return;
    auto const peer = std::make_shared<Peer>(std::move(stream), std::move(request));
    if (!co_await peer->accept())
        co_return;
    if (scripted && !scripted->offline)
        co_await playScript(peer, *scripted, name, m_provider, m_recorder);
    else if (stt)
        co_await converseStt(peer, m_provider);
    else
        co_await converseTts(peer, m_provider);
}

/// What a script does to a connection before it is one; false when it is over.
asio::awaitable<bool> Server::admit(
    beast::tcp_stream& stream, HttpRequest const& request, ScriptConnection const& scripted, std::string const& name)
{
    stream.expires_never();
    co_await pause(m_context.get_executor(), seconds(scripted.acceptDelayMs / 1000));
    if (scripted.httpStatus == 0)
        co_return true;
    m_recorder.write({{"connection", name}, {"event", "refused"}});
    auto answer = response(request, scripted.httpStatus, errorBody("refused", "The connection was refused."));
    answer.keep_alive(false);
    co_await http::async_write(stream, answer, quietly);
    co_return false;
}

asio::awaitable<bool> Server::serveRequest(beast::tcp_stream& stream, HttpRequest const& request)
{
    auto const operation = operationOf(pathOf(request));
    HttpResponse answer;
    if (operation.empty()) {
        answer = response(request, 404, errorBody("not_found", "There is no such path."));
    } else if (request.method() != http::verb::post) {
        answer = response(request, 405, errorBody("method_not_allowed", "Use POST."));
    } else {
        m_recorder.write(
            {{"connection", "http"}, {"event", operation}, {"message", parseJson(request.body()).value_or(Json())}});
        auto const index = m_requests[operation]++;
        ScriptAnswer genuine;
        genuine.kind = ScriptAnswer::Kind::offline;
        auto const* scripted = m_options.script ? m_options.script->answer(operation, index) : nullptr;
        auto const* how = scripted ? scripted : &genuine;
        auto found = co_await answerTo(stream, request, operation, *how);
        if (!found)
            co_return false;
        answer = std::move(*found);
    }
    stream.expires_after(requestTime);
    auto const [error, size] = co_await http::async_write(stream, answer, quietly);
    co_return !error;
}

asio::awaitable<std::optional<HttpResponse>> Server::answerTo(
    beast::tcp_stream& stream, HttpRequest const& request, std::string const& operation, ScriptAnswer const& how)
{
    using Kind = ScriptAnswer::Kind;
    if (how.delayMs > 0) {
        stream.expires_never();
        co_await pause(m_context.get_executor(), seconds(how.delayMs / 1000));
    }
    if (how.kind == Kind::silence) {
        co_await keepSilent(stream);
        co_return std::nullopt;
    }
    if (how.kind == Kind::scripted)
        co_return response(request, how.status, how.body);
    auto const body = bodyOf(request);
    Answer answer;
    if (operation == "translate")
        answer = co_await translation(body);
    else
        answer = realAnswer(operation, body);
    co_return response(request, answer.status, jsonText(answer.body));
}

Server::Answer Server::realAnswer(std::string const& operation, Json const& request)
{
    auto const now = Clock::now();
    auto const date = std::chrono::system_clock::now();
    if (operation == "start")
        return {200, m_provider.book.start(request, now, date)};
    if (operation == "tick")
        return {200, m_provider.book.tick(request, now, date)};
    if (operation == "end")
        return {200, m_provider.book.end(request, now)};
    if (operation == "balance")
        return {200, m_provider.book.balance(request)};
    return summaryAnswer(request);
}

Server::Answer Server::summaryAnswer(Json const& request) const
{
    if (!m_provider.book.authorized(request))
        return {401, errorJson("unauthorized", "The local service does not know this caller.")};
    auto const text = jsonString(request, "text");
    auto const style = summaryStyleOf(jsonString(request, "style").value_or(""));
    if (!text || !style)
        return {400, errorJson("bad_request", "A recap needs \"text\", and a \"style\" of brief or full.")};
    return {200, {{"summary", summarize(*text, *style, jsonString(request, "target").value_or(""))}}};
}

asio::awaitable<Server::Answer> Server::translation(Json request)
{
    if (!m_provider.book.authorized(request))
        co_return Answer{401, errorJson("unauthorized", "The local service does not know this caller.")};
    auto const target = jsonString(request, "target").value_or("");
    auto const* texts = jsonMember(request, "texts");
    if (!texts || !texts->is_array())
        co_return Answer{400, errorJson("bad_request", "A translation needs \"texts\" and a \"target\".")};
    auto const targets = m_provider.translator.targets();
    if (std::find(targets.begin(), targets.end(), target) == targets.end())
        co_return Answer{
            422, errorJson("unsupported_language", "The local service cannot translate into this language.")};
    auto translated = Json::array();
    for (auto const& entry : *texts) {
        std::string text;
        if (entry.is_string())
            text = entry.get<std::string>();
        std::optional<std::string> answer;
        if (!text.empty())
            answer = co_await m_provider.translator.translate(target, text);
        if (!text.empty() && !answer)
            co_return Answer{502, errorJson("translation_failed", "The local translator gave no text.")};
        translated.push_back(answer.value_or(""));
    }
    Answer answer;
    answer.body["texts"] = std::move(translated);
    co_return answer;
}

} // namespace lingrelay::service
