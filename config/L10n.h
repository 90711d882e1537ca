#pragma once

#include <atomic>
#include <string>
#include <string_view>

namespace lingrelay {

/// The two current languages of the interface. `model` follows the model's working copy of the settings at once;
/// `lang` is what the controller has applied. Only "en" selects English, any other value Vietnamese.
/// One a process, put into the registry by the composition root. Any thread.
class UiLanguage {
public:
    static UiLanguage& shared();

    void setModelLanguage(std::string_view language) { m_modelEnglish = language == "en"; }
    bool modelEnglish() const { return m_modelEnglish; }
    void setLang(std::string_view language) { m_english = language == "en"; }
    bool english() const { return m_english; }

private:
    std::atomic<bool> m_modelEnglish = true;
    std::atomic<bool> m_english = true;
};

/// Picks the text of the language that the model's settings hold.
std::string T(char const* en, char const* vi);

/// The older text table, by key, in the applied language.
class L10n {
public:
    /// An unknown key gives the key itself.
    static std::string t(std::string_view key);
};

} // namespace lingrelay
