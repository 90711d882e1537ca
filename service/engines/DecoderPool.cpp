#include "service/engines/DecoderPool.h"

#include <filesystem>

#include <fmt/format.h>
#include <sphinxbase/err.h>

namespace lingrelay::service {

namespace {

constexpr std::size_t mostIdle = 2; ///< decoders that are kept, for a user who listens and speaks

} // namespace

DecoderPool::DecoderPool(std::string modelFolder) : m_folder(std::move(modelFolder)) { err_set_logfp(nullptr); }

DecoderPool::~DecoderPool()
{
    if (m_loader.joinable())
        m_loader.join();
    std::unique_lock hold(m_lock);
    m_changed.wait(hold, [this] { return m_taken == 0; });
}

std::string DecoderPool::problem() const
{
    for (auto const* part : {"en-us/mdef", "en-us.lm.bin", "cmudict-en-us.dict"}) {
        auto const path = std::filesystem::path(m_folder) / "en-us" / part;
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored))
            return fmt::format(
                "the US English speech model is not complete: {} is missing; install pocketsphinx-en-us, "
                "or name its folder in LINGRELAY_SPEECH_MODELS",
                path.string());
    }
    return {};
}

std::unique_ptr<Decoder> DecoderPool::load() const
{
    auto decoder = std::make_unique<Decoder>(m_folder);
    return decoder->good() ? std::move(decoder) : nullptr;
}

void DecoderPool::warm()
{
    std::lock_guard const hold(m_lock);
    if (m_loading || !m_idle.empty())
        return;
    if (m_loader.joinable())
        m_loader.join(); // it has nothing left to do
    m_loading = true;
    m_loader = std::thread([this] {
        auto decoder = load();
        std::lock_guard const inner(m_lock);
        if (decoder)
            m_idle.push_back(std::move(decoder));
        m_loading = false;
        m_changed.notify_all();
    });
}

std::unique_ptr<Decoder> DecoderPool::take()
{
    {
        std::unique_lock hold(m_lock);
        ++m_taken;
        m_changed.wait(hold, [this] { return !m_idle.empty() || !m_loading; });
        if (!m_idle.empty()) {
            auto decoder = std::move(m_idle.back());
            m_idle.pop_back();
            return decoder;
        }
    }
    return load();
}

void DecoderPool::giveBack(std::unique_ptr<Decoder> decoder)
{
    if (decoder)
        decoder->stop();
    std::unique_lock hold(m_lock);
    if (decoder && m_idle.size() < mostIdle)
        m_idle.push_back(std::move(decoder));
    --m_taken;
    m_changed.notify_all();
    hold.unlock(); // before a decoder too many is freed
}

} // namespace lingrelay::service
