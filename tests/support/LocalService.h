#pragma once

#include "tests/support/TestProcess.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace lingrelay {

/// The local service as a process of the test's own.
class LocalService : public TestProcess {
public:
    /// `before`: what it is started through.
    explicit LocalService(Words const& options = {}, Words before = {})
        : TestProcess(joined(std::move(before), options))
    {
        eventually([this] { return output().find('\n') != std::string::npos || !runs(); });
        line = output().substr(0, output().find('\n'));
        std::array<char, 128> text{};
        if (unsigned number = 0; std::sscanf(line.c_str(), "listening 127.0.0.1:%u %127s", &number, text.data()) == 2) {
            port = static_cast<std::uint16_t>(number);
            token = text.data();
        }
    }

    std::string line; ///< what it has said first
    std::uint16_t port = 0;
    std::string token;

private:
    static Words joined(Words words, Words const& options)
    {
        words.emplace_back(LINGRELAY_SERVICE);
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
};

} // namespace lingrelay
