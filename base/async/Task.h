#pragma once

#include "base/async/Scheduler.h"

#include <cassert>
#include <coroutine>
#include <exception>
#include <list>
#include <optional>
#include <tuple>
#include <utility>
#include <variant>

namespace lingrelay {

/// Thrown out of a suspended co_await when its scope is cancelled. Not a std::exception on purpose:
/// `catch (std::exception const&)` handlers for real errors let it through.
struct Cancelled { };

/// Something a Scope can cancel: a suspended wait, or a child scope.
class Cancellable {
public:
    Cancellable(Cancellable const&) = delete;
    Cancellable& operator=(Cancellable const&) = delete;

protected:
    Cancellable() = default;
    ~Cancellable() = default;

private:
    friend class Scope;
    virtual void onCancel() = 0;
    std::list<Cancellable*>::iterator m_position;
};

/// Node of the cancellation tree. Cancelling a scope wakes every wait below it with Cancelled.
/// Used only from its scheduler.
class Scope final : public Cancellable {
public:
    explicit Scope(Scheduler& scheduler) : m_scheduler(scheduler) { }
    explicit Scope(Scope& parent) : m_scheduler(parent.m_scheduler), m_parent(&parent), m_cancelled(parent.m_cancelled)
    {
        parent.add(*this);
    }
    ~Scope()
    {
        assert(m_members.empty());
        if (m_parent)
            m_parent->remove(*this);
    }

    void cancel()
    {
        if (std::exchange(m_cancelled, true))
            return;
        // A member may leave the list while it is told, but never another member: wakes are posted.
        for (auto it = m_members.begin(); it != m_members.end();)
            (*it++)->onCancel();
    }

    bool cancelled() const { return m_cancelled; }
    Scheduler& scheduler() const { return m_scheduler; }

    void add(Cancellable& member) { member.m_position = m_members.insert(m_members.end(), &member); }
    void remove(Cancellable& member) { m_members.erase(member.m_position); }

private:
    void onCancel() override { cancel(); }

