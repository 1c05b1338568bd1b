#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace brindlet {

// What an await throws once its task has been cancelled.
class CancellationError : public std::exception {
public:
    const char* what() const noexcept override { return "The operation was cancelled."; }
};

// The cancellation flag shared by a spawned task and every child task it awaits.
// Lives on the main thread only.
class CancellationState {
public:
    using HandlerID = std::uint64_t;

    bool isCancelled() const { return cancelled_; }

    // Sets the flag and runs every registered handler once, in registration order.
    void cancel();

    // Registers a handler; when the state is already cancelled it runs at once and 0 is returned.
    HandlerID addHandler(std::function<void()> handler);
    void removeHandler(HandlerID id);

private:
    bool cancelled_ = false;
    HandlerID nextID_ = 1;
    std::vector<std::pair<HandlerID, std::function<void()>>> handlers_;
};

// Keeps a cancellation handler registered for the lifetime of the object.
class CancellationHandler {
public:
    CancellationHandler() = default;
    CancellationHandler(std::shared_ptr<CancellationState> state, std::function<void()> handler);
    CancellationHandler(CancellationHandler&& other) noexcept;
    CancellationHandler& operator=(CancellationHandler&& other) noexcept;
    CancellationHandler(const CancellationHandler&) = delete;
    CancellationHandler& operator=(const CancellationHandler&) = delete;
    ~CancellationHandler();

    void reset();

private:
    std::shared_ptr<CancellationState> state_;
    CancellationState::HandlerID id_ = 0;
};

} // namespace brindlet
