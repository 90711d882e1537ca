#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// The recogniser's languages.
class Catalog {
public:
    struct Language {
        std::string code;
        std::string name; ///< in the applied language
    };

    /// All rows in table order; the first is "auto".
    static std::vector<Language> languages();
    /// An unknown code gives the code in upper case.
    static std::string name(std::string_view code);
    static bool contains(std::string_view code);
    /// The code of what people write for it, as "EN" and "en-US"; nothing for what is no language.
    static std::optional<std::string> codeOf(std::string_view text);
};

} // namespace lingrelay