    Scheduler& m_scheduler;
    Scope* m_parent = nullptr;
    bool m_cancelled = false;
    std::list<Cancellable*> m_members;
};

/// State every coroutine of this library carries: where it runs, and who waits for it.
struct PromiseBase {
    Scope* scope = nullptr;
    std::coroutine_handle<> continuation = std::noop_coroutine();
    std::exception_ptr error;

    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <class P> std::coroutine_handle<> await_suspend(std::coroutine_handle<P> self) noexcept
        {
            return self.promise().continuation;
        }
        void await_resume() const noexcept { }
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() { error = std::current_exception(); }
};

template <class T> struct ResultOf : PromiseBase {
    std::optional<T> value;
    void return_value(T v) { value.emplace(std::move(v)); }
    T take() { return std::move(*value); }
};

template <> struct ResultOf<void> : PromiseBase {
    void return_void() const noexcept { }
    void take() const noexcept { }
};

/// A lazy coroutine: runs when awaited, on the awaiter's scheduler and within its scope.
/// Once started it always runs to its end; to end it early, cancel its scope.
template <class T = void> class [[nodiscard]] Task {
public:
    struct promise_type : ResultOf<T> {
        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
    };

    Task(Task&& other) noexcept : m_handle(std::exchange(other.m_handle, {})) { }
    Task& operator=(Task&&) = delete;
    ~Task()
    {
        if (m_handle)
            m_handle.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <class P> std::coroutine_handle<> await_suspend(std::coroutine_handle<P> waiting)
    {
        return begin(*waiting.promise().scope, waiting);
    }
    T await_resume()
    {
        if (m_handle.promise().error)
            std::rethrow_exception(m_handle.promise().error);
        return m_handle.promise().take();
    }

    /// For building combinators: binds the task to a scope; resuming the result starts it.
    std::coroutine_handle<> begin(Scope& scope, std::coroutine_handle<> continuation)
    {
        m_handle.promise().scope = &scope;
        m_handle.promise().continuation = continuation;
        return m_handle;
    }

private:
    explicit Task(std::coroutine_handle<promise_type> handle) : m_handle(handle) { }
    std::coroutine_handle<promise_type> m_handle;
};

/// Base of the leaf awaitables. Lives in the waiting frame; woken once, by wake() or by its scope.
class Wait : public Cancellable {
public:
    bool await_ready() const noexcept { return false; }
    template <class P> bool await_suspend(std::coroutine_handle<P> waiting)
    {
        m_scope = waiting.promise().scope;
        if (m_scope->cancelled() || !arm(m_scope->scheduler()))
            return false;
        m_waiting = waiting;
        m_scope->add(*this);
        return true;
    }
    void await_resume() const
    {
        // Also for a wait that was woken before the cancel but runs after it: the loser of a race
        // must not go on and take what it waited for.
        if (m_scope->cancelled())
            throw Cancelled{};
    }

protected:
    ~Wait() = default;
    /// Starts the operation; false means it is complete already.
    virtual bool arm(Scheduler& scheduler) = 0;
    /// Undoes arm(): after it, nobody calls wake().
    virtual void disarm() = 0;

    void wake()
    {
        m_scope->remove(*this);
        m_scope->scheduler().post(m_waiting);
    }

private:
    void onCancel() override
    {
        disarm();
        wake();
    }

    Scope* m_scope = nullptr;
    std::coroutine_handle<> m_waiting;
};

/// What `co_await sleep(5s)` waits on.
class Sleep final : public Wait {
public:
    explicit Sleep(Duration duration) : m_duration(duration) { }

private:
    bool arm(Scheduler& scheduler) override
    {
        m_scheduler = &scheduler;
        m_timer = scheduler.startTimer(scheduler.now() + m_duration, [this] { wake(); });
        return true;
    }
    void disarm() override { m_scheduler->stopTimer(m_timer); }

    Duration m_duration;
    Scheduler* m_scheduler = nullptr;
    Scheduler::TimerId m_timer = 0;
};

/// `co_await sleep(5s)`: resumes after `duration` on the clock of the current scheduler.
inline Sleep sleep(Duration duration) { return Sleep(duration); }

/// A flag that tasks of one scheduler wait for with `co_await event.wait()`.
class Event {
public:
    class Waiter final : public Wait {
    public:
        explicit Waiter(Event& event) : m_event(event) { }

    private:
        friend class Event;
        bool arm(Scheduler&) override
        {
            if (m_event.m_set)
                return false;
            m_place = m_event.m_waiters.insert(m_event.m_waiters.end(), this);
            return true;
        }
        void disarm() override { m_event.m_waiters.erase(m_place); }

        Event& m_event;
        std::list<Waiter*>::iterator m_place;
    };

    Waiter wait() { return Waiter(*this); }
    bool isSet() const { return m_set; }
    /// Lets later waits wait again.
    void reset() { m_set = false; }
    void set()
    {
        m_set = true;
        while (!m_waiters.empty()) {
            auto* waiter = m_waiters.front();
            m_waiters.pop_front();
            waiter->wake();
        }
    }

private:
    bool m_set = false;
    std::list<Waiter*> m_waiters;
};

/// sleep and Event::wait as tasks, for race().
inline Task<void> sleepFor(Duration duration) { co_await sleep(duration); }
inline Task<void> waitFor(Event& event) { co_await event.wait(); }

/// Awaits to the scope of the running task.
struct CurrentScope {
    Scope* scope = nullptr;
    bool await_ready() const noexcept { return false; }
    template <class P> bool await_suspend(std::coroutine_handle<P> self) noexcept
    {
        scope = self.promise().scope;
        return false;
    }
    Scope& await_resume() const noexcept { return *scope; }
};

/// Tasks that live as long as their owner. Before it dies the owner cancels it and awaits join().
class TaskGroup {
public:
    explicit TaskGroup(Scheduler& scheduler) : m_scope(scheduler) { }
    explicit TaskGroup(Scope& parent) : m_scope(parent) { }
    ~TaskGroup() { assert(m_running == 0); }

    /// Starts a task on the next turn of the scheduler. An error that leaves it ends the program.
    void spawn(Task<void> task)
    {
        ++m_running;
        m_scope.scheduler().post(run(std::move(task)).handle);
    }
    void cancel() { m_scope.cancel(); }
    int running() const { return m_running; }

    struct Join {
        TaskGroup& group;
        bool await_ready() const noexcept { return group.m_running == 0; }
        void await_suspend(std::coroutine_handle<> waiting) noexcept { group.m_joiner = waiting; }
        void await_resume() const noexcept { }
    };
    /// Waits until every task has ended. Not cancellable itself; cancelling the group ends it.
    Join join() { return {*this}; }

private:
    struct Root {
        struct promise_type {
            promise_type(TaskGroup& group, Task<void> const&) : scope(&group.m_scope) { }
            Scope* scope;
            Root get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
            std::suspend_always initial_suspend() const noexcept { return {}; }
            std::suspend_never final_suspend() const noexcept { return {}; }
            void return_void() const noexcept { }
            [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }
        };
        std::coroutine_handle<> handle;
    };

    Root run(Task<void> task)
    {
        try {
            co_await task;
        } catch (Cancelled) { // the ordinary end of a task that was told to stop
        }
        if (--m_running == 0 && m_joiner)
            m_scope.scheduler().post(std::exchange(m_joiner, {}));
    }

    Scope m_scope;
    std::coroutine_handle<> m_joiner;
    int m_running = 0;
};

template <class T> using Lifted = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

namespace detail {

template <class Outcome> struct Race {
    explicit Race(Scope& parent) : branches(parent) { }
    TaskGroup branches;
    std::optional<Outcome> winner;
    std::exception_ptr error;
};

template <std::size_t I, class T, class Outcome> Task<void> runBranch(Race<Outcome>& race, Task<T> task)
{
    std::optional<Outcome> value;
    std::exception_ptr error;
    try {
        if constexpr (std::is_void_v<T>) {
            co_await task;
            value.emplace(std::in_place_index<I>);
        } else {
            value.emplace(std::in_place_index<I>, co_await task);
        }
    } catch (...) {
        error = std::current_exception();
    }
    if (race.winner || race.error)
        co_return;
    race.winner = std::move(value);
    race.error = error;
    race.branches.cancel();
}

} // namespace detail

/// Runs the tasks side by side. The first to end - with a value or an error - decides the outcome;
/// the others are cancelled, and race() returns only after all have ended.
template <class... T> Task<std::variant<Lifted<T>...>> race(Task<T>... tasks)
{
    detail::Race<std::variant<Lifted<T>...>> state(co_await CurrentScope{});
    [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        (state.branches.spawn(detail::runBranch<I>(state, std::move(tasks))), ...);
    }
    (std::index_sequence_for<T...>{});
    co_await state.branches.join();
    if (state.error)
        std::rethrow_exception(state.error);
    co_return std::move(*state.winner);
}

/// The task's value, or nothing when it took longer than `limit` and was cancelled.
template <class T> Task<std::optional<Lifted<T>>> withTimeout(Duration limit, Task<T> task)
{
    auto outcome = co_await race(std::move(task), sleepFor(limit));
    if (outcome.index() == 1)
        co_return std::nullopt;
    co_return std::move(std::get<0>(outcome));
}

} // namespace lingrelay
