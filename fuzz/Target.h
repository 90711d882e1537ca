#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// One kind of outside input: what is done with any bytes. The fuzzer feeds the one that is asked for, and the
/// regression program feeds each what is kept for it in corpus/.
struct FuzzTarget {
    using Run = void (*)(std::string_view input);

    FuzzTarget(std::string_view target, Run call) : name(target), run(call) { all().push_back(this); }
    FuzzTarget(FuzzTarget const&) = delete;

    static std::vector<FuzzTarget*>& all()
    {
        static std::vector<FuzzTarget*> targets;
        return targets;
    }
    static FuzzTarget const* find(std::string_view wanted)
    {
        return *std::find_if(all().begin(), all().end(), [&](auto const* target) { return target->name == wanted; });
    }

    std::string_view const name;
    Run const run;
};

/// What must hold whatever the input is.
inline void fuzzExpect(bool holds)
{
    if (!holds)
        std::abort();
}

/// The lines of the input: messages, one after the other.
inline std::vector<std::string> fuzzLines(std::string_view input)
{
    std::vector<std::string> lines;
    while (!input.empty()) {
        auto const end = std::min(input.find('\n'), input.size());
        lines.emplace_back(input.substr(0, end));
        input.remove_prefix(std::min(end + 1, input.size()));
    }
    return lines;
}

} // namespace lingrelay
