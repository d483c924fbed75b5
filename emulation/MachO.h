// The file format of macOS, Mach-O, as far as the loader reads it.
//
// A file begins with a header and a list of load commands. They say which parts of the file lie
// where in memory, which libraries are needed, and where the lists are by which addresses are
// corrected and names are bound. All numbers are little-endian. Commands, types and opcodes have
// the names that the format's documents give them; records are given as far as they are read.
#pragma once

#include <cstdint>

namespace emulation::macho {

constexpr std::uint32_t MH_MAGIC_64 = 0xfeedfacf;
constexpr std::uint32_t CPU_TYPE_ARM64 = 0x0100000c;
constexpr std::uint32_t MH_EXECUTE = 2;
constexpr std::uint32_t MH_DYLIB = 6;

struct Header {
  std::uint32_t magic;
  std::uint32_t processor;
  std::uint32_t processorSubtype;
  std::uint32_t fileType;
  std::uint32_t commandCount;
  std::uint32_t commandBytes;
  std::uint32_t flags;
  std::uint32_t reserved;
};

struct LoadCommand {
  std::uint32_t kind;
  std::uint32_t size;
};

// A loader must refuse a file with a command of this bit that it does not know.
constexpr std::uint32_t LC_REQ_DYLD = 0x80000000;
constexpr std::uint32_t LC_LOAD_DYLIB = 0xc;
constexpr std::uint32_t LC_ID_DYLIB = 0xd;
constexpr std::uint32_t LC_SEGMENT_64 = 0x19;
constexpr std::uint32_t LC_DYLD_INFO_ONLY = 0x22 | LC_REQ_DYLD;
constexpr std::uint32_t LC_MAIN = 0x28 | LC_REQ_DYLD;

struct SegmentCommand {
  LoadCommand command;
  char name[16];
  std::uint64_t address;
  std::uint64_t size;
  std::uint64_t fileOffset;
  std::uint64_t fileSize;
  std::uint32_t maximumProtection;
  std::uint32_t protection;
  std::uint32_t sectionCount;
  std::uint32_t flags;
};

constexpr std::uint32_t SG_READ_ONLY = 0x10;  // after binding

struct Section {
  char name[16];
  char segment[16];
  std::uint64_t address;
  std::uint64_t size;
  std::uint32_t fileOffset;
  std::uint32_t alignment;
  std::uint32_t relocationOffset;
  std::uint32_t relocationCount;
  std::uint32_t flags;
  std::uint32_t reserved[3];
};

// The lowest byte of a section's flags.
constexpr std::uint32_t S_MOD_INIT_FUNC_POINTERS = 0x9;
constexpr std::uint32_t S_THREAD_LOCAL_REGULAR = 0x11;
constexpr std::uint32_t S_THREAD_LOCAL_ZEROFILL = 0x12;
constexpr std::uint32_t S_THREAD_LOCAL_VARIABLES = 0x13;

struct LibraryCommand {
  LoadCommand command;
  std::uint32_t nameOffset;
};

struct DyldInfoCommand {
  LoadCommand command;
  std::uint32_t rebaseOffset, rebaseSize;
  std::uint32_t bindOffset, bindSize;
  std::uint32_t weakBindOffset, weakBindSize;
  std::uint32_t lazyBindOffset, lazyBindSize;
  std::uint32_t exportOffset, exportSize;
};

struct MainCommand {
  LoadCommand command;
  std::uint64_t entryOffset;
};

// A list of rebasing or binding is a program: the upper half of a byte is the opcode, the lower
// half a number of its own; longer numbers and names stand behind it. These are all that ld64.lld
// writes.
constexpr std::uint8_t REBASE_OPCODE_DONE = 0x00;
constexpr std::uint8_t REBASE_OPCODE_SET_TYPE_IMM = 0x10;  // there are only pointers
constexpr std::uint8_t REBASE_OPCODE_SET_SEGMENT_AND_OFFSET_ULEB = 0x20;
constexpr std::uint8_t REBASE_OPCODE_ADD_ADDR_ULEB = 0x30;
constexpr std::uint8_t REBASE_OPCODE_DO_REBASE_IMM_TIMES = 0x50;
constexpr std::uint8_t REBASE_OPCODE_DO_REBASE_ULEB_TIMES = 0x60;

constexpr std::uint8_t BIND_OPCODE_DONE = 0x00;
constexpr std::uint8_t BIND_OPCODE_SET_DYLIB_ORDINAL_IMM = 0x10;
constexpr std::uint8_t BIND_OPCODE_SET_SYMBOL_TRAILING_FLAGS_IMM = 0x40;
constexpr std::uint8_t BIND_OPCODE_SET_TYPE_IMM = 0x50;
constexpr std::uint8_t BIND_OPCODE_SET_ADDEND_SLEB = 0x60;
constexpr std::uint8_t BIND_OPCODE_SET_SEGMENT_AND_OFFSET_ULEB = 0x70;
constexpr std::uint8_t BIND_OPCODE_ADD_ADDR_ULEB = 0x80;
constexpr std::uint8_t BIND_OPCODE_DO_BIND = 0x90;

constexpr std::uint64_t EXPORT_SYMBOL_FLAGS_WEAK_DEFINITION = 0x4;

// A variable of a thread. The compiler calls `address` with this descriptor.
struct ThreadLocalVariable {
  void* (*address)(ThreadLocalVariable*);
  std::uint64_t block;
  std::uint64_t offset;
};

}  // namespace emulation::macho
