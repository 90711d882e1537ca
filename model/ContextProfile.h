#pragma once

#include "base/Json.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// What the recogniser is told about one recurring conversation. A plain value; the list is stored in the shared
/// defaults store under "context.profiles", as the text of a JSON array.
struct ContextProfile {
    struct Glossary {
        std::string id; ///< UUID
        std::string source;
        std::string target;

        bool operator==(Glossary const&) const = default;
    };

    std::string id; ///< UUID, upper case
    std::string name;
    std::string domain;
    std::string topic;
    std::string participants;
    std::string notes;
    std::vector<std::string> terms; ///< entered by the user
    std::optional<std::vector<std::string>> autoTerms; ///< learned, oldest first
    std::optional<std::string> autoTopic; ///< the subject that autoTerms were learned under; never sent
    std::vector<Glossary> glossary; ///< oldest first

    /// Looks at the user's own fields only: not at the name, autoTerms or autoTopic.
    bool isEmpty() const;

    /// The recogniser's `context` object; nothing when it would be empty.
    std::optional<Json> payload(std::string_view rollingTranscript) const;

    /// An absent or unreadable list, also one with a single unreadable profile, is empty.
    static std::vector<ContextProfile> load();
    static void save(std::vector<ContextProfile> const& list);

    /// The stored form. Reading gives nothing when a required key is absent or of a wrong type.
    static std::optional<std::vector<ContextProfile>> listFromText(std::string_view text);
    static std::string listText(std::vector<ContextProfile> const& list);

    bool operator==(ContextProfile const&) const = default;
};

} // namespace lingrelay
