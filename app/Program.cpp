#include "app/Program.h"

#include "app/Provider.h"
#include "app/Tray.h"
#include "app/WindowShell.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "desktop/FloatingCaptions.h"
#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/FileDefaults.h"
#include "platform/linux/XdgLoginItem.h"
#include "platform/linux/pipewire/PipeWireSound.h"
#include "platform/linux/qt/QtAppearance.h"
#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/qt/QtWorkspace.h"
#include "program/Assembly.h"
#include "program/Headless.h"
#include "program/Paths.h"
#include "program/SignalWatch.h"
#include "sessions/Journal.h"
#include "ui/MainView.h"
#include "ui/captions/CaptionsView.h"

#include <QCoreApplication>
#include <QQuickWindow>
#include <QTimer>

#include <thread>

#include <unistd.h>

namespace lingrelay {

namespace {

/// What remains after the user has quit is to say goodbye to other parties; it must not hold up anybody.
constexpr auto goodbyeLimit = std::chrono::milliseconds(1500);
constexpr int endedByForce = 75; ///< the exit code then, so that nobody takes it for an orderly end
constexpr Duration reportLimit = seconds(1.0);
constexpr auto waitPulse = std::chrono::milliseconds(5); ///< between two looks whether it is done

/// A window shows its first frame well before, if it shows one at all.
constexpr Duration firstFrameLimit = seconds(0.5);

constexpr int captionsRadius = 16;

/// Who has chosen nothing yet gets languages that the local service knows.
void greetNewcomer()
{
    if (KeyStore::d().value("targetLang"))
        return;
    auto settings = AppSettings::load();
    settings.sourceLang = settings.myLang = "en";
    settings.targetLang = settings.theirLang = "es";
    settings.save();
}

} // namespace

/// Members go down in the opposite order.
struct Program::Parts {
    Parts();
    ~Parts();

    void launch();
    void takeCommands();
    void makeReady();
    template <class... Arguments> void keepFor(std::function<void(Arguments...)> AppModel::Commands::*command);
    void connected();
    void heard(std::unique_ptr<PipeWireSound> sound);
    void begin();
    void wireShell();
    void wireTray();
    void adoptAppearance();
    void end();

    std::shared_ptr<Secrecy> secrecy = openLog();
    QtScheduler main;
    /// A logout ends the program as the user does.
    SignalWatch signals{[this] { main.post([this] { shell.onQuit(); }); }, [] {}};
    AsioRuntime runtime;
    AsioRuntime disk{AsioRuntime::Jobs::mayBlock}; ///< waits for the disk, which sockets must not
    AsioNetwork network{runtime};
    std::shared_ptr<FileDefaults> store = std::make_shared<FileDefaults>(defaultsFile());
    Assembly assembly{{
        .main = main,
        .makeScheduler = [this] { return runtime.makeScheduler(); },
        .makeDiskScheduler = [this] { return disk.makeScheduler(); },
        .network = network,
        .defaults = store,
        .sessions = SessionStore::defaultFolder(),
        .secrecy = secrecy,
    }};
    AppDelegate* app = nullptr; ///< the assembly's
    Provider provider{main, assembly, secrecy};
    bool ending = false; ///< what is still made ready comes too late
    bool readying = false; ///< the service and the sound
    std::vector<std::function<void(AppModel::Commands const&)>> waiting; ///< what the user asked for meanwhile
    std::thread soundOpener;
    std::unique_ptr<PipeWireSound> sound;

    WindowShell shell;
    NoKey key;
    QtWorkspace workspace{main, assembly.background()};
    XdgLoginItem loginItem;
    QtAppearance appearance;
    Tray tray;
    std::unique_ptr<MainView> view;
    std::unique_ptr<QtPanelWindow> panel;
    std::unique_ptr<FloatingCaptions> captions;
};

Program::Parts::Parts()
{
    if (provider.usesLocalService())
        greetNewcomer();
    assembly.makeModel();
}

Program::Parts::~Parts()
{
    runtime.stop();
    disk.stop();
}

/// The window comes first; the service and the sound are made ready while the user looks at it.
void Program::Parts::launch()
{
    takeCommands();
    wireShell();
    wireTray();
    view = std::make_unique<MainView>(AppModel::shared(), main, assembly.background(), shell);
    appearance.onChanged = [this] { adoptAppearance(); };
    adoptAppearance();
    shell.setWindow(view->window());
    shell.showMainWindow();
    // Their work would hold up the first frame. A window that nobody sees draws none.
    constexpr auto once = static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection);
    QObject::connect(
        view->window(), &QQuickWindow::frameSwapped, &shell, [this] { makeReady(); }, once);
    main.startTimer(main.now() + firstFrameLimit, [this] { makeReady(); });
}

template <class... Arguments>
void Program::Parts::keepFor(std::function<void(Arguments...)> AppModel::Commands::*command)
{
    AppModel::shared().commands.*command = [this, command](Arguments... arguments) {
        waiting.emplace_back([=](AppModel::Commands const& ready) { (ready.*command)(arguments...); });
    };
}

