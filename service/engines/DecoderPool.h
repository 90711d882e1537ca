#pragma once

#include "service/engines/Decoder.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lingrelay::service {

/// The loaded speech models. A decoder takes half a second and about 100 MB to load, so one is always kept ready for
/// the next stream. Any thread.
class DecoderPool {
public:
    /// `modelFolder` holds "en-us".
    explicit DecoderPool(std::string modelFolder);

    /// Waits until every decoder has come back.
    ~DecoderPool();

    /// What is missing, in words for the user; empty when the model is complete.
    std::string problem() const;
    /// Loads the first decoder in the background.
    void warm();
    /// A decoder, after waiting for one that is loading. Null when the model cannot be loaded. Comes back with
    /// giveBack in either case.
    std::unique_ptr<Decoder> take();
    void giveBack(std::unique_ptr<Decoder> decoder);

private:
    std::unique_ptr<Decoder> load() const;

    std::string m_folder;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::thread m_loader;
    bool m_loading = false;
    int m_taken = 0;
    std::vector<std::unique_ptr<Decoder>> m_idle;
};

} // namespace lingrelay::service
