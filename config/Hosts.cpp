#include "config/Hosts.h"

#include "base/Registry.h"
#include "base/Url.h"
#include "config/KeyStore.h"

namespace lingrelay {

namespace {

std::string overridden(char const* key, char const* builtIn)
{
    auto stored = KeyStore::str(key);
    return stored.empty() ? builtIn : stored;
}

std::string withPath(std::string const& text, char const* path)
{
    auto url = Url::parse(text);
    if (!url)
        return text; // the network layer says what is wrong with it
    if (url->target.empty() || url->target == "/")
        url->target = path;
    return url->text();
}

} // namespace

Hosts Hosts::load()
{
    return {overridden("host.stt", LINGRELAY_STT_URL), overridden("host.tts", LINGRELAY_TTS_URL),
        overridden("host.api", LINGRELAY_API_URL), overridden("host.backend", LINGRELAY_BACKEND_URL),
        overridden("host.translate", LINGRELAY_TRANSLATE_URL)};
}

Hosts Hosts::shared() { return Registry::get<HostsInUse>().now(); }

std::string Hosts::sttUrl() const { return withPath(stt, "/transcribe-websocket"); }
std::string Hosts::ttsUrl() const { return withPath(tts, "/tts-websocket"); }

} // namespace lingrelay
