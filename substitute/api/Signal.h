// Publishing to subscribers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace substitute {

// Calls every listener with what is published. A listener may subscribe others, end subscriptions,
// its own included, and publish again.
template <class... Arguments>
class Signal {
 public:
  using Listener = std::function<void(const Arguments&...)>;

  // Owned by the subscriber; the subscription ends with it. It may outlive the signal.
  using Subscription = std::shared_ptr<const Listener>;

  [[nodiscard]] Subscription subscribe(Listener listener) {
    auto subscription = std::make_shared<const Listener>(std::move(listener));
    // A place that has become free is taken again; none is ever removed, since a call of publish()
    // may be on its way through them.
    const auto free = std::find_if(listeners_.begin(), listeners_.end(), isEnded);
    if (free == listeners_.end()) {
      listeners_.push_back(subscription);
    } else {
      *free = subscription;
    }
    return subscription;
  }

  void publish(const Arguments&... arguments) const {
    for (std::size_t i = 0; i < listeners_.size(); ++i) {
      if (const Subscription listener = listeners_[i].lock()) (*listener)(arguments...);
    }
  }

  bool hasListeners() const { return !std::all_of(listeners_.begin(), listeners_.end(), isEnded); }

 private:
  static bool isEnded(const std::weak_ptr<const Listener>& listener) { return listener.expired(); }

  std::vector<std::weak_ptr<const Listener>> listeners_;
};

}  // namespace substitute
