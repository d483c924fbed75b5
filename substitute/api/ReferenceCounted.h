// Reference-counted host objects and host strings: what exists, and what the add-in holds of it.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "substitute/api/Export.h"

namespace substitute {

// What the process has counted since it began, for all hosts together.
struct ResourceCounts {
  long objects = 0;     // host objects alive
  long references = 0;  // references that the add-in holds
  long strings = 0;     // host strings that the add-in has not freed
  // References released and strings freed that the add-in did not hold. Neither is done.
  long invalidReleases = 0;
  long invalidDeallocations = 0;
};

SUBSTITUTE_API const ResourceCounts& resourceCounts();

// A copy of `string` in the host's memory. The add-in frees it by DeallocateArrayInternal.
SUBSTITUTE_API char* allocateForAddIn(const std::string& string);

// The base of every host object: its name, its references, and whether it still stands for
// something. It is created with one reference, the host's, and deleted with its last one.
class SUBSTITUTE_API ReferenceCounted {
 public:
  ReferenceCounted(const ReferenceCounted&) = delete;
  ReferenceCounted& operator=(const ReferenceCounted&) = delete;

  // The class, and after a colon the id where there is one: "Palette:ID".
  std::string name() const { return id_.empty() ? className_ : className_ + ":" + id_; }
  const std::string& className() const { return className_; }
  const std::string& id() const { return id_; }

  // False once the host has deleted what the object stands for.
  bool valid() const { return valid_; }
  void invalidate() { valid_ = false; }

  // The add-in has put it into the host.
  bool isOfAddIn() const { return isOfAddIn_; }
  void markAsOfAddIn() { isOfAddIn_ = true; }

  // Grows with every object that is created.
  unsigned long serial() const { return serial_; }

  // Adds or releases a reference of the add-in's. Releasing one that the add-in does not hold is
  // counted as an invalid release, and not done.
  void addRefForAddIn() const;
  void releaseForAddIn() const;

  // Releases a reference of the host's.
  void releaseForHost() const;

 protected:
  ReferenceCounted(std::string className, std::string id);
  virtual ~ReferenceCounted();

 private:
  std::string className_;
  std::string id_;
  bool valid_ = true;
  bool isOfAddIn_ = false;
  unsigned long serial_;
  mutable long references_ = 1;
  mutable long addInReferences_ = 0;
};

// Owns one reference of the host's.
struct ReleaseDeleter {
  void operator()(const ReferenceCounted* object) const { object->releaseForHost(); }
};
template <class T>
using HostPtr = std::unique_ptr<T, ReleaseDeleter>;

template <class T, class... Arguments>
HostPtr<T> makeHostObject(Arguments&&... arguments) {
  return HostPtr<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace substitute
