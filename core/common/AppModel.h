#pragma once

#include "base/Time.h"

#include <string>

namespace lingrelay {

/// The one observable state of the program that the controller writes and views read; main thread.
class AppModel {
public:
    enum class StatusKind { idle, connecting, live, warning, error };
    enum class Direction { listen, speak };

    /// One transcript line: a clause is one line.
    struct Line {
        std::string id; ///< UUID, upper case
        Date at;
        Direction direction = Direction::listen;
        std::string source; ///< may be empty
        std::string translation;
        std::string speaker; ///< the recogniser's label, or empty

        bool operator==(Line const&) const = default;
    };
};

/// The stored words: "listen", "speak"; "idle", "connecting", "live", "warning", "error".
char const* rawValue(AppModel::Direction direction);
char const* rawValue(AppModel::StatusKind kind);

} // namespace lingrelay
