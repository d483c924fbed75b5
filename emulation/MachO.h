#pragma once

#include <cstdint>

// The parts of the Mach-O file format that the loader reads. All numbers are little-endian.
namespace emulation::macho {

constexpr std::uint32_t magic64 = 0xfeedfacf;
constexpr std::uint32_t arm64 = 0x0100000c;

constexpr std::uint32_t executable = 2;
constexpr std::uint32_t dynamicLibrary = 6;
constexpr std::uint32_t bundle = 8;

// Flags of the header: weak names of this file are shared with those of other files.
constexpr std::uint32_t definesWeak = 0x8000;
constexpr std::uint32_t bindsToWeak = 0x10000;

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

constexpr std::uint32_t commandSymbolTable = 0x2;
constexpr std::uint32_t commandLoadLibrary = 0xc;
constexpr std::uint32_t commandLibraryId = 0xd;
constexpr std::uint32_t commandSegment = 0x19;
constexpr std::uint32_t commandLoadWeakLibrary = 0x80000018;
constexpr std::uint32_t commandReexportLibrary = 0x8000001f;
constexpr std::uint32_t commandDyldInfo = 0x22;
constexpr std::uint32_t commandDyldInfoOnly = 0x80000022;
constexpr std::uint32_t commandMain = 0x80000028;
constexpr std::uint32_t commandExportsTrie = 0x80000033;
constexpr std::uint32_t commandChainedFixups = 0x80000034;

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

constexpr std::uint32_t readOnlyAfterBinding = 0x10;

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
constexpr std::uint32_t initializerPointers = 0x9;
constexpr std::uint32_t terminatorPointers = 0xa;
constexpr std::uint32_t threadLocalRegular = 0x11;
constexpr std::uint32_t threadLocalZeroFilled = 0x12;
constexpr std::uint32_t threadLocalVariables = 0x13;
constexpr std::uint32_t initializerOffsets = 0x16;

struct LibraryCommand {
  LoadCommand command;
  std::uint32_t nameOffset;
  std::uint32_t timestamp;
  std::uint32_t currentVersion;
  std::uint32_t compatibilityVersion;
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
  std::uint64_t stackSize;
};

struct SymbolTableCommand {
  LoadCommand command;
  std::uint32_t symbolOffset, symbolCount;
  std::uint32_t stringOffset, stringSize;
};

struct Symbol {
  std::uint32_t name;
  std::uint8_t type;
  std::uint8_t section;
  std::uint16_t description;
  std::uint64_t address;
};

// A variable of a thread. The compiler calls `address` with this descriptor.
struct ThreadLocalVariable {
  void* (*address)(ThreadLocalVariable*);
  std::uint64_t block;
  std::uint64_t offset;
};

}  // namespace emulation::macho
