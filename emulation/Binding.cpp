#include "Binding.h"

namespace emulation {

namespace {

constexpr std::uint64_t pointerSize = sizeof(std::uint64_t);
constexpr unsigned opcodeMask = 0xf0;
constexpr unsigned immediateMask = 0x0f;

// A position in a segment to which addresses are written.
class Place {
 public:
  explicit Place(const Image& image) : image_(image) {}

  void set(unsigned segment, std::uint64_t offset) {
    if (segment >= image_.segments().size()) {
      throw LoadError("binds in a segment that it does not have");
    }
    segment_ = &image_.segments()[segment];
    offset_ = offset;
  }
  void skip(std::uint64_t bytes) { offset_ += bytes; }

  // The pointer there; the position moves behind it.
  std::uint64_t& next() {
    if (segment_ == nullptr || offset_ > segment_->size || segment_->size - offset_ < pointerSize) {
      throw LoadError("binds outside of its segments");
    }
    auto& pointer = *reinterpret_cast<std::uint64_t*>(segment_->begin + offset_);
    offset_ += pointerSize;
    return pointer;
  }

 private:
  const Image& image_;
  const Image::Segment* segment_ = nullptr;
  std::uint64_t offset_ = 0;
};

// One of the three lists. In that of the names bound lazily an end stands behind each name; in the
// others it ends the list.
void bindAll(const Image& image, Bytes opcodes, const FindName& find, bool lazy) {
  Place place(image);
  unsigned library = 0;
  std::string name;
  std::int64_t addend = 0;
  std::optional<void*> address;  // of the name, once it is known
  while (!opcodes.empty()) {
    const std::uint8_t opcode = opcodes.byte();
    const unsigned immediate = opcode & immediateMask;
    switch (opcode & opcodeMask) {
      case macho::BIND_OPCODE_DONE:
        if (!lazy) return;
        break;
      case macho::BIND_OPCODE_SET_DYLIB_ORDINAL_IMM:
        library = immediate;
        address.reset();
        break;
      case macho::BIND_OPCODE_SET_SYMBOL_TRAILING_FLAGS_IMM:
        name = opcodes.string();
        address.reset();
        break;
      case macho::BIND_OPCODE_SET_TYPE_IMM:
        break;
      case macho::BIND_OPCODE_SET_ADDEND_SLEB:
        addend = opcodes.sleb();
        break;
      case macho::BIND_OPCODE_SET_SEGMENT_AND_OFFSET_ULEB:
        place.set(immediate, opcodes.uleb());
        break;
      case macho::BIND_OPCODE_ADD_ADDR_ULEB:
        place.skip(opcodes.uleb());
        break;
      case macho::BIND_OPCODE_DO_BIND: {
        if (!address) address = find(library, name);
        std::uint64_t& pointer = place.next();
        if (*address == nullptr) break;
        pointer = reinterpret_cast<std::uint64_t>(*address) + static_cast<std::uint64_t>(addend);
        break;
      }
      default:
        throw LoadError("is bound in a way that is not supported");
    }
  }
}

}  // namespace

void rebase(const Image& image) {
  Place place(image);
  const auto times = [&](std::uint64_t count) {
    for (; count > 0; --count) place.next() += image.slide();
  };
  Bytes opcodes = image.rebaseOpcodes();
  while (!opcodes.empty()) {
    const std::uint8_t opcode = opcodes.byte();
    const unsigned immediate = opcode & immediateMask;
    switch (opcode & opcodeMask) {
      case macho::REBASE_OPCODE_DONE:
        return;
      case macho::REBASE_OPCODE_SET_TYPE_IMM:
        break;
      case macho::REBASE_OPCODE_SET_SEGMENT_AND_OFFSET_ULEB:
        place.set(immediate, opcodes.uleb());
        break;
      case macho::REBASE_OPCODE_ADD_ADDR_ULEB:
        place.skip(opcodes.uleb());
        break;
      case macho::REBASE_OPCODE_DO_REBASE_IMM_TIMES:
        times(immediate);
        break;
      case macho::REBASE_OPCODE_DO_REBASE_ULEB_TIMES:
        times(opcodes.uleb());
        break;
      default:
        throw LoadError("is rebased in a way that is not supported");
    }
  }
}

void bind(const Image& image, const FindName& find, const FindShared& findShared) {
  bindAll(image, image.bindOpcodes(), find, false);
  bindAll(image, image.lazyBindOpcodes(), find, true);
  bindAll(
      image, image.weakBindOpcodes(),
      [&](unsigned /*none*/, const std::string& name) { return findShared(name); }, false);
}

}  // namespace emulation
