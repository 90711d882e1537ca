#include "core/Engine.h"

#include "base/Log.h"
#include "base/async/Lifetime.h"
#include "config/L10n.h"
#include "core/FarEndEcho.h"

namespace lingrelay {

std::shared_ptr<Engine> Engine::create(Services services)
{
    std::shared_ptr<Engine> engine(new Engine(services));
    engine->m_player->onUnderrun = whileAlive(std::weak_ptr(engine),
        [](Engine& self) { self.onPipeline([](TTSPipeline& pipeline) { pipeline.growLeadIn(); }); });
    return engine;
}

Engine::Engine(Services services)
    : m_services(services)
    , m_player(TTSPlayer::create(services.outputs, services.background, services.pipelineScheduler))
    , m_settings(std::make_shared<AppSettings const>())
{
}

Engine::~Engine()
{
    if (auto const stt = m_stt.exchange(nullptr))
        stt->stop();
    if (m_pipeline)
        m_services.pipelineScheduler.post([pipeline = m_pipeline] { pipeline->shutdown(); });
}

void Engine::start(AppSettings settings)
{
    applySettings(std::move(settings));
    auto const record = m_settings.load();
    resetSeq();
    // The old stream stays in place until the new one is connected; nothing behind the stream is touched.
    if (auto const old = m_stt.load())
        old->stop();
    auto const stream = makeStream(*record);
    stream->connect();
    m_stt.store(stream);
    sayOfStream(Status::ready);
    if (!record->tts)
        return;
    for (auto const& language : {record->targetLang, record->twoWay() ? record->sourceLang : std::string()}) {
        if (!language.empty() && language != "auto")
            warm(language);
    }
}

std::shared_ptr<SonioxStream> Engine::makeStream(AppSettings const& settings)
{
    auto stream = SonioxStream::create(
        m_services.network, m_services.streamScheduler, settings.sourceLang, settings.targetLang, settings.sampleRate);
    stream->contextProfile = contextProfile;
    stream->twoWay = settings.twoWay();
    stream->diarization = settings.diarization;
    stream->endpointDetection = settings.endpointDetection;
    stream->endpointSensitivity = settings.endpointSensitivity;
    stream->latencyAdjustment = settings.latencyAdjustment;
    stream->useRollingTranscript = useRollingContext;
    wireStream(*stream);
    return stream;
}

void Engine::wireStream(SonioxStream& stream)
{
    auto const self = weak_from_this();
    stream.onOriginal = whileAlive(self, [](Engine& engine, std::string const& text, bool isFinal) {
        engine.onCaption(CaptionKind::original, text);
        if (!isFinal)
            return;
        engine.m_lastSource = text;
        if (!engine.speaks())
            FarEndEcho::shared().note(text);
    });
    // The run that the stream belongs to: a clause that a stop overtakes must not count as one of the next run.
    stream.onTranslation
        = whileAlive(self, [run = m_run.load()](Engine& engine, std::string const& text, bool isFinal) {
              if (isFinal)
                  return engine.deliver(text, engine.nextSeq(), run);
              engine.onCaption(CaptionKind::translation, text);
              if (engine.settings()->tts)
                  engine.warm(engine.clauseLanguage());
          });
    stream.onError = whileAlive(self, [](Engine& engine, std::string const& message) {
        Log::write("[stt] ERROR {}", message);
        engine.sayOfStream(Status::error, message);
    });
    stream.onReconnecting = whileAlive(self, [](Engine& engine) {
        Log::write("[stt] RECONNECTING");
        engine.sayOfStream(Status::reconnecting);
    });
    stream.onReconnected = whileAlive(self, [](Engine& engine) {
        Log::write("[stt] RECONNECTED");
        engine.sayOfStream(Status::ready);
    });
    stream.onProgress = whileAlive(self, [](Engine& engine, SonioxStream::Progress const& progress) {
        if (engine.onProgress)
            engine.onProgress(progress);
    });
    stream.onFinished = whileAlive(self, [](Engine& engine) {
        if (engine.onFinished)
            engine.onFinished();
    });
    stream.onDead = whileAlive(self, [](Engine& engine) {
        if (engine.onFailed)
            engine.onFailed();
    });
}

void Engine::sayOfStream(Status status, std::optional<std::string> const& message)
{
    m_streamStatus = status;
    onStatus(status, message);
}

/// The failure of an earlier clause must not stand for as long as the stream has nothing new to tell.
void Engine::voiceSpoke()
{
    if (std::exchange(m_voiceFailed, false) && m_streamStatus == Status::ready)
        onStatus(Status::ready, {});
}

void Engine::deliver(std::string const& text, int seq, int run)
{
    trace(seq, "final");
    bool const dropStale = !speaks();
    if (dropStale && !claimIfFresh(seq))
        return;
    if (speaks() && FarEndEcho::shared().looksLikeEcho(m_lastSource)) {
        Log::write("[echo] dropped far-end leak: {}", m_lastSource);
        m_lastSource.clear();
        return;
    }
    onCaption(CaptionKind::translation, text);
    auto const stt = m_stt.load();
    onLine(m_lastSource, text, stt ? stt->lastSpeaker() : std::string());
    m_lastSourceForPolish = std::exchange(m_lastSource, {});
    trace(seq, "delivered");
    auto const settings = this->settings();
    if (settings->typeIntoChat && speaks()) {
        if (typeText)
            typeText(text + " ");
    } else if (settings->tts) {
        speak({seq, text, clauseLanguage(), dropStale && dropsStaleSpeech, m_services.streamScheduler.now()}, run);
    }
}

void Engine::speak(TTSPipeline::Job job, int run)
{
    ++m_handedOver;
    onPipeline([this, self = shared_from_this(), job = std::move(job), run](TTSPipeline& pipeline) {
        if (run == m_run) // a clause that a stop overtook is not spoken after it
            pipeline.enqueue(job);
        --m_handedOver;
    });
}

std::string Engine::clauseLanguage() const
{
    auto const stt = m_stt.load();
    auto language = stt ? stt->lastTranslationLanguage() : std::string();
    return language.empty() ? settings()->targetLang : language;
}

void Engine::warm(std::string language)
{
    onPipeline([language = std::move(language)](TTSPipeline& pipeline) { pipeline.warm(language); });
}

void Engine::clauseStarts(TTSPipeline::Job const& job)
{
    std::lock_guard const lock(m_mutex);
    m_lastSpokenText = job.text;
    m_lastSpokenLanguage = job.language;
}

TTSPipeline::Callbacks Engine::pipelineCallbacks()
{
    auto const weak = weak_from_this();
    TTSPipeline::Callbacks callbacks;
    callbacks.voice = [weak] {
        auto const self = weak.lock();
        return self ? self->settings()->voiceName : std::string("Daniel");
    };
    callbacks.speed = [weak] {
        auto const self = weak.lock();
        return self ? self->settings()->voiceSpeed : 1.15;
    };
    callbacks.onStart = whileAlive(weak, [](Engine& engine, TTSPipeline::Job const& job) { engine.clauseStarts(job); });
    callbacks.onSpeech = whileAlive(weak, [](Engine& engine, TTSPipeline::Job const& job, Duration delay) {
        engine.voiceSpoke();
        if (engine.onSpeech)
            engine.onSpeech(job, delay);
    });
    callbacks.onError = whileAlive(weak, [](Engine& engine, std::string const& message) {
        engine.m_voiceFailed = true;
        engine.onStatus(Status::error, T("Voice: ", "Giọng nói: ") + message);
    });
    callbacks.trace = onTrace;
    return callbacks;
}

std::shared_ptr<TTSPipeline> Engine::pipeline()
{
    std::lock_guard const lock(m_mutex);
    if (!m_pipeline)
        m_pipeline = std::make_shared<TTSPipeline>(
            m_services.pipelineScheduler, m_services.network, m_player, pipelineCallbacks());
    return m_pipeline;
}

void Engine::onPipeline(std::function<void(TTSPipeline&)> operation)
{
    m_services.pipelineScheduler.post(
        [pipeline = pipeline(), operation = std::move(operation)] { operation(*pipeline); });
}

void Engine::sendAudio(std::string pcm, std::function<void()> sent)
{
    if (auto const stt = m_stt.load())
        stt->send(std::move(pcm), std::move(sent));
}

void Engine::finishAudio()
{
    if (auto const stt = m_stt.load())
        stt->finish();
}

void Engine::stop()
{
    ++m_run;
    if (auto const stt = m_stt.exchange(nullptr))
        stt->stop();
    onPipeline([](TTSPipeline& pipeline) { pipeline.cancelAll(); });
}

void Engine::applySettings(AppSettings settings)
{
    settings.tts = settings.tts && !voiceless;
    m_settings.store(std::make_shared<AppSettings const>(std::move(settings)));
}

bool Engine::speechFinished() const
{
    std::shared_ptr<TTSPipeline> pipeline;
    {
        std::lock_guard const lock(m_mutex);
        pipeline = m_pipeline;
    }
    return m_handedOver == 0 && (!pipeline || pipeline->queued() == 0) && m_player->queuedSeconds() == 0;
}

std::string Engine::lastSpokenText() const
{
    std::lock_guard const lock(m_mutex);
    return m_lastSpokenText;
}

std::string Engine::lastSpokenLanguage() const
{
    std::lock_guard const lock(m_mutex);
    return m_lastSpokenLanguage;
}

void Engine::trace(int seq, std::string_view hop) const
{
    if (onTrace)
        onTrace(seq, hop);
}

int Engine::nextSeq()
{
    std::lock_guard const lock(m_mutex);
    return ++m_finalSeq;
}

bool Engine::claimIfFresh(int seq)
{
    std::lock_guard const lock(m_mutex);
    if (seq < m_lastDoneSeq)
        return false;
    m_lastDoneSeq = seq;
    return true;
}

void Engine::resetSeq()
{
    std::lock_guard const lock(m_mutex);
    m_finalSeq = m_lastDoneSeq = 0;
}

} // namespace lingrelay
