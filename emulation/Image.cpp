#include "Image.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace emulation {

namespace {

// More than the code of a file can reach.
constexpr std::uint64_t largestImage = std::uint64_t{1} << 32;

std::string_view fixedString(const char (&characters)[16]) {
  return {characters, strnlen(characters, sizeof(characters))};
}

std::vector<std::uint8_t> readFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = file.tellg();
  std::vector<std::uint8_t> bytes(size < 0 ? 0 : static_cast<std::size_t>(size));
  file.seekg(0).read(reinterpret_cast<char*>(bytes.data()), size);
  if (!file) throw LoadError(path + " cannot be read: " + std::strerror(errno));
  return bytes;
}

// What a segment may be, as mmap says it; the file format uses the same bits.
int memoryProtection(std::uint32_t protection) {
  return static_cast<int>(protection & (PROT_READ | PROT_WRITE | PROT_EXEC));
}

}  // namespace

std::uint8_t Bytes::byte() {
  if (at_ == end_) throw LoadError("is cut off");
  return *at_++;
}

std::uint64_t Bytes::uleb() {
  std::uint64_t value = 0;
  for (unsigned shift = 0;; shift += 7) {
    const std::uint8_t next = byte();
    if (shift < 64) value |= std::uint64_t{next & 0x7fU} << shift;
    if ((next & 0x80) == 0) return value;
  }
}

std::int64_t Bytes::sleb() {
  std::uint64_t value = 0;
  for (unsigned shift = 0;;) {
    const std::uint8_t next = byte();
    if (shift < 64) value |= std::uint64_t{next & 0x7fU} << shift;
    shift += 7;
    if ((next & 0x80) != 0) continue;
    if ((next & 0x40) != 0 && shift < 64) value |= ~std::uint64_t{0} << shift;
    return static_cast<std::int64_t>(value);
  }
}

const char* Bytes::string() {
  const auto* const begin = reinterpret_cast<const char*>(at_);
  while (byte() != 0) {
  }
  return begin;
}

Bytes Bytes::from(std::uint64_t offset) const {
  const auto size = static_cast<std::uint64_t>(end_ - at_);
  if (offset > size) throw LoadError("is cut off");
  return {at_ + offset, size - offset};
}

Image::Image(std::string path) : path_(std::move(path)), file_(readFile(path_)) {
  try {
    readCommands();
  } catch (const LoadError& error) {
    throw LoadError(path_ + " " + error.what());
  }
}

Image::~Image() {
  munmap(memory_, memorySize_);
}

const macho::Header& Image::fileHeader() const {
  return at<macho::Header>(0);
}

bool Image::contains(const void* address) const {
  return std::any_of(segments_.begin(), segments_.end(), [address](const Segment& segment) {
    return address >= segment.begin && address < segment.begin + segment.size;
  });
}

bool Image::findExport(const std::string& name, Export& found) const {
  // A trie: each node may end a name, and leads on by edges that bear the next characters.
  if (exports_.empty()) return false;
  Bytes node = exports_;
  const char* rest = name.c_str();
  for (;;) {
    const std::uint64_t size = node.uleb();
    if (*rest == '\0') {
      if (size == 0) return false;
      const std::uint64_t flags = node.uleb();
      if ((flags & 0x08) != 0) {
        found.ordinal = node.uleb();
        found.otherName = node.string();
        if (found.otherName.empty()) found.otherName = name;
        return true;
      }
      const bool absolute = (flags & 0x03) == 2;
      found.address = (absolute ? nullptr : memory_) + node.uleb();
      found.weak = (flags & 0x04) != 0;
      return true;
    }
    Bytes edges = node.from(size);
    bool followed = false;
    for (unsigned count = edges.byte(); count > 0 && !followed; --count) {
      const char* const label = edges.string();
      const std::uint64_t child = edges.uleb();
      const std::size_t length = std::strlen(label);
      if (length == 0 || std::strncmp(rest, label, length) != 0) continue;
      rest += length;
      node = exports_.from(child);
      followed = true;
    }
    if (!followed) return false;
  }
}

macho::Symbol Image::symbolBelow(const void* address, const char*& name) const {
  constexpr std::uint8_t debugging = 0xe0;
  constexpr std::uint8_t kind = 0x0e;
  constexpr std::uint8_t inSection = 0x0e;
  macho::Symbol best{};
  name = nullptr;
  const std::uint64_t wanted = reinterpret_cast<std::uint64_t>(address) - slide_;
  for (std::uint32_t i = 0; i < symbols_.symbolCount; ++i) {
    const auto& symbol =
        at<macho::Symbol>(symbols_.symbolOffset + std::uint64_t{i} * sizeof(macho::Symbol));
    if ((symbol.type & debugging) != 0 || (symbol.type & kind) != inSection) continue;
    if (symbol.address > wanted || (name != nullptr && symbol.address <= best.address)) continue;
    best = symbol;
    name = part(symbols_.stringOffset, symbols_.stringSize).from(symbol.name).string();
  }
  return best;
}

void Image::protect() {
  for (const Segment& segment : segments_) {
    const int protection =
        segment.readOnlyAfterBinding ? PROT_READ : memoryProtection(segment.protection);
    mprotect(segment.begin, segment.size, protection);
    __builtin___clear_cache(reinterpret_cast<char*>(segment.begin),
                            reinterpret_cast<char*>(segment.begin + segment.size));
  }
}

template <typename T>
const T& Image::at(std::uint64_t offset) const {
  if (offset > file_.size() || file_.size() - offset < sizeof(T)) throw LoadError("is cut off");
  return *reinterpret_cast<const T*>(file_.data() + offset);
}

