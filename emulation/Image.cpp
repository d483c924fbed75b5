#include "Image.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>

namespace emulation {

namespace {

// More than the code of a file can reach.
constexpr std::uint64_t largestImage = std::uint64_t{1} << 32;
constexpr int blockFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;

// Of the files that were unloaded, by path: the bytes, and the block in which the code still lies.
auto& formerImages = *new std::map<std::string, std::pair<std::vector<std::uint8_t>, void*>>;

std::vector<std::uint8_t> readFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = file.tellg();
  std::vector<std::uint8_t> bytes(size < 0 ? 0 : static_cast<std::size_t>(size));
  file.seekg(0).read(reinterpret_cast<char*>(bytes.data()), size);
  if (!file) throw LoadError(path + " cannot be read: " + std::strerror(errno));
  return bytes;
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
    if ((next & 0x80U) == 0) return value;
  }
}

std::int64_t Bytes::sleb() {
  const std::uint8_t* const begin = at_;
  std::uint64_t value = uleb();
  const auto bits = static_cast<unsigned>(7 * (at_ - begin));
  const bool negative = (at_[-1] & 0x40U) != 0;
  if (negative && bits < 64) value |= ~std::uint64_t{0} << bits;
  return static_cast<std::int64_t>(value);
}

const char* Bytes::string() {
  const auto* const begin = reinterpret_cast<const char*>(at_);
  while (byte() != 0) {
  }
  return begin;
}

Bytes Bytes::from(std::uint64_t offset) const {
  return part(offset, static_cast<std::uint64_t>(end_ - at_) - offset);
}

Bytes Bytes::part(std::uint64_t offset, std::uint64_t size) const {
  const auto all = static_cast<std::uint64_t>(end_ - at_);
  if (offset > all || size > all - offset) throw LoadError("is cut off");
  return {at_ + offset, size};
}

Image::Image(std::string path) : path_(std::move(path)), file_(readFile(path_)) {
  try {
    readCommands({file_.data(), file_.size()});
  } catch (const LoadError& error) {
    munmap(memory_, memorySize_);
    throw LoadError(path_ + " " + error.what());
  }
}

Image::~Image() {
  for (const auto& [begin, size, protection] : segments_) {
    const bool stays = isWhole_ && (protection & PROT_EXEC) != 0;
    if (stays) continue;
    void* const none = mmap(begin, size, PROT_NONE, blockFlags | MAP_FIXED, -1, 0);
    isWhole_ = isWhole_ && none != MAP_FAILED;
  }
  if (isWhole_) formerImages[path_] = {std::move(file_), memory_};
}

bool Image::contains(const void* address) const {
  return address >= memory_ && address < memory_ + memorySize_;
}