/// What the user does before the controller is there is done once it is.
void Program::Parts::takeCommands()
{
    using Commands = AppModel::Commands;
    keepFor(&Commands::start);
    keepFor(&Commands::pickMic);
    keepFor(&Commands::pickSpeakOut);
    keepFor(&Commands::pickListenOut);
    keepFor(&Commands::installDriver);
    keepFor(&Commands::testVoice);
    keepFor(&Commands::typeToSpeak);
    keepFor(&Commands::replayLast);
    keepFor(&Commands::summarizeRecent);
    keepFor(&Commands::applyPreset);
    keepFor(&Commands::adoptKey);
    auto& model = AppModel::shared();
    model.commands.start = [&model, keep = std::move(model.commands.start)] {
        model.status = T("Connecting…", "Đang kết nối…");
        model.statusKind = AppModel::StatusKind::connecting;
        keep();
    };
}

void Program::Parts::makeReady()
{
    if (std::exchange(readying, true))
        return;
    provider.onConnected = [this] { connected(); };
    provider.onServiceStarted = [this] {
        if (app)
            app->providerReplaced();
    };
    provider.start();
    soundOpener = std::thread([this] {
        auto opened = std::make_shared<std::unique_ptr<PipeWireSound>>(std::make_unique<PipeWireSound>());
        main.post([this, opened] { heard(std::move(*opened)); });
    });
}

void Program::Parts::wireShell()
{
    shell.onResetCaptions = [this] {
        if (captions)
            captions->resetPlace();
    };
    shell.onQuit = [this] { app ? app->quitNow() : QCoreApplication::quit(); };
    shell.running = [this] { return app && app->running(); };
    shell.hasStatusItem = [this] { return tray.available(); };
    shell.onBuildMenu = [this] {
        if (!ending)
            tray.build(shell.running());
    };
    shell.onStatusItemVisible = [this](bool visible) { tray.setVisible(visible); };
    shell.readLaunchAtLogin = [this] { return loginItem.enabled(); };
    shell.writeLaunchAtLogin = [this](bool on) { return loginItem.setEnabled(on); };
}

void Program::Parts::wireTray()
{
    tray.onOpenWindow = [this] { shell.showMainWindow(); };
    tray.onToggleRun = [this] { app->running() ? app->stopFromUI() : app->startFromUI(); };
    tray.onQuit = [this] { app->quitNow(); };
}

void Program::Parts::adoptAppearance() { view->setAppearance(appearance.dark(), appearance.reducedMotion()); }

void Program::Parts::connected()
{
    view->setLocalService(provider.usesLocalService());
    app ? provider.tell() : begin();
}

void Program::Parts::heard(std::unique_ptr<PipeWireSound> opened)
{
    if (ending)
        return;
    soundOpener.join();
    sound = std::move(opened);
    begin();
}

/// Once the service and the sound are there.
void Program::Parts::begin()
{
    if (!assembly.connected() || !sound)
        return;
    auto* const window = view->makeCaptionsWindow();
    panel = std::make_unique<QtPanelWindow>(*window, captionsRadius);
    captions = std::make_unique<FloatingCaptions>(main, *panel, AppModel::shared());
    view->captions().follow(*captions, *panel);
    view->setHosted(
        assembly.hosted(), [secrecy = secrecy](std::string text) { return secrecy->clean(std::move(text)); });
    shell.ignoreNextShow();
    auto const machine = machineSound(*sound);
    app = &assembly.begin({
        .sound = machine,
        .listenOutputs = machine.outputs,
        .speakOutputs = machine.outputs,
        .overlay = *captions,
        .shell = shell,
        .ptt = key,
        .workspace = workspace,
    });
    app->unable = [this](AppSettings const& settings) { return provider.unable(settings); };
    auto& model = AppModel::shared();
    model.commands.adoptKey = [this] { provider.adoptKey(); };
    provider.tell();
    for (auto const& command : std::exchange(waiting, {}))
        command(model.commands);
    if (auto const& damaged = store->setAside())
        captions->showStatus(T("⚠ The settings file was damaged; all settings are the standard ones. It is now ",
                                 "⚠ Tệp cài đặt bị hỏng; mọi cài đặt trở về mặc định. Tệp cũ nằm ở ")
            + damaged->string());
    if (!Journal::recover(SessionStore::shared(), &assembly.background()).empty())
        captions->showStatus(
            T("A session that was cut short has been kept", "Đã giữ lại một phiên bị ngắt giữa chừng"));
}

/// After the event loop.
void Program::Parts::end()
{
    std::thread([] {
        std::this_thread::sleep_for(goodbyeLimit);
        ::_exit(endedByForce);
    }).detach();
    readying = ending = true;
    provider.leave();
    app = nullptr; // the assembly ends it below
    // What can be clicked does nothing any more.
    AppModel::shared().commands = {};
    tray.remove();
    view->window()->hide();
    if (soundOpener.joinable())
        soundOpener.join();
    QTimer pulse;
    pulse.start(waitPulse);
    TaskGroup goodbye(main);
    goodbye.spawn(assembly.end(reportLimit));
    view->shutdown();
    while (goodbye.running() > 0 || !view->idle())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    shell.setWindow(nullptr);
    view->captions().leave();
}

Program::Program() : m_parts(std::make_unique<Parts>()) { }
Program::~Program() = default;

void Program::raise()
{
    if (!m_parts->ending)
        m_parts->shell.showMainWindow();
}

int Program::run()
{
    m_parts->launch();
    int const code = QCoreApplication::exec();
    onEnding();
    m_parts->end();
    return code;
}

} // namespace lingrelay
