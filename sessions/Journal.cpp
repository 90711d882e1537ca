#include "sessions/Journal.h"

#include "base/Log.h"
#include "base/Uuid.h"
#include "sessions/PrivateFiles.h"
#include "sessions/StoredForm.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;
using Session = SessionStore::Session;

/// As many as the transcript keeps.
constexpr std::size_t mostLines = 2000;
constexpr auto ending = ".jsonl";
constexpr auto clearedKey = "cleared";

/// A session is lost to a power cut for this long: waiting for the disk at each line would wear it and buys little.
constexpr Duration syncDelay = seconds(1.0);

std::string record(nlohmann::ordered_json const& value)
{
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

/// Takes the lock that the session's program holds for as long as it lives. Not given when it is held, or when the
/// file was removed by whoever held it before.
bool lock(FileHandle const& file)
{
    struct stat status { };
    return file && ::flock(*file, LOCK_EX | LOCK_NB) == 0 && ::fstat(*file, &status) == 0 && status.st_nlink > 0;
}

/// Makes a journal's file. One who was recovering may have removed it before we had its lock: then it is made anew.
std::shared_ptr<FileHandle> openLocked(fs::path const& path)
{
    for (int attempt = 0; attempt < 3; ++attempt) {
        auto file = std::make_shared<FileHandle>(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0600));
        if (lock(*file))
            return file;
    }
    return nullptr;
}

/// The session that the records tell of. Records that make no sense are passed over: the last one may be torn, and
/// after a power cut others may be.
Session replay(std::string_view records, std::string const& id)
{
    std::optional<Session> session;
    std::vector<AppModel::Line> lines;
    while (!records.empty()) {
        auto const end = std::min(records.find('\n'), records.size() - 1);
        auto value = parseJson(records.substr(0, end + 1));
        records.remove_prefix(end + 1);
        if (!value || !value->is_object())
            continue;
        if (value->contains(clearedKey)) {
            lines.clear();
        } else if (value->contains("at")) {
            if (auto line = StoredForm::line(*value))
                lines.push_back(std::move(*line));
        } else if (auto fields = StoredForm::sessionWithoutLines(*value)) {
            session = std::move(fields);
        }
    }
    if (lines.size() > mostLines)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(mostLines));
    if (!session) { // better a session of unknown languages than none
        session.emplace();
        session->id = id;
        session->startedAt = lines.empty() ? Date() : lines.front().at;
        session->mode = "listen";
    }
    session->endedAt = lines.empty() ? session->startedAt : std::max(session->startedAt, lines.back().at);
    session->lines = std::move(lines);
    return std::move(*session);
}

} // namespace

Journal::Journal(
    fs::path path, std::shared_ptr<FileHandle> file, std::string sessionId, Scheduler& main, Scheduler& background)
    : m_path(std::move(path))
    , m_file(std::move(file))
    , m_sessionId(std::move(sessionId))
    , m_main(main)
    , m_background(background)
{
}

Journal::~Journal()
{
    m_main.stopTimer(m_timer);
    if (m_file && !m_unwritten.empty())
        write({});
}

Result<std::unique_ptr<Journal>> Journal::begin(
    SessionStore const& store, Session const& session, Scheduler& main, Scheduler& background)
{
    auto const inFolder = folder(store);
    PrivateFiles::makeFolder(inFolder);
    auto path = inFolder / (session.id + ending);
    auto file = openLocked(path);
    if (!file)
        return PrivateFiles::failure(path, "written");
    std::unique_ptr<Journal> journal(new Journal(std::move(path), std::move(file), session.id, main, background));
    auto records = record(StoredForm::fields(session));
    for (auto const& line : session.lines)
        records += record(StoredForm::line(line));
    if (auto error = journal->write(records)) {
        journal->discard();
        return std::move(*error);
    }
    return journal;
}

std::optional<Error> Journal::describe(Session const& session) { return write(record(StoredForm::fields(session))); }

std::optional<Error> Journal::append(AppModel::Line const& line) { return write(record(StoredForm::line(line))); }

std::optional<Error> Journal::clear() { return write(record({{clearedKey, true}})); }

std::optional<Error> Journal::write(std::string const& records)
{
    if (!m_file)
        return {};
    m_unwritten += records;
    while (!m_unwritten.empty()) {
        auto const count = ::write(**m_file, m_unwritten.data(), m_unwritten.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return PrivateFiles::failure(m_path, "written");
        m_unwritten.erase(0, static_cast<std::size_t>(count));
    }
    syncSoon();
    return {};
}

void Journal::syncSoon()
{
    if (m_timer != 0)
        return;
    m_timer = m_main.startTimer(m_main.now() + syncDelay, [this] {
        m_timer = 0;
        m_background.post([file = m_file] { ::fdatasync(**file); });
    });
}

void Journal::discard()
{
    m_main.stopTimer(std::exchange(m_timer, 0));
    m_unwritten.clear();
    if (std::exchange(m_file, nullptr))
        ::unlink(m_path.c_str());
}

void Journal::discardFor(fs::path archived)
{
    m_main.stopTimer(std::exchange(m_timer, 0));
    m_unwritten.clear();
    if (auto file = std::exchange(m_file, nullptr))
        m_background.post([file = std::move(file), path = m_path, archived = std::move(archived)] {
            std::error_code error;
            if (PrivateFiles::sync(archived) || !fs::exists(archived, error))
                ::unlink(path.c_str());
        });
}

std::vector<fs::path> Journal::recover(SessionStore& store, Scheduler* disk)
{
    std::vector<fs::path> journals;
    std::error_code error;
    for (fs::directory_iterator file(folder(store), error), end; !error && file != end; file.increment(error)) {
        if (file->path().extension() == ending)
            journals.push_back(file->path());
    }
    std::vector<fs::path> recovered;
    std::string records;
    for (auto const& path : journals) {
        auto const file = std::make_shared<FileHandle>(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!lock(*file) || !PrivateFiles::read(*file, records))
            continue;
        auto const stem = path.stem().string();
        auto const session = replay(records, isUuid(stem) ? stem : newUuid());
        if (!session.lines.empty() && !SessionStore::read(store.path(session.id))) {
            auto archived = store.archive(session);
            if (!archived) {
                Log::write("[journal] {}", archived.error().message);
                continue;
            }
            auto const letGo = [file, path, session = *archived] { // still locked
                if (PrivateFiles::sync(session))
                    ::unlink(path.c_str());
                else
                    Log::write("[journal] {} may not be on the disk yet", session.string());
            };
            recovered.push_back(std::move(*archived));
            if (disk)
                disk->post(letGo);
            else
                letGo();
        } else {
            ::unlink(path.c_str());
        }
    }
    return recovered;
}

} // namespace lingrelay
