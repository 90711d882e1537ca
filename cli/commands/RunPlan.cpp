#include "cli/commands/RunPlan.h"

#include "cli/soundfiles/SoundFile.h"
#include "config/Languages.h"

#include <algorithm>

namespace lingrelay {

namespace {

using Problem = std::string; ///< empty: none

bool isSet(Arguments const& arguments, std::string_view key)
{
    return std::any_of(
        arguments.settings.begin(), arguments.settings.end(), [&](auto const& entry) { return entry.first == key; });
}

Problem languageProblem(std::string_view where, std::string const& code, bool isTarget)
{
    if (!Catalog::contains(code))
        return fmt::format("{}: \"{}\" is not a known language", where, code);
    if (isTarget && code == "auto")
        return fmt::format("{}: the language to translate into cannot be \"auto\"", where);
    return {};
}

Problem languagesProblem(Arguments const& arguments, RunPlan const& plan)
{
    struct Field {
        char const* name;
        std::string AppSettings::*member;
        bool isTarget;
        AppModel::Direction direction;
    };
    constexpr Field fields[] = {
        {"sourceLang", &AppSettings::sourceLang, false, AppModel::Direction::listen},
        {"targetLang", &AppSettings::targetLang, true, AppModel::Direction::listen},
        {"myLang", &AppSettings::myLang, false, AppModel::Direction::speak},
        {"theirLang", &AppSettings::theirLang, true, AppModel::Direction::speak},
    };
    for (auto const& field : fields) {
        bool const both = plan.settings.mode == AppSettings::Mode::both;
        if (!both && field.direction != plan.direction && !isSet(arguments, field.name))
            continue;
        auto problem = languageProblem(field.name, plan.settings.*field.member, field.isTarget);
        if (!problem.empty())
            return problem;
    }
    return {};
}

/// The preset first, so that what the user asked for besides it counts.
void applyPreset(Arguments const& arguments, AppSettings& settings)
{
    if (!arguments.preset)
        return;
    auto const stored = settings;
    apply(*arguments.preset, settings);
    AppSettings::forEachField([&](char const* name, auto member) {
        if (isSet(arguments, name))
            settings.*member = stored.*member;
    });
}

void chooseOutput(Arguments const& arguments, RunPlan& plan)
{
    using Output = Arguments::Output;
    plan.live = !arguments.input;
    plan.output = arguments.output;
    if (plan.output == Output::automatic)
        plan.output = plan.live ? Output::device : Output::none;
    else if (plan.output != Output::none && !isSet(arguments, "tts"))
        plan.settings.tts = true; // whoever names a place for the voice wants to hear it
    // Nobody would hear anything.
    if (plan.output != Output::device && plan.direction == AppModel::Direction::listen
        && !isSet(arguments, "muteOriginal"))
        plan.settings.muteOriginal = false;
}

} // namespace

OverlaidDefaults::OverlaidDefaults(
    std::unique_ptr<Defaults> store, std::vector<std::pair<std::string, Json>> const& values)
    : m_store(std::move(store))
{
    for (auto const& [key, value] : values)
        m_values[key] = value;
}

std::optional<Json> OverlaidDefaults::value(std::string const& key) const
{
    std::lock_guard const lock(m_mutex);
    auto const found = m_values.find(key);
    return found == m_values.end() ? m_store->value(key) : found->second;
}

void OverlaidDefaults::set(std::string const& key, Json value)
{
    std::lock_guard const lock(m_mutex);
    if (auto const found = m_values.find(key); found != m_values.end() || m_holding)
        m_values[key] = std::move(value);
    else
        m_store->set(key, std::move(value));
}

void OverlaidDefaults::hold(AppSettings const& settings)
{
    m_holding = true;
    settings.save();
    m_holding = false;
}

std::string RunPlan::localProblem(LocalService::Address const& service) const
{
    auto const problem = action == Arguments::Action::testVoice ? "" : HostPlan::localProblem(service, settings);
    if (problem.empty())
        return {};
    return fmt::format("{}. Try --from {} --to {}, or use a key of your own (--set k.soniox=KEY)", problem,
        service.source, service.targets.empty() ? service.source : service.targets.front());
}

Result<RunPlan> RunPlan::make(Arguments const& arguments)
{
    RunPlan plan;
    plan.settings = AppSettings::load();
    auto& settings = plan.settings;
    applyPreset(arguments, settings);
    plan.action = arguments.action;
    bool const translates = arguments.action == Arguments::Action::translate;
    settings.mode = translates ? arguments.mode.value_or(settings.mode) : AppSettings::Mode::speak;
    bool const speaks = settings.mode == AppSettings::Mode::speak;
    plan.direction = speaks ? AppModel::Direction::speak : AppModel::Direction::listen;
    if (arguments.from)
        (speaks ? settings.myLang : settings.sourceLang) = *arguments.from;
    if (arguments.to)
        (speaks ? settings.theirLang : settings.targetLang) = *arguments.to;
    chooseOutput(arguments, plan);
    static_cast<HostPlan&>(plan)
        = HostPlan::make({arguments.sttUrl, arguments.ttsUrl, arguments.apiUrl, arguments.backendUrl});
    for (auto const& problem : {languagesProblem(arguments, plan), plan.problem()}) {
        if (!problem.empty())
            return Error{Error::Kind::other, problem};
    }
    return plan;
}

} // namespace lingrelay
