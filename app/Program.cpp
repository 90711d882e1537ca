#include "app/Program.h"

#include "app/WindowShell.h"
#include "base/Log.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "desktop/FloatingCaptions.h"
#include "desktop/StatusMenu.h"
#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/FileDefaults.h"
#include "platform/linux/XdgLoginItem.h"
#include "platform/linux/pipewire/PipeWireSound.h"
#include "platform/linux/qt/QtAppearance.h"
#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/qt/QtStatusItem.h"
#include "platform/linux/qt/QtWorkspace.h"
#include "program/Assembly.h"
#include "program/Headless.h"
#include "program/HostPlan.h"
#include "program/LocalService.h"
#include "program/Paths.h"
#include "program/SignalWatch.h"
#include "sessions/Journal.h"
#include "ui/MainView.h"
#include "ui/captions/CaptionsView.h"

#include <QCoreApplication>
#include <QIcon>
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

QIcon icon(char const* name)
{
    return QIcon(QStringLiteral(":/qt/qml/Lingrelay/Controls/icons/%1.svg").arg(QString::fromLatin1(name)));
}

/// In the sizes of trays: one that is sent an icon of another size makes it blurred.
QIcon trayIcon(char const* name)
{
    auto const drawing = icon(name);
    QIcon drawn;
    for (int const size : {16, 22, 24, 32, 48})
        drawn.addPixmap(drawing.pixmap(QSize(size, size), 1.0));
    return drawn;
}

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
    void startService();
    void connected(Result<LocalService::Address> const& local);
    void adoptKey();
    void complain(std::string const& problem);
    void heard(std::unique_ptr<PipeWireSound> sound);
    void begin();
    void wireShell();
    void buildMenu();
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
    HostPlan plan;
    LocalService localService{main};
    LocalService::Address local; ///< once it is there
    bool serviceStarted = false;
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
    std::unique_ptr<QtStatusItem> statusItem;
    std::unique_ptr<MainView> view;
    std::unique_ptr<QtPanelWindow> panel;
    std::unique_ptr<FloatingCaptions> captions;

    std::string complaint; ///< why there is no service
    std::string shown; ///< the complaint that stands in the status
};

Program::Parts::Parts()
{
    plan = HostPlan::make({});
    secrecy->add(Secrets::key());
    if (plan.localService)
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
    localService.onEnded = [this] {
        if (ending)
            return;
        Log::write("[service] it has ended; another one is started");
        startService();
    };
    if (plan.localService)
        startService();
    else
        main.post([this] { connected(LocalService::Address{}); });
    soundOpener = std::thread([this] {
        auto opened = std::make_shared<std::unique_ptr<PipeWireSound>>(std::make_unique<PipeWireSound>());
        main.post([this, opened] { heard(std::move(*opened)); });
    });
}

void Program::Parts::startService()
{
    serviceStarted = true;
    localService.start([this](Result<LocalService::Address> const& address) {
        serviceStarted = bool(address);
        connected(address);
        if (address && app && !ending) // it takes the place of one that has ended
            app->providerReplaced();
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
    shell.hasStatusItem = [this] { return statusItem && statusItem->visible() && statusItem->available(); };
    shell.onBuildMenu = [this] { buildMenu(); };
    shell.onStatusItemVisible = [this](bool visible) {
        if (statusItem)
            statusItem->setVisible(visible);
    };
    shell.readLaunchAtLogin = [this] { return loginItem.enabled(); };
    shell.writeLaunchAtLogin = [this](bool on) { return loginItem.setEnabled(on); };
}

void Program::Parts::buildMenu()
{
    if (ending)
        return;
    if (!statusItem) {
        statusItem = std::make_unique<QtStatusItem>(
            trayIcon("app-idle"), trayIcon("app-running"), QStringLiteral("Lingrelay Pro"));
        statusItem->onActivated = [this] { shell.showMainWindow(); };
    }
    auto const& model = AppModel::shared();
    statusItem->setActive(shell.running());
    std::vector<StatusItem::Item> items;
    for (auto const& item : StatusMenu::items(shell.running(), model.settings->preset)) {
        using Action = StatusMenu::Action;
        std::function<void()> action;
        if (item.action == Action::openWindow)
            action = [this] { shell.showMainWindow(); };
        else if (item.action == Action::toggleRun)
            action = [this] { app->running() ? app->stopFromUI() : app->startFromUI(); };
        else if (item.action == Action::quit)
            action = [this] { app->quitNow(); };
        items.push_back({item.title, std::move(action), item.key});
    }
    statusItem->setMenu(std::move(items));
}

void Program::Parts::adoptAppearance() { view->setAppearance(appearance.dark(), appearance.reducedMotion()); }

void Program::Parts::connected(Result<LocalService::Address> const& address)
{
    if (ending)
        return;
    if (address)
        local = *address;
    view->setLocalService(plan.localService);
    complaint = address ? plan.problem() : address.error().message;
    assembly.connect(plan.hostsWith(local.hosts), local.token);
    app ? complain(complaint) : begin();
}

/// A key of the user's own counts at once, and takes other hosts with it.
void Program::Parts::adoptKey()
{
    plan = HostPlan::make({});
    secrecy->add(Secrets::key());
    if (plan.localService && !serviceStarted)
        return startService();
    connected(local);
}

/// An empty one takes the last one back.
void Program::Parts::complain(std::string const& problem)
{
    auto& model = AppModel::shared();
    if (!problem.empty()) {
        model.status = problem;
        model.statusKind = AppModel::StatusKind::error;
    } else if (!shown.empty() && *model.status == shown) {
        model.status = "";
        model.statusKind = AppModel::StatusKind::idle;
    }
    shown = problem;
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
    app->unable = [this](AppSettings const& settings) { return plan.localProblem(local, settings); };
    auto& model = AppModel::shared();
    model.commands.adoptKey = [this] { adoptKey(); };
    complain(complaint);
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
    app = nullptr; // the assembly ends it below
    // What can be clicked does nothing any more.
    AppModel::shared().commands = {};
    statusItem.reset();
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
