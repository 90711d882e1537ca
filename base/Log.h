#pragma once

#include <functional>
#include <string_view>

#include <fmt/format.h>

namespace lingrelay {

/// The program's log: one line an event, with a family tag in front ("[tts] ..."). Any thread. Lines never hold a key.
class Log {
public:
    using Sink = std::function<void(std::string_view line)>;

    /// Where lines go; none drops them. Set by the composition root before other threads start.
    static void setSink(Sink sink);
    static void write(std::string_view line);

    template <class... Args>
    static void write(fmt::format_string<Args...> format, Args&&... args) requires(sizeof...(Args) > 0)
    {
        write(std::string_view(fmt::format(format, std::forward<Args>(args)...)));
    }
};

} // namespace lingrelay
