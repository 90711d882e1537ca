#include "cli/terminal/Replies.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace lingrelay {

void complain(std::string const& message)
{
    auto const line = "lingrelay-cli: " + message + '\n';
    [[maybe_unused]] auto const written = ::write(STDERR_FILENO, line.data(), line.size());
}

int badArguments(std::string const& message)
{
    complain(message);
    return exitBadArguments;
}

int failed(std::string const& message)
{
    complain(message);
    return exitFailed;
}

int print(std::string_view text)
{
    bool const good = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (good || errno == EPIPE)
        return exitDone;
    return failed(std::string("standard output: ") + std::strerror(errno));
}

} // namespace lingrelay
