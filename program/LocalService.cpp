#include "program/LocalService.h"

#include "base/Text.h"
#include "config/L10n.h"
#include "config/Languages.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

constexpr auto programName = "lingrelay-service";
constexpr Duration startLimit = seconds(15.0);
constexpr Duration pollTime = seconds(0.005);
constexpr Duration watchTime = seconds(1.0);
constexpr int endPolls = 100; ///< of 5 milliseconds each, before it is killed

Error failure(std::string message) { return {Error::Kind::other, std::move(message)}; }

bool runnable(fs::path const& path) { return fs::is_regular_file(path) && ::access(path.c_str(), X_OK) == 0; }

/// Reads "listening 127.0.0.1:PORT TOKEN".
std::optional<LocalService::Address> parseFirstLine(std::string_view line)
{
    constexpr std::string_view start = "listening 127.0.0.1:";
    if (!line.starts_with(start))
        return {};
    line.remove_prefix(start.size());
    unsigned port = 0;
    auto const [stop, error] = std::from_chars(line.data(), line.data() + line.size(), port);
    if (error != std::errc() || port == 0 || port > 65535)
        return {};
    auto const token = trimWhitespace(line.substr(static_cast<std::size_t>(stop - line.data())));
    auto const place = fmt::format("127.0.0.1:{}", port);
    return LocalService::Address{
        {"ws://" + place, "ws://" + place, "http://" + place + "/v1", "http://" + place}, std::string(token)};
}

/// Reads "translates en ca es", which a service may print next.
void parseLanguages(std::string_view line, LocalService::Address& address)
{
    constexpr std::string_view start = "translates ";
    if (!line.starts_with(start))
        return;
    std::istringstream words{std::string(line.substr(start.size()))};
    words >> address.source;
    for (std::string word; words >> word;)
        address.targets.push_back(word);
}

std::string named(std::string const& code) { return fmt::format("{} ({})", Catalog::name(code), code); }

/// In the child, between fork and exec: async-signal-safe calls only.
[[noreturn]] void becomeService(char const* program, int output, int errors, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent)
        ::_exit(127);
    ::setpgid(0, 0); // Ctrl-C on the terminal is for the program that uses the service
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    if (int const null = ::open("/dev/null", O_RDWR); null >= 0)
        ::dup2(null, 0);
    ::dup2(output, 1);
    ::dup2(errors, 2);
    char const* const arguments[] = {program, nullptr};
    ::execv(program, const_cast<char* const*>(arguments));
    ::_exit(127);
}

} // namespace

std::string LocalService::Address::problem(AppSettings const& settings) const
{
    auto const able = [this](std::string const& from, std::string const& to) {
        return (from == source || from == "auto")
            && (to == source || std::find(targets.begin(), targets.end(), to) != targets.end());
    };
    auto const& wanted = settings;
    bool const listens = wanted.mode != AppSettings::Mode::speak;
    bool const speaks = wanted.mode != AppSettings::Mode::listen;
    bool const hears = !listens || able(wanted.sourceLang, wanted.targetLang);
    if (source.empty() || (hears && (!speaks || able(wanted.myLang, wanted.theirLang))))
        return {};
    std::vector<std::string> names;
    for (auto const& target : targets)
        names.push_back(named(target));
    return fmt::format(fmt::runtime(T("the local service cannot translate from {} to {}: it translates from {} to {}",
                           "dịch vụ trên máy không dịch được từ {} sang {}: nó chỉ dịch từ {} sang {}")),
        named(hears ? wanted.myLang : wanted.sourceLang), named(hears ? wanted.theirLang : wanted.targetLang),
        named(source), fmt::join(names, ", "));
}

LocalService::~LocalService()
{
    m_scheduler.stopTimer(m_timer);
    end();
}

std::optional<fs::path> LocalService::find()
{
    if (char const* chosen = std::getenv("LINGRELAY_SERVICE"); chosen && *chosen)
        return runnable(chosen) ? std::optional<fs::path>(chosen) : std::nullopt;
    std::error_code ignored;
    if (auto const beside = fs::read_symlink("/proc/self/exe", ignored).replace_filename(programName); runnable(beside))
        return beside;
    std::string_view folders = std::getenv("PATH") ? std::getenv("PATH") : "";
    while (!folders.empty()) {
        auto const end = std::min(folders.find(':'), folders.size());
        if (auto const path = fs::path(folders.substr(0, end)) / programName; end > 0 && runnable(path))
            return path;
        folders.remove_prefix(std::min(end + 1, folders.size()));
    }
    return {};
}

