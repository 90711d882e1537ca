#include "core/common/AppModel.h"

namespace lingrelay {

char const* rawValue(AppModel::Direction direction)
{
    return direction == AppModel::Direction::listen ? "listen" : "speak";
}

char const* rawValue(AppModel::StatusKind kind)
{
    switch (kind) {
    case AppModel::StatusKind::idle:
        return "idle";
    case AppModel::StatusKind::connecting:
        return "connecting";
    case AppModel::StatusKind::live:
        return "live";
    case AppModel::StatusKind::warning:
        return "warning";
    case AppModel::StatusKind::error:
        return "error";
    }
    return "";
}

} // namespace lingrelay
