#pragma once

#include "base/Observable.h"
#include "base/Result.h"
#include "base/async/Task.h"
#include "model/AppModel.h"
#include "sessions/TextFilter.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

class UserLocale;

/// The archived sessions, one JSON file each in a folder that only the user may read, newest first. Files that cannot
/// be read as a session are left alone and not listed. Nothing is ever removed but by the user. Shared; main.
class SessionStore {
public:
    /// Lines that do not change any more; copies share them, so that lists of sessions are cheap to copy.
    class Lines {
    public:
        using List = std::vector<AppModel::Line>;

        Lines() : Lines(List()) { }
        Lines(List lines) : m_lines(std::make_shared<List const>(std::move(lines))) { }
        Lines(std::initializer_list<AppModel::Line> lines) : Lines(List(lines)) { }

        operator List const&() const { return *m_lines; }
        List const* operator->() const { return m_lines.get(); }
        auto begin() const { return m_lines->begin(); }
        auto end() const { return m_lines->end(); }
        std::size_t size() const { return m_lines->size(); }
        bool empty() const { return m_lines->empty(); }
        AppModel::Line const& operator[](std::size_t index) const { return (*m_lines)[index]; }
        bool operator==(Lines const& other) const { return m_lines == other.m_lines || *m_lines == *other.m_lines; }

    private:
        std::shared_ptr<List const> m_lines;
    };

    /// One finished run.
    struct Session {
        std::string id; ///< UUID, upper case; the file's name too
        Date startedAt;
        Date endedAt;
        std::string mode; ///< "listen", "speak" or "both"
        std::string sourceLang; ///< of the listen direction, whatever the mode
        std::string targetLang;
        std::string profileName; ///< empty when no context profile was active
        Lines lines;

        /// The profile's name, else the start as the user's locale writes it.
        std::string title() const;
        std::string title(UserLocale const& locale) const;

        bool operator==(Session const&) const = default;
    };

    explicit SessionStore(std::filesystem::path folder);
    ~SessionStore();
    static SessionStore& shared();
    /// Where sessions are kept unless the user names another folder.
    static std::filesystem::path defaultFolder();

    /// Loaded when first touched. Only the store assigns it.
    Observable<std::vector<Session>>& sessions();

    /// Reads the folder again. Files that have not changed since are not parsed again.
    void load();

    /// Loads as `sessions` does, but reads on `disk`, which takes seconds for thousands of sessions. On `main`; the
    /// store and both schedulers outlive it.
    Task<void> load(Scheduler& disk, Scheduler& main);

    /// Those whose title, or any line's source or translation, holds `query` in any case, in order; all for an empty
    /// one.
    std::vector<Session> search(std::string_view query);
    /// The same in turns of a few milliseconds each, on the scheduler of the task, which is the store's. Nothing once
    /// `wanted` says no, or the sessions have changed.
    Task<std::optional<std::vector<Session>>> search(std::string query, std::function<bool()> wanted);

    /// Removes the session's file for good.
    void remove(Session const& session);

    /// Writes the session's file and gives its path. Not safe from power cuts before `PrivateFiles::sync`.
    Result<std::filesystem::path> archive(Session const& session);

    /// The session in a file; nothing when it is not one.
    static std::optional<Session> read(std::filesystem::path const& path);

    std::filesystem::path const& folder() const { return m_folder; }
    std::filesystem::path path(std::string const& id) const;

private:
    /// Tells a changed file from the one that was read.
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t node = 0;
        std::int64_t size = 0;
        std::int64_t changed = 0; ///< nanoseconds of the wall clock

        bool operator==(Stamp const&) const = default;
    };
    struct File {
        std::string name;
        std::optional<Stamp> stamp; ///< none while the file is too young to tell by
    };
    struct Entry {
        Entry(File f, Session s, std::string t, std::shared_ptr<TextFilter> filter)
            : file(std::move(f))
            , session(std::move(s))
            , folded(std::move(t))
            , column(std::move(filter), folded)
        {
        }
        File file;
        Session session;
        std::string folded; ///< title and texts as they are searched
        TextFilter::Column column;

        bool holds(std::string_view text) const
        {
            return ::memmem(folded.data(), folded.size(), text.data(), text.size()) != nullptr;
        }
    };

    static std::optional<Stamp> stampOf(int folder, char const* name);
    std::vector<File> files() const;
    void dropCopies();
    std::string foldedTexts(Session const& session) const;
    /// What is looked for in the folded texts; none for a query that nothing can hold.
    std::optional<std::string> folded(std::string_view query) const;
    void noteColumns();

    std::filesystem::path m_folder;
    std::unique_ptr<UserLocale> m_locale;
    bool m_loaded = false;
    int m_written = 0; ///< sessions, by this store
    int m_loads = 0;
    std::shared_ptr<TextFilter> m_filter = std::make_shared<TextFilter>();
    std::vector<std::unique_ptr<Entry>> m_entries; ///< in the order of `m_sessions`
    std::vector<std::size_t> m_columns; ///< of the entries, side by side, so that most need not be touched
    Observable<std::vector<Session>> m_sessions;
};

} // namespace lingrelay
