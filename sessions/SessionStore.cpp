#include "sessions/SessionStore.h"

#include "base/Registry.h"
#include "base/Text.h"
#include "base/UserFolders.h"
#include "base/async/OneShot.h"
#include "sessions/PrivateFiles.h"
#include "sessions/StoredForm.h"
#include "sessions/TranscriptForms.h"
#include "sessions/UserLocale.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unordered_map>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view ending = ".json";

/// About four milliseconds.
constexpr std::size_t bytesATurn = 4 << 20;
/// No byte of UTF-8, so that nothing is found across the end of a text.
constexpr char endOfText = '\xFF';

/// File systems count time in steps as long as this: what changed within one may change again unseen.
constexpr auto coarsestStep = std::chrono::seconds(2);

/// `content` is room to read into, kept from file to file.
std::optional<SessionStore::Session> readSession(fs::path const& path, std::string& content)
{
    auto value = PrivateFiles::read(path, content) ? parseJson(content) : std::nullopt;
    return value ? StoredForm::session(*value) : std::nullopt;
}

} // namespace

std::string SessionStore::Session::title() const { return profileName.empty() ? title(UserLocale()) : profileName; }

std::string SessionStore::Session::title(UserLocale const& locale) const
{
    return profileName.empty() ? locale.dateAndTime(startedAt) : profileName;
}

SessionStore::SessionStore(fs::path folder) : m_folder(std::move(folder)) { }
SessionStore::~SessionStore() = default;

SessionStore& SessionStore::shared() { return Registry::get<SessionStore>(); }

fs::path SessionStore::defaultFolder() { return UserFolders::data() / "LingrelayPro/Sessions"; }

fs::path SessionStore::path(std::string const& id) const { return m_folder / (id + std::string(ending)); }

Observable<std::vector<SessionStore::Session>>& SessionStore::sessions()
{
    if (!m_loaded)
        load();
    return m_sessions;
}

/// The names in the folder that end in ".json", in the listing's order, each with the file's stamp.
std::vector<SessionStore::File> SessionStore::files() const
{
    auto const close = [](DIR* folder) { ::closedir(folder); };
    std::unique_ptr<DIR, decltype(close)> const listing(::opendir(m_folder.c_str()), close);
    std::vector<File> files;
    while (auto const* entry = listing ? ::readdir(listing.get()) : nullptr) {
        std::string_view const name = entry->d_name;
        if (name.size() > ending.size() && name.ends_with(ending))
            files.push_back({std::string(name), stampOf(::dirfd(listing.get()), entry->d_name)});
    }
    return files;
}

std::optional<SessionStore::Stamp> SessionStore::stampOf(int folder, char const* name)
{
    struct stat status { };
    if (::fstatat(folder, name, &status, 0) != 0)
        return {};
    using namespace std::chrono;
    auto const changed = std::chrono::seconds(status.st_ctim.tv_sec) + nanoseconds(status.st_ctim.tv_nsec);
    auto const now = system_clock::now().time_since_epoch();
    if (changed > now - coarsestStep)
        return {};
    return Stamp{status.st_dev, status.st_ino, status.st_size, changed.count()};
}

std::string SessionStore::foldedTexts(Session const& session) const
{
    std::string result;
    std::size_t length = session.profileName.size() + 64;
    for (auto const& line : session.lines)
        length += line.source.size() + line.translation.size() + 2;
    result.reserve(length);
    m_locale->fold(session.title(*m_locale), result);
    for (auto const& line : session.lines) {
        for (auto const* text : {&line.source, &line.translation}) {
            result += endOfText;
            m_locale->fold(*text, result);
        }
    }
    return result;
}

/// A file that somebody has copied is the same session once more.
void SessionStore::dropCopies()
{
    std::unordered_map<std::string, std::string> files; ///< by id; the one that bears it wins
    for (auto const& entry : m_entries) {
        auto const [found, isNew] = files.emplace(entry->session.id, entry->file.name);
        if (!isNew && entry->file.name == path(entry->session.id).filename())
            found->second = entry->file.name;
    }
    std::erase_if(m_entries, [&](auto const& entry) { return files.at(entry->session.id) != entry->file.name; });
}

