#include "benchmarks/Allocations.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void __libc_free(void* block);
}

namespace {

using benchmarks::Allocation;
using benchmarks::Owner;

bool counting = false;
std::array<Allocation, 256> kept;
benchmarks::Allocations result;
long live = 0;

bool contains(const char* text, const char* part) {
  return text != nullptr && std::strstr(text, part) != nullptr;
}

// Whose allocation it is that is being made, from the calls that led to it.
Owner owner() {
  void* frames[24];
  const int depth = backtrace(frames, 24);
  bool stream = false;
  bool library = false;  // a frame of any library but the C library has been passed
  bool cLibrary = false;
  for (int i = 0; i < depth; ++i) {
    Dl_info place;
    if (dladdr(frames[i], &place) == 0) continue;
    if (contains(place.dli_fname, "libXInterface10")) return Owner::host;
    if (contains(place.dli_fname, "liballocations")) continue;
    if (contains(place.dli_sname, "basic_filebuf")) stream = true;
    if (contains(place.dli_fname, "libc.so")) {
      cLibrary = cLibrary || !library;
    } else {
      library = true;
    }
  }
  if (stream) return Owner::stream;
  return cLibrary ? Owner::cLibrary : Owner::text;
}

void note(std::size_t asked, const void* block) {
  if (!counting || block == nullptr) return;
  counting = false;
  const Owner whose = owner();
  ++result.count[static_cast<std::size_t>(whose)];
  if (whose != Owner::host && result.kept < kept.size()) kept[result.kept++] = {asked, whose};
  live += static_cast<long>(malloc_usable_size(const_cast<void*>(block)));
  result.peakBytes = std::max(result.peakBytes, static_cast<std::size_t>(std::max(live, 0L)));
  counting = true;
}

void forget(void* block) {
  if (counting && block != nullptr) live -= static_cast<long>(malloc_usable_size(block));
}

}  // namespace

extern "C" {

void benchmarks::beginAllocations() {
  owner();  // the first walk through the calls allocates by itself
  result = {};
  result.all = kept.data();
  live = 0;
  counting = true;
}

benchmarks::Allocations benchmarks::endAllocations() {
  counting = false;
  return result;
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved
void* malloc(std::size_t bytes) {
  void* const block = __libc_malloc(bytes);
  note(bytes, block);
  return block;
}

void* calloc(std::size_t count, std::size_t bytes) {
  void* const block = __libc_calloc(count, bytes);
  note(count * bytes, block);
  return block;
}

// Old and new block may live at the same time.
void* realloc(void* old, std::size_t bytes) {
  const std::size_t oldBytes = old == nullptr ? 0 : malloc_usable_size(old);
  void* const block = __libc_realloc(old, bytes);
  note(bytes, block);
  if (counting && block != nullptr) live -= static_cast<long>(oldBytes);
  return block;
}

void free(void* block) {
  forget(block);
  __libc_free(block);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
