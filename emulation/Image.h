#pragma once

#include <cstdint>
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
  Bytes(const std::uint8_t* begin, std::size_t size) : at_(begin), end_(begin + size) {}

  bool empty() const { return at_ == end_; }
  std::uint8_t byte();
  std::uint64_t uleb();
  std::int64_t sleb();
  const char* string();
  // What follows behind `offset` bytes.
  Bytes from(std::uint64_t offset) const;

 private:
  const std::uint8_t* at_ = nullptr;
  const std::uint8_t* end_ = nullptr;
};

// What a file exports under a name.
struct Export {
  void* address = nullptr;    // null: another library's name is passed on
  bool weak = false;          // another definition of the name may take its place
  std::uint64_t ordinal = 0;  // of the other library, counted from one
  std::string otherName;
};

// A program or library in memory: its segments lie where its code expects them relative to each
// other. Nothing is bound and nothing of it has run.
class Image {
 public:
  // Throws LoadError for what is no Mach-O file for arm64, is cut off, or needs what the loader
  // lacks.
  explicit Image(std::string path);
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  struct Segment {
    std::uint8_t* begin;
    std::uint64_t size;
    std::uint32_t protection;
    bool readOnlyAfterBinding;
  };
  struct Section {
    std::string_view segment, name;
    std::uint8_t* begin;
    std::uint64_t size;
    std::uint32_t type;
  };

  const std::string& path() const { return path_; }
  std::uint8_t* header() const { return memory_; }
  // What is added to an address in the file to get the one in memory.
  std::uint64_t slide() const { return slide_; }
  bool contains(const void* address) const;
  const macho::Header& fileHeader() const;
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

  // False when the file does not export `name`, which begins with the underscore of C.
  bool findExport(const std::string& name, Export& found) const;
  // The symbol at or next below `address`; its name is null when there is none.
  macho::Symbol symbolBelow(const void* address, const char*& name) const;
  // Gives the segments the protection that the file wants, once everything is bound.
  void protect();

 private:
  void readCommands();
  void mapSegments(const std::vector<const macho::SegmentCommand*>& segments);
  template <typename T>
  const T& at(std::uint64_t offset) const;
  Bytes part(std::uint32_t offset, std::uint32_t size) const;

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
  Bytes rebase_, bind_, weakBind_, lazyBind_, exports_;
  macho::SymbolTableCommand symbols_{};
};

}  // namespace emulation