void SessionStore::load()
{
    ++m_loads;
    PrivateFiles::makeFolder(m_folder);
    if (!m_locale)
        m_locale = std::make_unique<UserLocale>();
    std::unordered_map<std::string_view, std::unique_ptr<Entry>> known;
    for (auto& entry : m_entries) {
        std::string_view const name = entry->file.name;
        known.emplace(name, std::move(entry));
    }
    m_entries.clear();
    std::string content;
    for (auto& file : files()) { // stamped before it is read: a later change gives another stamp
        auto const before = known.find(file.name);
        if (file.stamp && before != known.end() && before->second->file.stamp == file.stamp)
            m_entries.push_back(std::move(before->second));
        else if (auto session = readSession(m_folder / file.name, content)) {
            auto folded = foldedTexts(*session);
            m_entries.push_back(
                std::make_unique<Entry>(std::move(file), std::move(*session), std::move(folded), m_filter));
        }
    }
    dropCopies();
    std::stable_sort(m_entries.begin(), m_entries.end(),
        [](auto const& a, auto const& b) { return a->session.startedAt > b->session.startedAt; });
    noteColumns();
    m_loaded = true;
    std::vector<Session> sessions;
    sessions.reserve(m_entries.size());
    for (auto const& entry : m_entries)
        sessions.push_back(entry->session);
    m_sessions = std::move(sessions);
}

Task<void> SessionStore::load(Scheduler& disk, Scheduler& main)
{
    if (m_loaded)
        co_return;
    auto const reader = std::make_shared<SessionStore>(m_folder);
    auto const written = m_written;
    OneShot<bool> read;
    disk.post([reader, read, &main] {
        reader->load();
        main.post([read] { read.set(true); });
    });
    co_await read.take();
    if (m_loaded)
        co_return;
    ++m_loads;
    m_filter = std::move(reader->m_filter);
    m_entries = std::move(reader->m_entries);
    m_columns = std::move(reader->m_columns);
    m_locale = std::move(reader->m_locale);
    if (m_written != written)
        co_return load();
    m_loaded = true;
    m_sessions = reader->m_sessions.get();
}

std::vector<SessionStore::Session> SessionStore::search(std::string_view query)
{
    auto const& all = sessions().get();
    if (query.empty())
        return all;
    std::vector<Session> found;
    auto const wanted = folded(query);
    if (!wanted)
        return found;
    auto const candidates = m_filter->candidates(*wanted);
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (candidates.has(m_columns[i]) && m_entries[i]->holds(*wanted))
            found.push_back(m_entries[i]->session);
    }
    return found;
}

void SessionStore::noteColumns()
{
    m_columns.clear();
    for (auto const& entry : m_entries)
        m_columns.push_back(entry->column.number());
}

Task<std::optional<std::vector<SessionStore::Session>>> SessionStore::search(
    std::string query, std::function<bool()> wanted)
{
    auto const& all = sessions().get();
    if (query.empty())
        co_return all;
    std::vector<Session> found;
    auto const text = folded(query);
    if (!text)
        co_return found;
    auto const loads = m_loads;
    auto const candidates = m_filter->candidates(*text);
    for (std::size_t next = 0; next < m_entries.size();) {
        for (std::size_t read = 0; next < m_entries.size() && read < bytesATurn; ++next) {
            if (!candidates.has(m_columns[next]))
                continue;
            auto const& entry = *m_entries[next];
            read += entry.folded.size() + sizeof entry;
            if (entry.holds(*text))
                found.push_back(entry.session);
        }
        co_await sleep(Duration::zero());
        if (!wanted() || loads != m_loads)
            co_return std::nullopt;
    }
    co_return found;
}

std::optional<std::string> SessionStore::folded(std::string_view query) const
{
    if (!isUtf8(query))
        return {};
    std::string result;
    m_locale->fold(query, result);
    return result;
}

void SessionStore::remove(Session const& session)
{
    PrivateFiles::makeFolder(m_folder);
    sessions();
    auto const sameId = [id = session.id](auto const& entry) { return entry->session.id == id; };
    bool removed = false;
    do { // each time the next copy of its file comes to light
        auto const found = std::find_if(m_entries.begin(), m_entries.end(), sameId);
        removed = found != m_entries.end() && PrivateFiles::remove(m_folder / (*found)->file.name);
        load();
    } while (removed && std::any_of(m_entries.begin(), m_entries.end(), sameId));
}

Result<fs::path> SessionStore::archive(Session const& session)
{
    PrivateFiles::makeFolder(m_folder);
    auto file = path(session.id);
    auto error = PrivateFiles::write(file, TranscriptForms::json(session));
    ++m_written;
    if (m_loaded) // a list that nobody has looked at need not be read for this
        load();
    if (error)
        return std::move(*error);
    return file;
}

std::optional<SessionStore::Session> SessionStore::read(fs::path const& path)
{
    std::string content;
    return readSession(path, content);
}

} // namespace lingrelay
