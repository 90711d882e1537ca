#include "platform/linux/pipewire/PipeWireMuter.h"

#include "platform/linux/pipewire/MutedStreams.h"

#include <cerrno>

namespace lingrelay {

std::variant<std::unique_ptr<SoundMuter::Silence>, SoundMuter::Failure> PipeWireMuter::silence()
{
    auto streams = std::make_unique<MutedStreams>(m_connection, m_guard, m_silences);
    PipeWireConnection::Lock const lock(m_connection);
    if (!m_connection.connected())
        return Failure{Step::tap, -EHOSTDOWN};
    if (auto const error = streams->sink().make(); error != 0)
        return Failure{Step::tap, error};
    if (!m_connection.managed())
        return Failure{Step::device, -ENODEV};
    streams->begin();
    return std::unique_ptr<Silence>(std::move(streams));
}

} // namespace lingrelay
