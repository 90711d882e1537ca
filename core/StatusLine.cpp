#include "core/StatusLine.h"

#include <algorithm>

namespace lingrelay {

void StatusLine::say(std::string text, AppModel::StatusKind kind) { show({std::move(text), kind}, {}); }

void StatusLine::sayOfStreams(std::string text, AppModel::StatusKind kind)
{
    m_streams = {std::move(text), kind};
    show(m_streams, {});
}

void StatusLine::begin(Trouble trouble, std::string text, Place place)
{
    if (place == Place::bannerAndStatus)
        show({text, AppModel::StatusKind::warning}, trouble);
    m_troubles[static_cast<std::size_t>(trouble)] = std::move(text);
    showBanner();
}

bool StatusLine::end(Trouble trouble)
{
    if (!stands(trouble))
        return false;
    m_troubles[static_cast<std::size_t>(trouble)].reset();
    showBanner();
    if (m_shown != trouble)
        return false;
    show(m_streams, {});
    return true;
}

void StatusLine::show(Words const& words, std::optional<Trouble> of)
{
    m_shown = of;
    m_model.status = words.text;
    m_model.statusKind = words.kind;
}

void StatusLine::showBanner()
{
    auto const first = std::find_if(m_troubles.begin(), m_troubles.end(), [](auto const& text) { return bool(text); });
    m_model.banner = first == m_troubles.end() ? "" : **first;
}

} // namespace lingrelay
