#include "Binding.h"

namespace emulation {

namespace {

constexpr std::uint64_t pointerSize = sizeof(std::uint64_t);

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
  // A repetition that the segment cannot hold is damage, which need not be waited for.
  void requireRoom(std::uint64_t pointers) const {
    if (segment_ == nullptr || pointers > segment_->size / pointerSize) {
      throw LoadError("binds outside of its segments");
    }
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

void requirePointer(unsigned type) {
  if (type != 1) throw LoadError("binds something else than pointers, which is not supported");
}

void rebaseAll(const Image& image) {
  Place place(image);
  const auto times = [&](std::uint64_t count, std::uint64_t skip) {
    place.requireRoom(count);
    for (; count > 0; --count) {
      place.next() += image.slide();
      place.skip(skip);
    }
  };
  Bytes opcodes = image.rebaseOpcodes();
  while (!opcodes.empty()) {
    const std::uint8_t opcode = opcodes.byte();
    const unsigned immediate = opcode & 0x0fU;
    switch (opcode & 0xf0U) {
      case 0x00:
        return;
      case 0x10:
        requirePointer(immediate);
        break;
      case 0x20:
        place.set(immediate, opcodes.uleb());
        break;
      case 0x30:
        place.skip(opcodes.uleb());
        break;
      case 0x40:
        place.skip(immediate * pointerSize);
        break;
      case 0x50:
        times(immediate, 0);
        break;
      case 0x60:
        times(opcodes.uleb(), 0);
        break;
      case 0x70:
        times(1, opcodes.uleb());
        break;
      case 0x80: {
        const std::uint64_t count = opcodes.uleb();
        times(count, opcodes.uleb());
        break;
      }
      default:
        throw LoadError("is rebased in a way that is not supported");
    }
  }
}

// One of the three lists. In that of the names bound at their first use an end stands behind each
// name; in the others it ends the list.
void bindAll(const Image& image, Bytes opcodes, const FindName& find, std::int64_t library,
             bool endsGoOn) {
  Place place(image);
  std::string name;
  std::int64_t addend = 0;
  bool mayLack = false;
  void* address = nullptr;
  bool found = false;
  const auto once = [&](std::uint64_t skip) {
    if (!found) address = find(library, name, mayLack);
    found = true;
    std::uint64_t& pointer = place.next();
    if (address != nullptr || mayLack) {
      pointer = reinterpret_cast<std::uint64_t>(address) + static_cast<std::uint64_t>(addend);
    }
    place.skip(skip);
  };
  while (!opcodes.empty()) {
    const std::uint8_t opcode = opcodes.byte();
    const unsigned immediate = opcode & 0x0fU;
    switch (opcode & 0xf0U) {
      case 0x00:
        if (!endsGoOn) return;
        break;
      case 0x10:
        library = immediate;
        found = false;
        break;
      case 0x20:
        library = static_cast<std::int64_t>(opcodes.uleb());
        found = false;
        break;
      case 0x30:
        library = immediate == 0 ? inSelf : static_cast<std::int64_t>(immediate) - 16;
        found = false;
        break;
      case 0x40:
        name = opcodes.string();
        mayLack = (immediate & 1U) != 0 && library != amongWeak;
        found = false;
        break;
      case 0x50:
        requirePointer(immediate);
        break;
      case 0x60:
        addend = opcodes.sleb();
        break;
      case 0x70:
        place.set(immediate, opcodes.uleb());
        break;
      case 0x80:
        place.skip(opcodes.uleb());
        break;
      case 0x90:
        once(0);
        break;
      case 0xa0:
        once(opcodes.uleb());
        break;
      case 0xb0:
        once(immediate * pointerSize);
        break;
      case 0xc0: {
        std::uint64_t count = opcodes.uleb();
        const std::uint64_t skip = opcodes.uleb();
        place.requireRoom(count);
        for (; count > 0; --count) once(skip);
        break;
      }
      default:
        throw LoadError("is bound in a way that is not supported");
    }
  }
}

}  // namespace

void rebase(const Image& image) {
  rebaseAll(image);
}

void bind(const Image& image, const FindName& find) {
  bindAll(image, image.bindOpcodes(), find, inSelf, false);
  bindAll(image, image.lazyBindOpcodes(), find, inSelf, true);
  bindAll(image, image.weakBindOpcodes(), find, amongWeak, false);
}

}  // namespace emulation
