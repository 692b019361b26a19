#pragma once

#include <coroutine>
#include <exception>
#include <utility>

namespace vexa {

/// A coroutine of the plainest kind: it runs inside its call until it first waits, and is destroyed with this object,
/// wherever it stands.
class Coroutine {
public:
    struct promise_type {
        Coroutine get_return_object() { return Coroutine{std::coroutine_handle<promise_type>::from_promise(*this)}; }
        static std::suspend_never initial_suspend() noexcept { return {}; }
        static std::suspend_always final_suspend() noexcept { return {}; }
        static void return_void() noexcept {}
        [[noreturn]] static void unhandled_exception() noexcept { std::terminate(); }
    };

    explicit Coroutine(std::coroutine_handle<promise_type> handle) noexcept : handle_{handle} {}
    Coroutine(Coroutine&& other) noexcept : handle_{std::exchange(other.handle_, nullptr)} {}
    Coroutine& operator=(Coroutine&&) = delete;
    Coroutine(const Coroutine&) = delete;
    Coroutine& operator=(const Coroutine&) = delete;

    ~Coroutine() { destroy(); }

    [[nodiscard]] bool isDone() const noexcept { return handle_.done(); }

    void destroy()
    {
        if (handle_) {
            std::exchange(handle_, nullptr).destroy();
        }
    }

private:
    std::coroutine_handle<promise_type> handle_;
};

} // namespace vexa
