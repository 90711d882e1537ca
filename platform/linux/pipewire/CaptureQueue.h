#pragma once

#include "platform/AudioInput.h"
#include "platform/linux/pipewire/SampleRing.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace lingrelay {

/// The way of captured sound from PipeWire's data thread to a receiver, on a thread of its own. Destroying it waits for
/// a call that is under way.
class CaptureQueue {
public:
    /// Blocks of exactly `blockSamples` samples; with 0 whatever has come.
    CaptureQueue(AudioReceiver& receiver, std::size_t blockSamples);
    ~CaptureQueue();

    /// The data thread; real time. A receiver that is seconds behind loses what comes.
    void push(std::span<float const> samples);
    /// Tells the receiver that sound begins (nothing) or ended; in this order with all other news. Any other thread.
    void tell(std::optional<Error> news);

private:
    void run();
    void wake() const;

    AudioReceiver& m_receiver;
    std::size_t const m_blockSamples;
    SampleRing m_ring;
    int m_event; ///< eventfd
    std::atomic<bool> m_ending = false;
    std::mutex m_mutex; ///< guards the news
    std::vector<std::optional<Error>> m_news;
    std::thread m_thread;
};

} // namespace lingrelay
