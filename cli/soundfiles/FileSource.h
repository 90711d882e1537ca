#pragma once

#include "audio/AudioSource.h"
#include "cli/soundfiles/FileFeeder.h"
#include "core/Engine.h"

#include <memory>
#include <utility>

namespace lingrelay {

/// A sound file in the place of a live source. Main; `open` before the first start, the scheduler outlives it.
template <class Source> class FileSource : public Source {
public:
    explicit FileSource(Scheduler& feeding) : m_feeding(feeding) { }

    /// The file and the engine that hears it.
    FileFeeder& open(SoundFile file, std::weak_ptr<Engine> engine, Pace pace)
    {
        m_target = std::make_unique<Target>(*this, std::move(engine));
        m_feeder = std::make_shared<FileFeeder>(m_feeding, *m_target, std::move(file), pace);
        return *m_feeder;
    }
    std::shared_ptr<FileFeeder> feeder() const { return m_feeder; }
    AudioTarget const& target() const { return *m_target; }

    void start() override
    {
        m_feeding.post([feeder = m_feeder] { feeder->start(); });
    }
    void stop() override
    {
        m_feeding.post([feeder = m_feeder] { feeder->stop(); });
    }

private:
    class Target final : public AudioTarget {
    public:
        Target(FileSource& source, std::weak_ptr<Engine> engine) : m_source(source), m_engine(std::move(engine)) { }

        bool open() const override
        {
            auto const stream = this->stream();
            return stream && stream->open();
        }
        int connection() const override
        {
            auto const stream = this->stream();
            return stream ? stream->connections() : 0;
        }
        void send(std::string pcm, std::function<void()> sent) override
        {
            m_source.onPCM(std::move(pcm), std::move(sent));
        }

    private:
        std::shared_ptr<SonioxStream> stream() const
        {
            auto const engine = m_engine.lock();
            return engine ? engine->stream() : nullptr;
        }

        FileSource& m_source;
        std::weak_ptr<Engine> m_engine;
    };

    Scheduler& m_feeding;
    std::unique_ptr<Target> m_target;
    std::shared_ptr<FileFeeder> m_feeder;
};

using FileCapture = FileSource<AudioSource>;

/// The file is the user's voice: no device is chosen, and nobody can hold a key for it.
class FileMic final : public FileSource<Microphone> {
public:
    using FileSource::FileSource;
    void setInputDevice(std::optional<std::uint32_t>) override { }
    void setMuted(bool) override { }
};

} // namespace lingrelay
