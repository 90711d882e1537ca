#pragma once

#include "base/Json.h"
#include "service/wire/Limits.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace lingrelay::service {

/// A failure in the words of the protocol.
struct ProtocolError {
    int code = 400;
    std::string message;

    Json frame() const;
};

/// What the first message of a recognition stream asks for.
struct SttConfig {
    int sampleRate = 16000;
    bool endpoints = false; ///< mark the ends of sentences
    int pauseMs = 400; ///< silence that ends a sentence
    bool speakers = false;
    std::optional<std::string> target; ///< what English is translated into; nothing without translation

    /// `targets` are the languages that English can be translated into.
    static std::variant<SttConfig, ProtocolError> parse(
        Json const& message, std::vector<std::string> const& targets, Limits const& limits);
};

/// The refusal of a language, which says what there is.
ProtocolError unsupportedLanguages(std::vector<std::string> const& targets);

} // namespace lingrelay::service
