#include "program/Secrecy.h"

#include "base/Log.h"
#include "base/Time.h"
#include "base/UserFolders.h"
#include "speech/HostedSession.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include <fcntl.h>

namespace lingrelay {

namespace {

/// Shorter ones are no keys, and would take ordinary words out of the captions.
constexpr std::size_t shortestKey = 6;
constexpr std::string_view replacement = "•••";

void remove(std::string& text, std::string const& secret)
{
    if (secret.size() < shortestKey)
        return;
    for (auto place = text.find(secret); place != std::string::npos;
         place = text.find(secret, place + replacement.size()))
        text.replace(place, secret.size(), replacement);
}

} // namespace

void Secrecy::add(std::string secret)
{
    std::lock_guard const lock(m_mutex);
    learn(secret);
}

/// The longest first: what was typed of a key so far is the beginning of the whole one, which must go as a whole.
void Secrecy::learn(std::string const& secret)
{
    auto const place = std::find_if(m_secrets.begin(), m_secrets.end(),
        [&](std::string const& known) { return known == secret || known.size() < secret.size(); });
    if (place == m_secrets.end() || *place != secret)
        m_secrets.insert(place, secret);
}

void Secrecy::follow(std::weak_ptr<HostedSession const> hosted)
{
    std::lock_guard const lock(m_mutex);
    m_hosted = std::move(hosted);
}

std::string Secrecy::clean(std::string text)
{
    std::lock_guard const lock(m_mutex);
    // Renewed keys are known here before anybody can repeat them.
    if (auto const hosted = m_hosted.lock()) {
        learn(hosted->sttKey());
        learn(hosted->ttsKey());
    }
    for (auto const& secret : m_secrets)
        remove(text, secret);
    return text;
}

std::shared_ptr<Secrecy> openLog()
{
    auto secrecy = std::make_shared<Secrecy>();
    auto const path = environment("LINGRELAY_LOG");
    if (path.empty())
        return secrecy;
    auto const descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return secrecy;
    std::shared_ptr<std::FILE> const file(::fdopen(descriptor, "a"), [](std::FILE* f) { f ? std::fclose(f) : 0; });
    Log::setSink([file, secrecy](std::string_view line) {
        auto const text = secrecy->clean(std::string(line));
        fmt::print(file.get(), "{} {}\n", clockTime(std::chrono::system_clock::now()), text);
        std::fflush(file.get());
    });
    return secrecy;
}

} // namespace lingrelay
