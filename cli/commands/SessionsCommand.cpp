#include "cli/commands/SessionsCommand.h"

#include "base/Registry.h"
#include "base/async/OneShot.h"
#include "cli/commands/OutputFile.h"
#include "cli/commands/Paths.h"
#include "cli/commands/RunPlan.h"
#include "cli/commands/TranscriptFile.h"
#include "cli/terminal/Replies.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "config/Languages.h"
#include "net/Net.h"
#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "program/LocalService.h"
#include "program/Secrecy.h"
#include "sessions/Journal.h"
#include "sessions/StoredForm.h"
#include "sessions/TranscriptForms.h"
#include "sessions/UserLocale.h"
#include "text/Summarizer.h"

#include <algorithm>

namespace lingrelay {

namespace {

using Session = SessionStore::Session;

/// One question to the backend, or to a local service that is started for it.
class Summary {
public:
    Summary(Registry& registry, RunPlan plan) : m_registry(registry), m_plan(std::move(plan)) { }

    Result<std::string> of(std::string text)
    {
        TaskGroup tasks(m_main);
        tasks.spawn(ask(std::move(text)));
        m_main.run();
        return std::move(*m_result);
    }

private:
    Task<void> ask(std::string text)
    {
        auto const local = co_await connect();
        if (local) {
            m_registry.put(std::make_shared<HostsInUse>(m_plan.hostsWith(local->hosts)));
            m_registry.put(std::make_shared<Net>(m_network));
            m_result
                = co_await Summarizer::summarize(std::move(text), m_plan.settings.targetLang, local->token, "full");
            Secrecy secrecy;
            secrecy.add(local->token);
            secrecy.add(Secrets::key());
            if (!*m_result)
                m_result = Error{Error::Kind::other, secrecy.clean(m_result->error().message)};
        } else {
            m_result = local.error();
        }
        m_main.post([this] { m_main.quit(); });
    }

    Task<Result<LocalService::Address>> connect()
    {
        if (!m_plan.hosts.backend.empty())
            co_return LocalService::Address{};
        OneShot<Result<LocalService::Address>> started;
        m_service.start([started](Result<LocalService::Address> result) { started.set(std::move(result)); });
        co_return co_await started.take();
    }

    Registry& m_registry;
    RunPlan m_plan;
    AsioMainLoop m_main;
    AsioNetwork m_network{m_main.runtime()};
    LocalService m_service{m_main};
    std::optional<Result<std::string>> m_result;
};

/// The archive as the command line sees it. Each verb gives the exit code.
class Archive {
public:
    explicit Archive(Arguments const& arguments) : m_arguments(arguments), m_store(sessionsPath(arguments))
    {
        m_registry.put<Defaults>(std::make_shared<OverlaidDefaults>(openDefaults(arguments), arguments.settings));
        auto& language = m_registry.put(std::make_shared<UiLanguage>());
        auto const current = AppSettings::load().uiLang;
        language.setModelLanguage(current);
        language.setLang(current);
    }

    int run()
    {
        struct Verb {
            std::string_view name;
            std::string_view operand;
            int (Archive::*run)(std::string const& operand);
        };
        constexpr Verb verbs[] = {{"list", "", &Archive::list}, {"show", "ID", &Archive::show},
            {"search", "TEXT", &Archive::search}, {"export", "ID", &Archive::exportOne},
            {"delete", "ID", &Archive::remove}, {"summarize", "ID", &Archive::summarize}};
        auto const& words = m_arguments.words;
        auto const* verb = std::find_if(std::begin(verbs), std::end(verbs),
            [&](Verb const& known) { return !words.empty() && known.name == words[0]; });
        if (verb == std::end(verbs))
            return badArguments("sessions takes list, show, search, export, delete or summarize");
        if (words.size() != (verb->operand.empty() ? 1U : 2U))
            return badArguments(fmt::format("usage: sessions {} {}", verb->name, verb->operand));
        for (auto const& file : Journal::recover(m_store))
            complain("a session that was cut short has been kept: " + file.string());
        return (this->*verb->run)(words.back());
    }

private:
    /// The session whose id begins so. The error is for the user.
    Result<Session> find(std::string const& wanted)
    {
        auto const& sessions = m_store.sessions().get();
        if (wanted == "last" && !sessions.empty())
            return sessions.front();
        auto beginning = wanted;
        std::transform(
            beginning.begin(), beginning.end(), beginning.begin(), [](unsigned char c) { return std::toupper(c); });
        auto const matches
            = [&](Session const& session) { return !beginning.empty() && session.id.starts_with(beginning); };
        auto const found = std::find_if(sessions.begin(), sessions.end(), matches);
        if (found == sessions.end())
            return Error{Error::Kind::other, fmt::format("there is no session \"{}\"; see sessions list", wanted)};
        if (std::find_if(found + 1, sessions.end(), matches) != sessions.end())
            return Error{Error::Kind::other, fmt::format("more than one session begins with \"{}\"", wanted)};
        return *found;
    }