void LocalService::start(Started started)
{
    end(); // one that did not answer
    m_printed.clear();
    m_started = std::move(started);
    m_deadline = m_scheduler.now() + startLimit;
    auto const program = find();
    auto problem = program
        ? spawn(*program)
        : failure(T("the local service lingrelay-service was not found: install it, set LINGRELAY_SERVICE, or give a "
                    "key of your own (--set k.soniox=KEY, or General in the window)",
            "không tìm thấy dịch vụ trên máy lingrelay-service: hãy cài nó, đặt LINGRELAY_SERVICE, hoặc nhập khoá của "
            "bạn (--set k.soniox=KEY, hoặc trang Chung trong cửa sổ)"));
    if (problem) {
        m_scheduler.post([this, error = std::move(*problem)] { m_started(error); });
        return;
    }
    m_timer = m_scheduler.startTimer(m_scheduler.now() + pollTime, [this] { poll(); });
}

std::optional<Error> LocalService::spawn(fs::path const& program)
{
    auto const failed = [&] {
        return failure(program.string() + T(" cannot be started: ", " không khởi động được: ") + std::strerror(errno));
    };
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return failed();
    m_output = ends[0];
    ::fcntl(m_output, F_SETFL, O_NONBLOCK);
    m_errors = ::memfd_create("service-errors", MFD_CLOEXEC);
    auto const parent = ::getpid();
    m_process = ::fork();
    if (m_process == 0)
        becomeService(program.c_str(), ends[1], m_errors, parent);
    auto const problem = m_process < 0 ? std::optional(failed()) : std::nullopt;
    ::close(ends[1]);
    return problem;
}

void LocalService::poll()
{
    m_timer = 0;
    if (auto result = look()) {
        if (*result)
            watch();
        return m_started(std::move(*result));
    }
    m_timer = m_scheduler.startTimer(m_scheduler.now() + pollTime, [this] { poll(); });
}

void LocalService::watch()
{
    m_timer = m_scheduler.startTimer(m_scheduler.now() + watchTime, [this] {
        m_timer = 0;
        if (::waitpid(m_process, nullptr, WNOHANG) == 0)
            return watch();
        m_process = -1;
        if (onEnded)
            onEnded();
    });
}

std::optional<Result<LocalService::Address>> LocalService::look()
{
    char buffer[512];
    auto const count = ::read(m_output, buffer, sizeof buffer);
    if (count > 0)
        m_printed.append(buffer, static_cast<std::size_t>(count));
    if (auto const end = m_printed.find('\n'); end != std::string::npos) {
        if (auto address = parseFirstLine(std::string_view(m_printed).substr(0, end))) {
            parseLanguages(std::string_view(m_printed).substr(end + 1), *address); // written with the first one
            return *address;
        }
        return failure(
            T("the local service gave no address when it started", "dịch vụ trên máy không báo địa chỉ khi khởi động"));
    }
    if (count == 0)
        return failure(
            T("the local service ended when it started", "dịch vụ trên máy kết thúc ngay khi khởi động") + complaint());
    if (m_scheduler.now() >= m_deadline || m_printed.size() > 4096)
        return failure(
            T("the local service did not start in time", "dịch vụ trên máy không khởi động kịp") + complaint());
    return {};
}

/// The last line that it wrote to its standard error.
std::string LocalService::complaint() const
{
    std::string text(4096, '\0');
    auto const size = ::lseek(m_errors, 0, SEEK_END);
    auto const count
        = ::pread(m_errors, text.data(), text.size(), std::max<off_t>(0, size - static_cast<off_t>(text.size())));
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    auto const trimmed = trimWhitespace(text);
    auto const line = trimmed.substr(trimmed.rfind('\n') + 1);
    return line.empty() ? "" : ": " + std::string(line);
}

void LocalService::end()
{
    if (m_process > 0) {
        ::kill(m_process, SIGTERM);
        bool ended = false;
        for (int i = 0; i < endPolls && !ended; ++i) {
            ended = ::waitpid(m_process, nullptr, WNOHANG) != 0;
            if (!ended)
                ::usleep(5000);
        }
        if (!ended) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
        m_process = -1;
    }
    for (int* descriptor : {&m_output, &m_errors}) {
        if (*descriptor >= 0)
            ::close(std::exchange(*descriptor, -1));
    }
}

} // namespace lingrelay
