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

  // Adds `item` at the end. The result is the item; null, and nothing is done, when its id is
  // taken.
  T* add(HostPtr<T> item) { return insert(items_.end(), std::move(item)); }

  // The same, but beside the object `neighbour`, which is here: before it or after it.
  T* addBeside(const T& neighbour, bool before, HostPtr<T> item) {
    const auto place = places_.at(neighbour.id());
    return insert(before ? place : std::next(place), std::move(item));
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
  T* insert(typename Items::iterator place, HostPtr<T> item) {
    const std::string& id = item->id();
    if (find(id) != nullptr) return nullptr;
    changing.publish(id);
    const auto inserted = items_.insert(place, std::move(item));
    places_[inserted->get()->id()] = inserted;
    return inserted->get();
  }

  Items items_;
  std::unordered_map<std::string, typename Items::iterator> places_;
};

}  // namespace substitute
