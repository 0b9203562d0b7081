#pragma once
// A minimal coroutine task, so the install pipeline reads as one sequential function while its
// blocking jobs (waiting for a child, copying a tree) run elsewhere. Tasks are lazy: nothing runs
// until a task is awaited, started with detach(), or driven with runToCompletion().
// A task is resumed on whichever thread its executor resumes it on; the view model's executors
// always resume on the thread that owns the view model.

#include <coroutine>
#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

namespace pellix {

// Runs `job`, then `resume`. Where `job` runs is the executor's choice; `resume` must run on the
// thread that owns the view model. Inline execution (both at once, on the caller's thread) is the
// default for the headless mode and the tests.
using Executor = std::function<void(std::function<void()> job, std::function<void()> resume)>;

inline void runInline(std::function<void()> job, std::function<void()> resume) {
    job();
    resume();
}

namespace detail {

struct PromiseBase {
    std::coroutine_handle<> continuation;
    std::exception_ptr error;
    bool detached = false;

    std::suspend_always initial_suspend() noexcept { return {}; }

    struct FinalAwaiter {
        bool await_ready() noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> self) noexcept {
            PromiseBase& promise = self.promise();
            if (promise.continuation) return promise.continuation;
            if (promise.detached) {
                // Nobody can observe a detached task's failure; the pipeline catches its own.
                if (promise.error) std::terminate();
                self.destroy();
            }
            return std::noop_coroutine();
        }
        void await_resume() noexcept {}
    };
    FinalAwaiter final_suspend() noexcept { return {}; }
    void unhandled_exception() noexcept { error = std::current_exception(); }
};

template <typename T>
struct Promise : PromiseBase {
    std::optional<T> value;
    void return_value(T result) { value.emplace(std::move(result)); }
    T take() {
        if (error) std::rethrow_exception(error);
        return std::move(*value);
    }
};

template <>
struct Promise<void> : PromiseBase {
    void return_void() noexcept {}
    void take() {
        if (error) std::rethrow_exception(error);
    }
};

}  // namespace detail

template <typename T = void>
class [[nodiscard]] Task {
public:
    struct promise_type : detail::Promise<T> {
        Task get_return_object() {
            return Task{std::coroutine_handle<promise_type>::from_promise(*this)};
        }
    };

    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, {})) {}
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            reset();
            handle_ = std::exchange(other.handle_, {});
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { reset(); }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        handle_.promise().continuation = awaiting;
        return handle_;
    }
    T await_resume() { return handle_.promise().take(); }

    // Starts the task and lets it free itself when it ends; its result is dropped.
    void detach() && {
        auto handle = std::exchange(handle_, {});
        handle.promise().detached = true;
        handle.resume();
    }

    // Runs the task to its end on this thread. Only valid when every job it awaits is run inline.
    T runToCompletion() && {
        handle_.resume();
        if (!handle_.done()) std::terminate();
        return handle_.promise().take();
    }

private:
    explicit Task(std::coroutine_handle<promise_type> handle) : handle_(handle) {}
    void reset() {
        if (handle_) handle_.destroy();
        handle_ = {};
    }

    std::coroutine_handle<promise_type> handle_;
};

// Awaitable that hands a blocking job to an executor and resumes with the job's result.
// Name the job before awaiting it (`auto job = [..] {..}; co_await runBlocking(ex,
// std::move(job));`): GCC 12 miscompiles a capturing lambda written inside the co_await
// expression and destroys a capture that was never constructed.
template <typename Job>
auto runBlocking(const Executor& executor, Job job) {
    using Result = std::invoke_result_t<Job&>;
    static_assert(!std::is_void_v<Result>, "a blocking job returns what it found out");

    struct Awaiter {
        const Executor& executor;
        Job job;
        std::optional<Result> result;

        bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> coroutine) {
            // With an inline executor the coroutine resumes (and may finish) inside this call,
            // so nothing here touches the awaiter once the executor has been handed the work.
            executor([this] { result.emplace(job()); }, [coroutine] { coroutine.resume(); });
        }
        Result await_resume() { return std::move(*result); }
    };
    return Awaiter{executor, std::move(job), std::nullopt};
}

}  // namespace pellix
