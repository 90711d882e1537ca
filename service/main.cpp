#include "base/Log.h"
#include "base/StandardStreams.h"
#include "service/Arguments.h"
#include "service/Server.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <boost/asio/signal_set.hpp>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using lingrelay::Error;
using lingrelay::Log;
using namespace lingrelay::service;

constexpr char const* standardModels = LINGRELAY_POCKETSPHINX_MODELS;
constexpr char const* standardModes = "/usr/share/apertium/modes";

std::string fromEnvironment(char const* name, char const* standard)
{
    char const* value = std::getenv(name);
    return value && *value ? value : standard;
}

int complain(std::string const& text, int code)
{
    std::fprintf(stderr, "lingrelay-service: %s\n", text.c_str());
    return code;
}

/// There is nothing to save, and a recogniser in the middle of an utterance is not worth waiting for. The pipes of
/// child processes end with this one, and with them the children.
[[noreturn]] void endNow() { std::_Exit(0); }

/// Runs `job` when this program's parent has ended.
std::optional<ChildProcess::Pipe> watchParent(asio::io_context& context)
{
    int const parent = static_cast<int>(::syscall(SYS_pidfd_open, ::getppid(), 0)); // the C header is not for C++
    if (parent < 0)
        return {};
    ChildProcess::Pipe watch(context, parent);
    watch.async_wait(ChildProcess::Pipe::wait_read, [](boost::system::error_code error) {
        if (!error)
            endNow();
    });
    return watch;
}

int run(Arguments arguments)
{
    asio::io_context context(1);
    asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([](boost::system::error_code error, int) {
        if (!error)
            endNow();
    });
    auto const watch = watchParent(context);
    Server server(context,
        {arguments.port, std::move(arguments.script), arguments.sessions,
            fromEnvironment("LINGRELAY_SPEECH_MODELS", standardModels),
            fromEnvironment("LINGRELAY_TRANSLATION_MODES", standardModes)});
    if (auto const error = server.listen())
        return complain(error->message, error->kind == lingrelay::Error::Kind::cannotConnectToHost ? 1 : 2);
    std::printf("listening 127.0.0.1:%u %s\n%s", static_cast<unsigned>(server.port()), server.token().c_str(),
        server.pairs().c_str());
    std::fflush(stdout);
    context.run();
    return 0;
}

} // namespace

int main(int count, char** words)
{
    lingrelay::openStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    lingrelay::Log::setSink(
        [](std::string_view line) { std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data()); });
    auto arguments = Arguments::parse({words + 1, words + count});
    if (!arguments)
        return complain(arguments.error().message, 2);
    if (arguments->help) {
        std::fputs(Arguments::usage(), stdout);
        return 0;
    }
    return run(std::move(*arguments));
}