std::optional<Export> Image::findExport(const std::string& name) const {
  // A trie: each node may end a name, and leads on by edges that bear the next characters.
  if (exports_.empty()) return {};
  Bytes node = exports_;
  for (const char* rest = name.c_str();;) {
    const std::uint64_t size = node.uleb();
    if (*rest == '\0') {
      if (size == 0) return {};
      const std::uint64_t flags = node.uleb();
      if ((flags & ~macho::EXPORT_SYMBOL_FLAGS_WEAK_DEFINITION) != 0) return {};  // no address
      return Export{memory_ + node.uleb(), flags != 0};
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
    if (!followed) return {};
  }
}

void Image::protect() {
  for (const auto& [begin, size, protection] : segments_) {
    if (size != 0 && mprotect(begin, size, protection) != 0) {
      throw LoadError(std::string("cannot be protected in memory: ") + std::strerror(errno));
    }
    __builtin___clear_cache(reinterpret_cast<char*>(begin), reinterpret_cast<char*>(begin + size));
  }
  isWhole_ = true;
}

void Image::readCommands(Bytes file) {
  if (file_.size() < sizeof(std::uint32_t) || file.at<std::uint32_t>(0) != macho::MH_MAGIC_64) {
    throw LoadError("is no 64-bit Mach-O file");
  }
  const auto& header = file.at<macho::Header>(0);
  if (header.processor != macho::CPU_TYPE_ARM64) {
    throw LoadError("is for another processor than arm64");
  }
  if (header.fileType != macho::MH_EXECUTE && header.fileType != macho::MH_DYLIB) {
    throw LoadError("is neither a program nor a library");
  }
  std::vector<const macho::SegmentCommand*> segments;
  std::uint64_t entryOffset = 0;
  Bytes commands = file.from(sizeof(macho::Header));
  for (std::uint32_t i = 0; i < header.commandCount; ++i) {
    const auto [kind, size] = commands.at<macho::LoadCommand>(0);
    if (size < sizeof(macho::LoadCommand)) throw LoadError("has an empty load command");
    const Bytes command = commands.part(0, size);
    switch (kind) {
      case macho::LC_SEGMENT_64:
        segments.push_back(&command.at<macho::SegmentCommand>(0));
        command.part(sizeof(macho::SegmentCommand),
                     segments.back()->sectionCount * sizeof(macho::Section));
        break;
      case macho::LC_LOAD_DYLIB:
        libraries_.emplace_back(
            command.from(command.at<macho::LibraryCommand>(0).nameOffset).string());
        break;
      case macho::LC_ID_DYLIB:
        installName_ = command.from(command.at<macho::LibraryCommand>(0).nameOffset).string();
        break;
      case macho::LC_DYLD_INFO_ONLY: {
        const auto& info = command.at<macho::DyldInfoCommand>(0);
        rebase_ = file.part(info.rebaseOffset, info.rebaseSize);
        bind_ = file.part(info.bindOffset, info.bindSize);
        weakBind_ = file.part(info.weakBindOffset, info.weakBindSize);
        lazyBind_ = file.part(info.lazyBindOffset, info.lazyBindSize);
        exports_ = file.part(info.exportOffset, info.exportSize);
        break;
      }
      case macho::LC_MAIN:
        entryOffset = command.at<macho::MainCommand>(0).entryOffset;
        break;
      default:
        if ((kind & macho::LC_REQ_DYLD) == 0) break;
        throw LoadError("has the load command " + std::to_string(kind & ~macho::LC_REQ_DYLD) +
                        ", which is not supported");
    }
    commands = commands.from(size);
  }
  mapSegments(file, segments);
  if (header.fileType == macho::MH_EXECUTE) {
    if (entryOffset == 0) throw LoadError("does not say where it begins");
    entry_ = memory_ + entryOffset;
  }
}

void Image::mapSegments(Bytes file, const std::vector<const macho::SegmentCommand*>& segments) {
  // The segment that only keeps low addresses unused is left out.
  std::uint64_t first = UINT64_MAX;
  std::uint64_t last = 0;
  for (const macho::SegmentCommand* const segment : segments) {
    if (segment->protection == 0) continue;
    if (segment->fileSize > segment->size || segment->address + segment->size < segment->address) {
      throw LoadError("has a segment of an impossible size");
    }
    first = std::min(first, segment->address);
    last = std::max(last, segment->address + segment->size);
  }
  if (first >= last) throw LoadError("has no segments");
  if (last - first > largestImage) throw LoadError("does not fit into memory");
  const auto former = formerImages.extract(path_);
  const bool isThere = !former.empty() && former.mapped().first == file_;
  void* const memory = isThere
                           ? former.mapped().second
                           : mmap(nullptr, last - first, PROT_READ | PROT_WRITE, blockFlags, -1, 0);
  if (memory == MAP_FAILED) throw LoadError("does not fit into memory");
  memory_ = static_cast<std::uint8_t*>(memory);
  memorySize_ = last - first;
  slide_ = reinterpret_cast<std::uint64_t>(memory_) - first;
  for (const macho::SegmentCommand* const segment : segments) {
    if (segment->protection == 0) {
      segments_.push_back({memory_, 0, PROT_READ});  // others are numbered as in the file
      continue;
    }
    std::uint8_t* const begin = memory_ + (segment->address - first);
    // The file format has mmap's bits.
    const bool readOnly = (segment->flags & macho::SG_READ_ONLY) != 0;
    const auto wanted = static_cast<int>(segment->protection);
    const int protection = readOnly ? PROT_READ : wanted & (PROT_READ | PROT_WRITE | PROT_EXEC);
    const Bytes content = file.part(segment->fileOffset, segment->fileSize);
    if (!isThere || (protection & PROT_EXEC) == 0) {
      if (isThere) mprotect(begin, segment->size, PROT_READ | PROT_WRITE);
      std::memcpy(begin, content.data(), segment->fileSize);
    }
    segments_.push_back({begin, segment->size, protection});
    const auto* const section = reinterpret_cast<const macho::Section*>(segment + 1);
    for (std::uint32_t i = 0; i < segment->sectionCount; ++i) {
      const std::uint64_t offset = section[i].address - segment->address;
      if (offset > segment->size || section[i].size > segment->size - offset) {
        throw LoadError("has a section outside of its segment");
      }
      const std::string_view name(section[i].name,
                                  strnlen(section[i].name, sizeof(section[i].name)));
      sections_.push_back({name, begin + offset, section[i].size, section[i].flags & 0xffU});
    }
  }
}

}  // namespace emulation