Bytes Image::part(std::uint32_t offset, std::uint32_t size) const {
  if (std::uint64_t{offset} + size > file_.size()) throw LoadError("is cut off");
  return {file_.data() + offset, size};
}

void Image::readCommands() {
  if (file_.size() < sizeof(std::uint32_t) || at<std::uint32_t>(0) != macho::magic64) {
    throw LoadError("is no 64-bit Mach-O file");
  }
  const macho::Header& header = fileHeader();
  if (header.processor != macho::arm64) throw LoadError("is for another processor than arm64");
  if (header.fileType != macho::executable && header.fileType != macho::dynamicLibrary &&
      header.fileType != macho::bundle) {
    throw LoadError("is neither a program nor a library");
  }
  std::vector<const macho::SegmentCommand*> segments;
  std::uint64_t entryOffset = 0;
  std::uint64_t offset = sizeof(macho::Header);
  for (std::uint32_t i = 0; i < header.commandCount; ++i) {
    const auto& command = at<macho::LoadCommand>(offset);
    if (command.size < sizeof(command)) throw LoadError("has an empty load command");
    part(static_cast<std::uint32_t>(offset), command.size);
    switch (command.kind) {
      case macho::commandSegment:
        segments.push_back(&at<macho::SegmentCommand>(offset));
        at<std::uint8_t>(offset + sizeof(macho::SegmentCommand) - 1 +
                         std::uint64_t{segments.back()->sectionCount} * sizeof(macho::Section));
        break;
      case macho::commandLoadLibrary:
      case macho::commandLoadWeakLibrary:
      case macho::commandReexportLibrary:
      case macho::commandLibraryId: {
        const auto& library = at<macho::LibraryCommand>(offset);
        const std::string name =
            Bytes(file_.data() + offset, command.size).from(library.nameOffset).string();
        if (command.kind == macho::commandLibraryId) {
          installName_ = name;
        } else {
          libraries_.push_back(name);
        }
        break;
      }
      case macho::commandDyldInfo:
      case macho::commandDyldInfoOnly: {
        const auto& info = at<macho::DyldInfoCommand>(offset);
        rebase_ = part(info.rebaseOffset, info.rebaseSize);
        bind_ = part(info.bindOffset, info.bindSize);
        weakBind_ = part(info.weakBindOffset, info.weakBindSize);
        lazyBind_ = part(info.lazyBindOffset, info.lazyBindSize);
        exports_ = part(info.exportOffset, info.exportSize);
        break;
      }
      case macho::commandChainedFixups:
      case macho::commandExportsTrie:
        throw LoadError("has chained fixups, which are not supported");
      case macho::commandMain:
        entryOffset = at<macho::MainCommand>(offset).entryOffset;
        break;
      case macho::commandSymbolTable: {
        symbols_ = at<macho::SymbolTableCommand>(offset);
        part(symbols_.stringOffset, symbols_.stringSize);
        const std::uint64_t size = std::uint64_t{symbols_.symbolCount} * sizeof(macho::Symbol);
        if (symbols_.symbolOffset + size > file_.size()) throw LoadError("is cut off");
        break;
      }
      default:
        break;
    }
    offset += command.size;
  }
  mapSegments(segments);
  if (header.fileType == macho::executable) {
    if (entryOffset == 0) throw LoadError("does not say where it begins");
    entry_ = memory_ + entryOffset;
  }
}

void Image::mapSegments(const std::vector<const macho::SegmentCommand*>& segments) {
  // The segment that only keeps low addresses unused is left out.
  std::uint64_t first = UINT64_MAX;
  std::uint64_t last = 0;
  for (const macho::SegmentCommand* const segment : segments) {
    if (segment->protection == 0) continue;
    if (segment->fileOffset > file_.size() ||
        segment->fileSize > file_.size() - segment->fileOffset) {
      throw LoadError("is cut off");
    }
    if (segment->fileSize > segment->size || segment->address + segment->size < segment->address) {
      throw LoadError("has a segment of an impossible size");
    }
    first = std::min(first, segment->address);
    last = std::max(last, segment->address + segment->size);
  }
  if (first >= last) throw LoadError("has no segments");
  if (last - first > largestImage) throw LoadError("does not fit into memory");
  void* const memory = mmap(nullptr, last - first, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) throw LoadError("does not fit into memory");
  memory_ = static_cast<std::uint8_t*>(memory);
  memorySize_ = last - first;
  slide_ = reinterpret_cast<std::uint64_t>(memory_) - first;
  for (const macho::SegmentCommand* const segment : segments) {
    if (segment->protection == 0) {
      segments_.push_back({memory_, 0, 0, false});  // others are numbered as in the file
      continue;
    }
    std::uint8_t* const begin = memory_ + (segment->address - first);
    std::memcpy(begin, file_.data() + segment->fileOffset, segment->fileSize);
    segments_.push_back({begin, segment->size, segment->protection,
                         (segment->flags & macho::readOnlyAfterBinding) != 0});
    const auto* const section = reinterpret_cast<const macho::Section*>(segment + 1);
    for (std::uint32_t i = 0; i < segment->sectionCount; ++i) {
      const std::uint64_t offset = section[i].address - segment->address;
      if (offset > segment->size || section[i].size > segment->size - offset) {
        throw LoadError("has a section outside of its segment");
      }
      sections_.push_back({fixedString(section[i].segment), fixedString(section[i].name),
                           begin + offset, section[i].size, section[i].flags & 0xff});
    }
  }
}

}  // namespace emulation
