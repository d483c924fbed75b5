// A collection of host objects.
#pragma once

#include <iterator>
#include <list>
#include <string>
#include <unordered_map>
#include <utility>

#include "substitute/api/ReferenceCounted.h"
#include "substitute/api/Signal.h"

namespace substitute {

// Objects of one kind in their order, each id once. No operation takes longer with more objects.
template <class T>
class Collection {
 public:
  using Items = std::list<HostPtr<T>>;

  // Publishes the id of an object before it is added, removed, shown or hidden.
  Signal<std::string> changing;

  const Items& items() const { return items_; }

  // Null when there is none with that id.
  T* find(const std::string& id) const {
    const auto found = places_.find(id);
    return found == places_.end() ? nullptr : found->second->get();
  }

  // Adds `item` before or after the object `neighbour`; at the end when that is null. The result is
  // the item; null, and nothing is done, when its id is taken.
  T* add(HostPtr<T> item, const T* neighbour = nullptr, bool before = false) {
    const std::string& id = item->id();
    if (find(id) != nullptr) return nullptr;
    changing.publish(id);
    auto place = items_.end();
    if (neighbour != nullptr) place = std::next(places_.at(neighbour->id()), before ? 0 : 1);
    place = items_.insert(place, std::move(item));
    places_[(*place)->id()] = place;
    return place->get();
  }

  // Removes `item` and marks it as deleted. False when it is null or not here.
  bool remove(const T* item) {
    if (item == nullptr || find(item->id()) != item) return false;
    const std::string id = item->id();
    changing.publish(id);
    const auto place = places_.find(id);
    (*place->second)->invalidate();
    items_.erase(place->second);
    places_.erase(place);
    return true;
  }

 private:
  Items items_;
  std::unordered_map<std::string, typename Items::iterator> places_;
};

}  // namespace substitute
