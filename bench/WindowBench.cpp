// The window on the desktop of DISPLAY, under a busy conversation and while the user scrolls and searches: how late its
// thread runs jobs, and how soon words are on the screen.

#include "app/WindowShell.h"
#include "base/Registry.h"
#include "bench/Rows.h"
#include "bench/SampleArchive.h"
#include "config/L10n.h"
#include "desktop/FloatingCaptions.h"
#include "model/AppModel.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/FileDefaults.h"
#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/linux/qt/QtScheduler.h"
#include "sessions/SessionStore.h"
#include "ui/MainView.h"
#include "ui/captions/CaptionsView.h"

#include <QApplication>
#include <QEventLoop>
#include <QKeyEvent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <QWheelEvent>
#include <QtQml>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include <fmt/format.h>

namespace lingrelay::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int storedLines = 2000;
constexpr auto messageEvery = std::chrono::milliseconds(100);
constexpr int messagesALine = 10;
constexpr auto meterEvery = std::chrono::milliseconds(50);
constexpr double frame = 16.7; ///< milliseconds
constexpr double longestWait = 16;
constexpr int storedSessions = 10000;
constexpr int linesPerSession = 20;
constexpr auto wheelEvery = std::chrono::milliseconds(16);
constexpr int wheelTurn = 240; ///< eighths of a degree: two notches
constexpr int turnsOneWay = 100;
constexpr auto letterEvery = std::chrono::milliseconds(150);

double milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

/// Samples of a time in milliseconds. Any thread.
class Times {
public:
    void add(double time)
    {
        std::lock_guard const lock(m_mutex);
        m_times.push_back(time);
    }
    /// `part` of them is to be within `limit`.
    void print(std::string const& name, double part, double limit)
    {
        std::lock_guard const lock(m_mutex);
        std::sort(m_times.begin(), m_times.end());
        auto const late = m_times.end() - std::upper_bound(m_times.begin(), m_times.end(), frame);
        auto const at = [this](double quantile) {
            return m_times.empty()
                ? 0
                : m_times[static_cast<std::size_t>(quantile * static_cast<double>(m_times.size() - 1))];
        };
        fmt::print("{:36} {:7.2f} {:7.2f} {:7.2f} {:7} of {}\n", name, at(0.5), at(0.99), at(1), late, m_times.size());
        std::fflush(stdout);
        addRow(name + (part < 1 ? ", 99 %" : ", at most"), "ms", at(part), "", 0, Judge::ours, limit);
    }

private:
    std::mutex m_mutex;
    std::vector<double> m_times;
};

/// How long jobs for main wait, asked every millisecond.
class Stalls {
public:
    explicit Stalls(Scheduler& main) : m_main(main), m_thread([this] { run(); }) { }
    ~Stalls()
    {
        m_ending = true;
        m_thread.join();
    }
    std::shared_ptr<Times> const times = std::make_shared<Times>();

private:
    void run()
    {
        while (!m_ending) {
            auto const asked = Clock::now();
            auto const answered = std::make_shared<std::atomic<bool>>(false);
            m_main.post([asked, answered, times = times] {
                times->add(milliseconds(Clock::now() - asked));
                *answered = true;
            });
            while (!*answered && !m_ending)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    Scheduler& m_main;
    std::atomic<bool> m_ending = false;
    std::thread m_thread;
};

void live(double length)
{
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(length * 1000), &loop, &QEventLoop::quit);
    loop.exec();
}

class Conversation : public QObject {
public:
    Conversation(AppModel& model, FloatingCaptions& captions, QQuickWindow& window)
        : m_model(model)
        , m_captions(captions)
    {
        connect(&m_messages, &QTimer::timeout, this, [this] { message(); });
        connect(&m_meters, &QTimer::timeout, this, [this] { meters(); });
        // As the scene graph takes the words over, and as they are handed to the screen; on whichever thread draws.
        connect(
            &window, &QQuickWindow::afterSynchronizing, this, [this] { m_drawn = m_said.exchange(0); },
            Qt::DirectConnection);
        connect(
            &window, &QQuickWindow::frameSwapped, this, [this] { swapped(); }, Qt::DirectConnection);
    }
    void begin()
    {
        m_messages.start(messageEvery);
        m_meters.start(meterEvery);
    }
    void end()
    {
        m_messages.stop();
        m_meters.stop();
    }
    Times shown;

private:
    void message()
    {
        auto const words = fmt::format("{} these are the words of message {} as they grow", m_text, m_count);
        m_text = ++m_count % messagesALine == 0 ? "" : words;
        m_said = Clock::now().time_since_epoch().count();
        m_captions.update(CaptionKind::original, words);
        m_captions.update(CaptionKind::translation, words);
        m_model.listenOriginal = words;
        m_model.listenTranslated = words;
        if (m_text.empty())
            m_model.log(AppModel::Direction::listen, words, words, "1", std::chrono::system_clock::now());
    }
    void meters()
    {
        double const level = 0.1 * static_cast<double>(m_count % 10);
        for (auto* const meter : {&m_model.systemLevel, &m_model.micLevel, &m_model.listenOutLevel})
            *meter = level;
        m_model.elapsed = *m_model.elapsed + 0.05;
    }
    void swapped()
    {
        if (auto const said = m_drawn.exchange(0))
            shown.add(milliseconds(Clock::now() - Clock::time_point(Clock::duration(said))));
    }

