#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// A value within a text that JsonReader has read, valid until it reads another. A missing member and a value of
/// another type both count as absent.
class JsonView {
public:
    bool isObject() const;
    std::optional<JsonView> member(std::string_view key) const;
    std::optional<std::vector<JsonView>> items() const; ///< of an array
    std::optional<std::string_view> string() const;
    std::optional<std::int64_t> integer() const;
    std::optional<bool> boolean() const;
    /// As people would print it: a string without quotes, anything else as JSON.
    std::string printed() const;

    // The same of a member.
    std::optional<std::string_view> string(std::string_view key) const;
    std::optional<std::int64_t> integer(std::string_view key) const;
    std::optional<bool> boolean(std::string_view key) const;

private:
    friend class JsonReader;
    using Element = std::array<std::uintptr_t, 2>;

    explicit JsonView(Element element) : m_element(element) { }

    Element m_element; ///< the parser's own
};

/// Reads JSON in place: for messages that come many times a second and of which little is kept. Not for several threads
/// at once.
class JsonReader {
public:
    JsonReader();
    ~JsonReader();

    /// Nothing when the text is not JSON, is nested over a thousand times or holds a number that no type takes.
    std::optional<JsonView> read(std::string_view text);

private:
    struct Parser;
    std::unique_ptr<Parser> m_parser;
};

} // namespace lingrelay
