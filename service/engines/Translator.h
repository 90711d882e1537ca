#pragma once

#include "service/engines/ChildProcess.h"
#include "service/engines/Signal.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay::service {

/// Translates English with the apertium pairs that are installed. Its executor only.
///
/// Each pair is one pipeline of processes that stays up, so that a sentence takes milliseconds; one that dies or hangs
/// is started afresh.
class Translator {
public:
    /// `modesFolder` holds apertium's ".mode" files.
    Translator(asio::any_io_executor executor, std::string const& modesFolder);
    ~Translator();

    /// The languages English can be translated into, as short codes, in order.
    std::vector<std::string> targets() const;
    /// Starts the pipeline of a language ahead of its first sentence.
    void warm(std::string const& target);
    /// Nothing when the pipeline failed twice, or gave nothing or no text. Sentences of one language wait for each
    /// other.
    asio::awaitable<std::optional<std::string>> translate(std::string target, std::string text);

private:
    struct Pair {
        std::string command; ///< for the shell
        std::shared_ptr<ChildProcess> process;
        bool busy = false;
        std::unique_ptr<Signal> idle;
    };

    bool start(Pair& pair);
    asio::awaitable<std::optional<std::string>> ask(Pair& pair, std::string const& text);

    asio::any_io_executor m_executor;
    std::map<std::string, Pair> m_pairs; ///< by target
};

/// The shell command of a pipeline that answers at every zero byte, made from a mode file's; nothing when one of its
/// programs is not known to do that.
std::optional<std::string> flushingPipeline(std::string_view mode);

/// The text as the pipeline takes it: without what is syntax there, and with an end of sentence.
std::string pipelineText(std::string_view text);

/// The inverse, for what comes out. `ended` when the text that went in had its own end of sentence.
std::string plainTranslation(std::string_view output, bool ended);

} // namespace lingrelay::service