    AppModel& m_model;
    FloatingCaptions& m_captions;
    QTimer m_messages;
    QTimer m_meters;
    std::string m_text;
    int m_count = 0;
    std::atomic<Clock::rep> m_said = 0; ///< when the words were given that are not drawn yet, or 0
    std::atomic<Clock::rep> m_drawn = 0;
};

/// A hand on the wheel over the middle of the window: down for a while, then up.
class Wheel : public QObject {
public:
    explicit Wheel(QQuickWindow& window) : m_window(window)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { turn(); });
        m_timer.start(wheelEvery);
    }

private:
    void turn()
    {
        QPointF const place(m_window.width() * 0.6, m_window.height() * 0.6);
        int const way = m_turns++ / turnsOneWay % 2 == 0 ? -1 : 1;
        QWheelEvent event(place, m_window.mapToGlobal(place), {}, {0, way * wheelTurn}, Qt::NoButton, Qt::NoModifier,
            Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&m_window, &event);
    }

    QQuickWindow& m_window;
    QTimer m_timer;
    int m_turns = 0;
};

/// Types words letter by letter into what has the focus and takes them back, over and over.
class Typist : public QObject {
public:
    explicit Typist(QQuickWindow& window) : m_window(window)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { strike(); });
        m_timer.start(letterEvery);
    }

private:
    void strike()
    {
        static QString const words = QStringLiteral("the budget review");
        auto const place = m_letters++ % (2 * words.size());
        bool const forward = place < words.size();
        auto const text = forward ? QString(words[place]) : QString();
        for (auto const type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, forward ? Qt::Key_A : Qt::Key_Backspace, Qt::NoModifier, text);
            QCoreApplication::sendEvent(&m_window, &event);
        }
    }

    QQuickWindow& m_window;
    QTimer m_timer;
    qsizetype m_letters = 0;
};

/// The field for words to search, on a page that has one.
QQuickItem* searchField(QQuickItem& item)
{
    if (item.isVisible() && item.property("placeholderText").toString().startsWith(QStringLiteral("Search")))
        return &item;
    for (auto* const child : item.childItems()) {
        if (auto* const found = searchField(*child))
            return found;
    }
    return nullptr;
}

/// The user scrolls and searches what is kept, while nobody speaks.
void read(AppModel& model, Scheduler& main, QQuickWindow& window, double length)
{
    auto const measure = [&](std::string const& name) {
        Stalls stalls(main);
        live(length);
        stalls.times->print("main waits, " + name, 1, longestWait);
    };
    {
        Wheel const wheel(window);
        measure(fmt::format("{} lines scroll", storedLines));
    }
    model.requestedSection = "history";
    auto* const history
        = qmlEngine(&window)->singletonInstance<QObject*>(qmlTypeId("Lingrelay.Model", 1, 0, "History"));
    measure(fmt::format("{} sessions are read", storedSessions));
    while (history->property("loading").toBool())
        live(0.1);
    {
        Wheel const wheel(window);
        measure(fmt::format("{} sessions scroll", storedSessions));
    }
    searchField(*window.contentItem())->forceActiveFocus();
    Typist const typist(window);
    measure(fmt::format("{} sessions are searched", storedSessions));
}

int measure(double length)
{
    QTemporaryDir const folder;
    std::filesystem::path const path = folder.path().toStdString();
    QtScheduler main;
    AsioRuntime disk{AsioRuntime::Jobs::mayBlock};
    auto const background = disk.makeScheduler();
    Registry registry;
    registry.put<Defaults>(std::make_shared<FileDefaults>(path / "defaults.json"));
    registry.put(std::make_shared<UiLanguage>());
    fillArchive(path / "Sessions", storedSessions, linesPerSession);
    registry.put(std::make_shared<SessionStore>(path / "Sessions"));
    auto& model = registry.put(std::make_shared<AppModel>());
    for (int i = 0; i < storedLines; ++i)
        model.log(AppModel::Direction::listen, "what was said before", "lo que se dijo antes", "1",
            std::chrono::system_clock::now());
    WindowShell shell;
    MainView view(model, main, *background, shell);
    shell.setWindow(view.window());
    view.window()->show();
    auto* const window = view.makeCaptionsWindow();
    QtPanelWindow panel(*window, 16);
    FloatingCaptions captions(main, panel, model);
    view.captions().follow(captions, panel);
    model.running = true;
    model.statusKind = AppModel::StatusKind::live;

    Conversation conversation(model, captions, *window);
    fmt::print("{:36} {:>7} {:>7} {:>7} {:>7}\n", "milliseconds", "median", "99 %", "most", "late");
    bool talking = false;
    for (auto const* section : {"", "dashboard", "transcript"}) {
        if (*section && !std::exchange(talking, true))
            conversation.begin();
        model.requestedSection = *section ? section : "dashboard";
        live(1);
        Stalls stalls(main);
        live(length);
        stalls.times->print(
            *section ? fmt::format("main waits, {}", section) : "main waits, nobody speaks", 1, longestWait);
    }
    conversation.shown.print("words on the screen", 0.99, frame);
    conversation.end();
    read(model, main, *view.window(), length);
    view.shutdown();
    while (!view.idle())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    disk.stop();
    return 0;
}

} // namespace

} // namespace lingrelay::bench

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(13);
    QApplication::setFont(font);
    return lingrelay::bench::measure(argc > 1 ? std::atof(argv[1]) : 15);
}
