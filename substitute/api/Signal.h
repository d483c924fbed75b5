// Publishing to subscribers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace substitute {

// Calls every listener with what is published, in the order in which they subscribed. A listener
// may subscribe others, end subscriptions, its own included, and publish again.
template <class... Arguments>
class Signal {
 public:
  using Listener = std::function<void(const Arguments&...)>;

  // The subscriber's; the subscription ends with it. It may outlive the signal.
  using Subscription = std::shared_ptr<const Listener>;

  [[nodiscard]] Subscription subscribe(Listener listener) {
    auto subscription = std::make_shared<const Listener>(std::move(listener));
    listeners_.push_back(subscription);
    return subscription;
  }

  void publish(const Arguments&... arguments) {
    bool ended = false;
    for (std::size_t i = 0; i < listeners_.size(); ++i) {
      const Subscription listener = listeners_[i].lock();
      if (listener) (*listener)(arguments...);
      ended = ended || !listener;
    }
    if (ended) removeEnded();
  }

  // False when nobody listens; whoever has just ended a subscription may still count.
  bool hasListeners() const { return !listeners_.empty(); }

 private:
  void removeEnded() {
    listeners_.erase(std::remove_if(listeners_.begin(), listeners_.end(),
                                    [](const auto& listener) { return listener.expired(); }),
                     listeners_.end());
  }

  std::vector<std::weak_ptr<const Listener>> listeners_;
};

}  // namespace substitute
