#include "platform/linux/pipewire/CaptureQueue.h"

#include <cerrno>
#include <cstdint>

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr std::size_t capacity = 1 << 18; ///< samples; 2.7 s of stereo at 48 kHz

} // namespace

CaptureQueue::CaptureQueue(AudioReceiver& receiver, std::size_t blockSamples)
    : m_receiver(receiver)
    , m_blockSamples(blockSamples)
    , m_ring(capacity)
    , m_event(::eventfd(0, EFD_CLOEXEC))
    , m_thread([this] { run(); })
{
    ::pthread_setname_np(m_thread.native_handle(), "capture");
}

CaptureQueue::~CaptureQueue()
{
    m_ending = true;
    wake();
    m_thread.join();
    ::close(m_event);
}

void CaptureQueue::push(std::span<float const> samples)
{
    if (m_ring.write(samples) && m_ring.size() >= m_blockSamples)
        wake();
}

void CaptureQueue::tell(std::optional<Error> news)
{
    {
        std::lock_guard const lock(m_mutex);
        m_news.push_back(std::move(news));
    }
    wake();
}

void CaptureQueue::wake() const
{
    std::uint64_t const one = 1;
    [[maybe_unused]] auto const written = ::write(m_event, &one, sizeof one);
}

void CaptureQueue::run()
{
    std::vector<float> block;
    std::vector<std::optional<Error>> news;
    while (!m_ending) {
        std::uint64_t count = 0;
        if (::read(m_event, &count, sizeof count) < 0 && errno != EINTR)
            return m_receiver.failed({Error::Kind::resourceUnavailable, "too many open files"});
        {
            std::lock_guard const lock(m_mutex);
            news.swap(m_news);
        }
        for (auto const& each : news)
            each ? m_receiver.failed(*each) : m_receiver.started();
        news.clear();
        while (!m_ending) {
            auto const samples = m_ring.size();
            if (samples == 0 || samples < m_blockSamples)
                break;
            block.resize(m_blockSamples == 0 ? samples : m_blockSamples);
            m_ring.read(block);
            m_receiver.receive(block);
        }
    }
}

} // namespace lingrelay
