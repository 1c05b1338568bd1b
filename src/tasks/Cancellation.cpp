#include "Cancellation.h"

namespace brindlet {

void CancellationState::cancel()
{
    if (cancelled_)
        return;
    cancelled_ = true;
    // Handlers may register or remove others while they run, so run a detached list.
    auto handlers = std::move(handlers_);
    handlers_.clear();
    for (auto& entry : handlers)
        entry.second();
}

CancellationState::HandlerID CancellationState::addHandler(std::function<void()> handler)
{
    if (cancelled_) {
        handler();
        return 0;
    }
    const HandlerID id = nextID_++;
    handlers_.emplace_back(id, std::move(handler));
    return id;
}

void CancellationState::removeHandler(HandlerID id)
{
    if (id == 0)
        return;
    std::erase_if(handlers_, [id](const auto& entry) { return entry.first == id; });
}

CancellationHandler::CancellationHandler(std::shared_ptr<CancellationState> state, std::function<void()> handler)
    : state_(std::move(state))
{
    if (state_)
        id_ = state_->addHandler(std::move(handler));
}

CancellationHandler::CancellationHandler(CancellationHandler&& other) noexcept
    : state_(std::move(other.state_))
    , id_(std::exchange(other.id_, 0))
{
}

CancellationHandler& CancellationHandler::operator=(CancellationHandler&& other) noexcept
{
    if (this != &other) {
        reset();
        state_ = std::move(other.state_);
        id_ = std::exchange(other.id_, 0);
    }
    return *this;
}

CancellationHandler::~CancellationHandler()
{
    reset();
}

void CancellationHandler::reset()
{
    if (state_)
        state_->removeHandler(id_);
    state_.reset();
    id_ = 0;
}

} // namespace brindlet
