#include "substitute/api/ReferenceCounted.h"

#include <Core/CoreAll.h>

#include <cstring>
#include <unordered_set>

namespace substitute {

namespace {

// Neither is ever destroyed: the add-in may release and free while the process ends.
ResourceCounts& counts() {
  static auto* const counts = new ResourceCounts;
  return *counts;
}

std::unordered_set<char*>& allocatedStrings() {
  static auto* const strings = new std::unordered_set<char*>;
  return *strings;
}

unsigned long created = 0;

}  // namespace

const ResourceCounts& resourceCounts() {
  return counts();
}

char* allocateForAddIn(const std::string& string) {
  char* const copy = new char[string.size() + 1];
  std::memcpy(copy, string.c_str(), string.size() + 1);
  allocatedStrings().insert(copy);
  ++counts().strings;
  return copy;
}

ReferenceCounted::ReferenceCounted(std::string className, std::string id)
    : className_(std::move(className)), id_(std::move(id)), serial_(++created) {
  ++counts().objects;
}

ReferenceCounted::~ReferenceCounted() {
  --counts().objects;
}

void ReferenceCounted::addRefForAddIn() const {
  ++references_;
  ++addInReferences_;
  ++counts().references;
}

void ReferenceCounted::releaseForAddIn() const {
  if (addInReferences_ == 0) {
    ++counts().invalidReleases;
    return;
  }
  --addInReferences_;
  --counts().references;
  releaseForHost();
}

void ReferenceCounted::releaseForHost() const {
  if (--references_ == 0) delete this;
}

}  // namespace substitute

void adsk::core::DeallocateArrayInternal(char* string) {
  if (substitute::allocatedStrings().erase(string) == 0) {
    ++substitute::counts().invalidDeallocations;
    return;
  }
  --substitute::counts().strings;
  delete[] string;
}
