// A program or library for macOS in memory.
//
// On a Mac the kernel maps the segments of a program, and the loader dyld those of each library:
// the text with the code, the data, and the lists that describe both. They lie anywhere in memory,
// but at fixed distances, by which the code reaches its data. Here the whole file is read, and its
// segments are copied into one block of memory. The lists stay in the bytes of the file. The code
// of an unloaded file stays, too: the emulator has translated it, and the file may be loaded again.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "MachO.h"

namespace emulation {

// What is wrong with a file: one sentence that names it, without its full stop.
struct LoadError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Bytes of a file that are read one after the other. Reading past their end throws LoadError.
class Bytes {
 public:
  Bytes() = default;
  Bytes(const std::uint8_t* begin, std::uint64_t size) : at_(begin), end_(begin + size) {}

  bool empty() const { return at_ == end_; }
  const std::uint8_t* data() const { return at_; }
  std::uint8_t byte();
  // Numbers in bytes of seven bits, the lowest first: without and with a sign.
  std::uint64_t uleb();
  std::int64_t sleb();
  const char* string();
  // What follows behind `offset` bytes: all, or `size` bytes.
  Bytes from(std::uint64_t offset) const;
  Bytes part(std::uint64_t offset, std::uint64_t size) const;
  template <typename T>
  const T& at(std::uint64_t offset) const {
    return *reinterpret_cast<const T*>(part(offset, sizeof(T)).data());
  }

 private:
  const std::uint8_t* at_ = nullptr;
  const std::uint8_t* end_ = nullptr;
};

// What a file exports under a name.
struct Export {
  void* address;
  bool weak;  // another definition of the name may take its place
};

// Its segments lie where its code expects them relative to each other. Nothing is bound and nothing
// of it has run.
class Image {
 public:
  // Throws LoadError for what is no whole Mach-O file for arm64, or needs what the loader lacks.
  explicit Image(std::string path);
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  struct Segment {
    std::uint8_t* begin;
    std::uint64_t size;
    int protection;  // as mmap says it
  };
  struct Section {
    std::string_view name;
    std::uint8_t* begin;
    std::uint64_t size;
    std::uint32_t type;
  };

  const std::string& path() const { return path_; }
  const void* header() const { return memory_; }
  // What is added to an address in the file to get the one in memory.
  std::uint64_t slide() const { return slide_; }
  bool contains(const void* address) const;
  const std::vector<std::string>& libraries() const { return libraries_; }
  const std::vector<Segment>& segments() const { return segments_; }
  const std::vector<Section>& sections() const { return sections_; }
  // The name under which other files ask for this library; empty for a program.
  const std::string& installName() const { return installName_; }
  // Where a program begins; null for a library.
  void* entry() const { return entry_; }

  Bytes rebaseOpcodes() const { return rebase_; }
  Bytes bindOpcodes() const { return bind_; }
  Bytes weakBindOpcodes() const { return weakBind_; }
  Bytes lazyBindOpcodes() const { return lazyBind_; }

  // The name begins with the underscore of C. Empty when the file does not export it.
  std::optional<Export> findExport(const std::string& name) const;
  // Protects the segments as the file wants, once all is bound. Throws LoadError on failure.
  void protect();

 private:
  void readCommands(Bytes file);
  void mapSegments(Bytes file, const std::vector<const macho::SegmentCommand*>& segments);

  std::string path_;
  std::vector<std::uint8_t> file_;
  std::uint8_t* memory_ = nullptr;
  std::uint64_t memorySize_ = 0;
  std::uint64_t slide_ = 0;
  std::vector<Segment> segments_;
  std::vector<Section> sections_;
  std::vector<std::string> libraries_;
  std::string installName_;
  void* entry_ = nullptr;
  bool isWhole_ = false;  // all is bound and protected
  Bytes rebase_, bind_, weakBind_, lazyBind_, exports_;
};

}  // namespace emulation
