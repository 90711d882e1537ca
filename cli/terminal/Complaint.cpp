#include "cli/terminal/Complaint.h"

#include <unistd.h>

namespace lingrelay {

void complain(std::string const& message)
{
    auto const line = "lingrelay-cli: " + message + '\n';
    [[maybe_unused]] auto const written = ::write(STDERR_FILENO, line.data(), line.size());
}

} // namespace lingrelay
