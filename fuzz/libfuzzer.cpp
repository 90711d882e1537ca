#include "fuzz/Target.h"

#include <cstdint>

/// The target that FUZZ_TARGET names.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static auto const* const target = lingrelay::FuzzTarget::find(std::getenv("FUZZ_TARGET"));
    target->run({reinterpret_cast<char const*>(data), size});
    return 0;
}
