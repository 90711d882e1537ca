#pragma once

#include "base/Observable.h"
#include "model/AppModel.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// The sections of the main window, and which one is on show. The choice is kept under "sidebarSection" and follows
/// the model's `requestedSection`. Main; the model outlives it.
class Sections {
public:
    enum class Group { session, settings };

    struct Section {
        char const* rawValue;
        char const* english;
        char const* vietnamese;
        char const* icon; ///< of the program's own set
        Group group;

        std::string title() const;
    };

    /// All sections, in the order of the sidebar.
    static std::vector<Section> const& all();
    static Section const* find(std::string_view rawValue);

    explicit Sections(AppModel& model);

    Section const& current() const { return *m_current; }
    /// A text that names no section is ignored.
    void choose(std::string_view rawValue);

    Observable<std::string>& chosen() { return m_chosen; }

private:
    AppModel& m_model;
    Section const* m_current;
    Observable<std::string> m_chosen; ///< the raw value
    Subscription m_requests;
};

} // namespace lingrelay
