#include "platform/linux/FileDefaults.h"

#include "base/Log.h"

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

FileDefaults::FileDefaults(std::filesystem::path path) : m_path(std::move(path)), m_values(Json::object())
{
    std::ifstream file(m_path, std::ios::binary);
    if (!file)
        return;
    std::stringstream text;
    text << file.rdbuf();
    if (auto parsed = parseJson(text.str()); parsed && parsed->is_object()) {
        m_values = std::move(*parsed);
        return;
    }
    std::error_code ignored;
    std::filesystem::rename(m_path, m_path.string() + ".damaged", ignored);
    Log::write("[defaults] damaged store set aside: {}.damaged", m_path.string());
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
    if (value.is_null() ? m_values.erase(key) == 0 : (m_values.contains(key) && m_values[key] == value))
        return;
    if (!value.is_null())
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

/// Changes that come while one is being written are written together.
void FileDefaults::writeChanges()
{
    std::unique_lock lock(m_mutex);
    while (true) {
        m_news.wait(lock, [this] { return m_changed || m_ending; });
        if (!m_changed)
            return;
        m_changed = false;
        m_writing = true;
        auto const text = m_values.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
        lock.unlock();
        write(text);
        lock.lock();
        m_writing = false;
        m_news.notify_all();
    }
}

void FileDefaults::write(std::string const& text) const
{
    std::error_code ignored;
    if (auto const folder = m_path.parent_path(); !folder.empty() && !std::filesystem::exists(folder, ignored)) {
        std::filesystem::create_directories(folder, ignored);
        ::chmod(folder.c_str(), 0700);
    }
    auto const temporary = m_path.string() + ".new";
    int const file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    bool good = file >= 0;
    for (std::size_t done = 0; good && done < text.size();) {
        auto const count = ::write(file, text.data() + done, text.size() - done);
        good = count > 0;
        done += good ? static_cast<std::size_t>(count) : 0;
    }
    good = good && ::fsync(file) == 0;
    if (file >= 0)
        ::close(file);
    if (!good || ::rename(temporary.c_str(), m_path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        Log::write("[defaults] could not write {}", m_path.string());
    }
}

} // namespace lingrelay
