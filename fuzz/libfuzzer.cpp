#include "fuzz/Target.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    lingrelay::FuzzTarget::all().front()->run({reinterpret_cast<char const*>(data), size});
    return 0;
}
