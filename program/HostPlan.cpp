#include "program/HostPlan.h"

#include "base/Url.h"
#include "config/KeyStore.h"

#include <fmt/format.h>

namespace lingrelay {

namespace {

/// `builtIn` is empty where the build's value may not be used.
std::string host(std::string const& named, char const* key, std::string const& builtIn)
{
    if (!named.empty())
        return named;
    auto stored = KeyStore::str(key);
    return stored.empty() ? builtIn : stored;
}

} // namespace

HostPlan HostPlan::make(Hosts const& named)
{
    HostPlan plan;
    auto const builtIn = Hosts::load();
    plan.ownKey = Secrets::byokActive();
    plan.hosts.backend = host(named.backend, "host.backend", builtIn.backend);
    plan.localService = !plan.ownKey && plan.hosts.backend.empty();
    // Keys of a local service are good for nobody else, so it brings the other hosts with it.
    plan.hosts.stt = host(named.stt, "host.stt", plan.localService ? "" : builtIn.stt);
    plan.hosts.tts = host(named.tts, "host.tts", plan.localService ? "" : builtIn.tts);
    plan.hosts.api = host(named.api, "host.api", plan.localService ? "" : builtIn.api);
    plan.hosts.translate = builtIn.translate;
    return plan;
}

std::string HostPlan::problem() const
{
    struct Field {
        char const* name;
        std::string Hosts::*member;
        bool webSocket;
    };
    constexpr Field fields[]
        = {{"host.stt", &Hosts::stt, true}, {"host.tts", &Hosts::tts, true}, {"host.api", &Hosts::api, false},
            {"host.backend", &Hosts::backend, false}, {"host.translate", &Hosts::translate, false}};
    for (auto const& field : fields) {
        auto const& url = hosts.*field.member;
        if (auto const text = url.empty() ? "" : urlProblem(url, field.webSocket); !text.empty())
            return fmt::format("{}: {}", field.name, text);
    }
    return {};
}

Hosts HostPlan::hostsWith(Hosts const& local) const
{
    auto filled = hosts;
    for (auto const member : {&Hosts::stt, &Hosts::tts, &Hosts::api, &Hosts::backend}) {
        if ((filled.*member).empty())
            filled.*member = local.*member;
    }
    return filled;
}

} // namespace lingrelay
