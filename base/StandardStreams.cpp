#include "base/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace lingrelay {

void openStandardStreams()
{
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = ::open("/dev/null", O_RDWR); // takes the lowest number that is free
    if (opened >= 0)
        ::close(opened);
}

} // namespace lingrelay
