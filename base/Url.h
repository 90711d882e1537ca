#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

/// A parsed absolute URL of the schemes ws, wss, http and https. Any thread.
struct Url {
    std::string scheme; ///< lower case
    std::string host; ///< lower case; an IPv6 address without its brackets
    std::uint16_t port = 0; ///< the scheme's own when the text names none
    std::string target; ///< path and query; empty when the text has none

    bool secure() const { return scheme == "wss" || scheme == "https"; }
    bool webSocket() const { return scheme == "ws" || scheme == "wss"; }
    /// "localhost", 127.0.0.0/8 or ::1, by exact form: a name that only begins so is not loopback.
    bool loopback() const;
    /// For Host and SNI: the host, in brackets when it is IPv6, with the port when it is not the scheme's own.
    std::string authority() const;
    std::string text() const;

    /// Nothing for any other scheme, an empty or odd host, user information ("user@host"), a port out of range,
    /// blanks or control characters.
    static std::optional<Url> parse(std::string_view text);
};

/// What keeps a URL from being used to carry keys and speech, in words for the user; empty when it may be used.
/// Plain ws and http go to loopback only.
std::string urlProblem(std::string_view text, bool webSocket);

/// For a value in a URL's query: everything but letters, digits, '-', '.', '_' and '~' as %XX.
std::string percentEncoded(std::string_view text);

} // namespace lingrelay
