// Any bytes as the info file: what AutoOpenPalette returns and leaves.
#include "firstrun/InfoFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/fuzz/Fuzz.h"
#include "tests/model/Model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzHost host;
  const std::string before(reinterpret_cast<const char*>(data), size);
  host.writeInfoFile(before);
  const std::int32_t count = AutoOpenPalette();
  const model::InfoFileUpdate expected = model::updateInfoFile(before);
  require(count == expected.returned, "the count");
  require(host.readInfoFile() == expected.after, "the file");
  return 0;
}
