#include "base/Registry.h"

namespace lingrelay {

Registry*& Registry::current()
{
    static Registry* current = nullptr;
    return current;
}

} // namespace lingrelay
