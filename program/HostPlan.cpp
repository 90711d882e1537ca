#include "program/HostPlan.h"

#include "base/Url.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "platform/Defaults.h"

#include <algorithm>
#include <string_view>
#include <utility>

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

/// What decides who hears the user; the first that was lost with a damaged store.
std::string lostChoice(Hosts const& named)
{
    std::pair<std::string_view, std::string_view> const choices[]
        = {{Secrets::name, Secrets::byokActive() ? "set" : ""}, {"host.stt", named.stt}, {"host.tts", named.tts},
            {"host.api", named.api}, {"host.backend", named.backend}, {"host.translate", named.translate}};
    auto const lost = KeyStore::d().lost();
    for (auto const& [key, value] : choices) {
        if (value.empty() && std::find(lost.begin(), lost.end(), key) != lost.end()
            && KeyStore::str(std::string(key)).empty())
            return std::string(key);
    }
    return {};
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
    plan.lost = lostChoice(named);
    if (!plan.lost.empty()) { // nobody is contacted
        plan.hosts = {};
        plan.localService = false;
    }
    return plan;
}

std::string HostPlan::problem() const
{
    if (!lost.empty())
        return fmt::format(
            fmt::runtime(T("the settings file was damaged and what it said of {0} is lost; to go on, name it again or "
                           "choose none: lingrelay-cli settings {0} \"\"",
                "tệp cài đặt bị hỏng và giá trị của {0} đã mất; để tiếp tục, hãy đặt lại hoặc bỏ trống: "
                "lingrelay-cli settings {0} \"\"")),
            lost);
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
    if (!lost.empty())
        return filled;
    for (auto const member : {&Hosts::stt, &Hosts::tts, &Hosts::api, &Hosts::backend}) {
        if ((filled.*member).empty())
            filled.*member = local.*member;
    }
    return filled;
}

} // namespace lingrelay
