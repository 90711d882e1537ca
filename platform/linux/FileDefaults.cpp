#include "platform/linux/FileDefaults.h"

#include "base/Log.h"

#include <chrono>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace fs = std::filesystem;

namespace {

/// How long another program is waited for that has the lock. It needs a moment, unless it was stopped in that moment.
constexpr auto lockTime = std::chrono::seconds(2);

/// Only one program at a time replaces the file. Best effort where the folder takes no lock file.
class Lock {
public:
    explicit Lock(fs::path const& store)
        : m_file(::open((store.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        auto const deadline = std::chrono::steady_clock::now() + lockTime;
        while (m_file >= 0 && ::flock(m_file, LOCK_EX | LOCK_NB) != 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ~Lock()
    {
        if (m_file >= 0)
            ::close(m_file);
    }
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;

private:
    int m_file;
};

struct Stored {
    bool there = false;
    std::string text;
    std::optional<Json> values; ///< nothing: absent or damaged
};

Stored read(fs::path const& path)
{
    Stored stored;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return stored;
    stored.there = true;
    std::stringstream text;
    text << file.rdbuf();
    stored.text = text.str();
    if (auto parsed = parseJson(stored.text); parsed && parsed->is_object())
        stored.values = std::move(parsed);
    return stored;
}

fs::path moveAside(fs::path const& path)
{
    std::error_code error;
    fs::path place = path.string() + ".damaged";
    for (int number = 2; fs::exists(place, error); ++number)
        place = fmt::format("{}.damaged.{}", path.string(), number);
    fs::rename(path, place, error);
    Log::write("[defaults] damaged store set aside: {}", place.string());
    return place;
}

/// What stands in quotes before a colon, wherever that is: a key too many does no harm.
Json keysIn(std::string_view text)
{
    auto keys = Json::array();
    for (auto start = text.find('"'); start != std::string_view::npos; start = text.find('"', start)) {
        auto const end = text.find('"', ++start);
        auto const after = end == std::string_view::npos ? end : text.find_first_not_of(" \t\r\n", end + 1);
        if (after == std::string_view::npos)
            break;
        auto const key = text.substr(start, end - start);
        if (text[after] == ':') {
            keys.push_back(std::string(key));
            start = after;
        }
    }
    return keys;
}

void makeFolder(fs::path const& folder)
{
    std::error_code ignored;
    if (folder.empty() || fs::exists(folder, ignored))
        return;
    fs::create_directories(folder, ignored);
    ::chmod(folder.c_str(), 0700);
}

/// The whole text in a new file in the place of the old one.
bool replace(fs::path const& path, std::string_view text)
{
    auto fresh = path.string() + ".XXXXXX";
    int const file = ::mkostemp(fresh.data(), O_CLOEXEC);
    if (file < 0)
        return false;
    bool good = true;
    while (good && !text.empty()) {
        auto const count = ::write(file, text.data(), text.size());
        good = count > 0;
        text.remove_prefix(good ? static_cast<std::size_t>(count) : 0);
    }
    good = good && ::fsync(file) == 0;
    ::close(file);
    if (good && ::rename(fresh.c_str(), path.c_str()) == 0)
        return true;
    ::unlink(fresh.c_str());
    return false;
}

} // namespace

FileDefaults::FileDefaults(fs::path path) : m_path(std::move(path)), m_values(Json::object()), m_changes(Json::object())
{
    auto stored = read(m_path);
    if (stored.there && !stored.values) {
        Lock const lock(m_path);
        stored = read(m_path); // another program may have found the damage too
        if (stored.there && !stored.values)
            m_setAside = moveAside(m_path);
    }
    if (stored.values)
        m_values = std::move(*stored.values);
    if (auto keys = m_setAside ? keysIn(stored.text) : Json::array(); !keys.empty())
        set(lostKey, std::move(keys));
}

FileDefaults::~FileDefaults()
{
    {
        std::lock_guard const lock(m_mutex);
        m_ending = true;
    }
    m_news.notify_all();
    if (m_writer.joinable())
        m_writer.join();
}

std::optional<Json> FileDefaults::value(std::string const& key) const
{
    std::lock_guard const lock(m_mutex);
    auto const found = m_values.find(key);
    return found == m_values.end() ? std::optional<Json>() : *found;
}

void FileDefaults::set(std::string const& key, Json value)
{
    std::lock_guard const lock(m_mutex);
    if (auto const found = m_values.find(lostKey); found != m_values.end() && found->is_array()) {
        auto left = *found;
        std::erase_if(left.get_ref<Json::array_t&>(),
            [&](Json const& each) { return each.is_string() && each.get_ref<std::string const&>() == key; });
        change(lostKey, left.empty() ? Json() : std::move(left));
    }
    change(key, std::move(value));
}

void FileDefaults::change(std::string const& key, Json value)
{
    auto const found = m_values.find(key);
    if (found == m_values.end() ? value.is_null() : *found == value)
        return;
    m_changes[key] = value;
    if (value.is_null())
        m_values.erase(found);
    else
        m_values[key] = std::move(value);
    m_changed = true;
    if (!m_writer.joinable())
        m_writer = std::thread([this] { writeChanges(); });
    m_news.notify_all();
}

void FileDefaults::flush()
{
    std::unique_lock lock(m_mutex);
    m_news.wait(lock, [this] { return !m_changed && !m_writing; });
}

/// Changes that come while others are being written are written together.
void FileDefaults::writeChanges()
{
    std::unique_lock lock(m_mutex);
    while (true) {
        m_news.wait(lock, [this] { return m_changed || m_ending; });
        if (!m_changed)
            return;
        m_changed = false;
        m_writing = true;
        auto const changes = m_changes;
        auto const known = m_values;
        lock.unlock();
        bool const written = write(changes, known);
        lock.lock();
        // What could not be written is tried again with the next change.
        for (auto const& [key, value] : changes.items()) {
            if (written && m_changes[key] == value)
                m_changes.erase(key);
        }
        m_writing = false;
        m_news.notify_all();
    }
}

bool FileDefaults::write(Json const& changes, Json const& known) const
{
    makeFolder(m_path.parent_path());
    Lock const lock(m_path);
    auto stored = read(m_path);
    if (stored.there && !stored.values)
        moveAside(m_path);
    auto values = stored.values.value_or(known);
    for (auto const& [key, value] : changes.items()) {
        if (value.is_null())
            values.erase(key);
        else
            values[key] = value;
    }
    bool const good = replace(m_path, values.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
    if (!good)
        Log::write("[defaults] could not write {}", m_path.string());
    return good;
}

} // namespace lingrelay
