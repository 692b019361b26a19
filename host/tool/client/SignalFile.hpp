#pragma once

#include <initializer_list>
#include <optional>

namespace vexa::host {

/// Signals of the process as something that can be read from a file descriptor instead of interrupting it. Make it
/// before any other thread: threads that are there already would still be interrupted.
class SignalFile {
public:
    explicit SignalFile(std::initializer_list<int> signals);
    ~SignalFile();
    SignalFile(const SignalFile&) = delete;
    SignalFile& operator=(const SignalFile&) = delete;

    /// For poll(): readable when a signal has come.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

    /// The next signal that has come; nothing when there is none.
    [[nodiscard]] std::optional<int> take();

private:
    int descriptor_;
};

} // namespace vexa::host