    static std::string length(Session const& session)
    {
        auto const whole = std::chrono::floor<std::chrono::seconds>(session.endedAt - session.startedAt).count();
        return fmt::format("{}:{:02}", std::max<std::int64_t>(0, whole) / 60, std::max<std::int64_t>(0, whole) % 60);
    }

    static std::string languages(Session const& session)
    {
        return Catalog::name(session.sourceLang) + " → " + Catalog::name(session.targetLang);
    }

    int printList(std::vector<Session> const& sessions, std::string const& nothing)
    {
        bool const isJson = m_arguments.listing == Arguments::Listing::json;
        if (sessions.empty() && !isJson)
            complain(nothing);
        std::string text = isJson ? "[" : "";
        for (auto const& session : sessions) {
            if (isJson) {
                auto record = StoredForm::fields(session);
                record.update({{"title", session.title(m_locale)}, {"lines", session.lines.size()},
                    {"path", m_store.path(session.id).string()}});
                text += (text.size() > 1 ? ",\n" : "\n") + record.dump();
            } else {
                text += fmt::format("{}  {:<24}  {:>7}  {:>4} {:<5}  {:<28}  {}\n", session.id.substr(0, 8),
                    m_locale.dateAndTime(session.startedAt), length(session), session.lines.size(),
                    session.lines.size() == 1 ? "line" : "lines", languages(session), session.profileName);
            }
        }
        return print(isJson ? text + "\n]\n" : text);
    }

    int list(std::string const&) { return printList(m_store.sessions().get(), "there are no sessions yet"); }
    int search(std::string const& query)
    {
        return printList(m_store.search(query), fmt::format("no session holds \"{}\"", query));
    }

    int show(std::string const& id)
    {
        auto const session = find(id);
        if (!session)
            return badArguments(session.error().message);
        return print(fmt::format("{}\n{} · {} · {} · {}\n\n{}", session->title(m_locale), languages(*session),
            m_locale.dateAndTime(session->startedAt), length(*session), session->id,
            TranscriptForms::text(session->lines)));
    }

    int exportOne(std::string const& id)
    {
        auto const session = find(id);
        if (!session)
            return badArguments(session.error().message);
        auto const& file = m_arguments.outputFile;
        auto const form
            = m_arguments.format ? *m_arguments.format : Arguments::formOf(file).value_or(Arguments::Form::text);
        auto const text = transcriptIn(form, *session);
        if (file.empty())
            return print(text);
        auto const error = writeFile(file, text);
        return error ? failed(error->message) : exitDone;
    }

    int remove(std::string const& id)
    {
        auto const session = find(id);
        if (!session)
            return badArguments(session.error().message);
        m_store.remove(*session);
        for (auto const& left : m_store.sessions().get()) {
            if (left.id == session->id)
                return failed(m_store.path(session->id).string() + ": cannot be removed");
        }
        return exitDone;
    }

    int summarize(std::string const& id)
    {
        auto const session = find(id);
        if (!session)
            return badArguments(session.error().message);
        auto plan = RunPlan::make(m_arguments);
        if (!plan)
            return badArguments(plan.error().message);
        auto const summary = Summary(m_registry, std::move(*plan)).of(TranscriptForms::sessionText(session->lines));
        return summary ? print(*summary + '\n') : failed(summary.error().message);
    }

    Arguments const& m_arguments;
    Registry m_registry;
    SessionStore m_store;
    UserLocale m_locale;
};

} // namespace

int sessionsCommand(Arguments const& arguments) { return Archive(arguments).run(); }

} // namespace lingrelay
