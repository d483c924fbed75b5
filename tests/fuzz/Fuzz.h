// What the fuzz targets share.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "substitute/api/Host.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Velorin.h"

// Ends the process when `holds` is false; libFuzzer then keeps the input.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Not as it must be: %s\n", what);
  std::abort();
}

// A host in a folder of its own, in memory where there is such a file system. One for the process.
class FuzzHost {
 public:
  FuzzHost() : directory_(makeDirectory()), host_(substitute::settingsIn(directory_)) {
    std::filesystem::create_directories(substitute::addinFolderIn(directory_));
  }
  ~FuzzHost() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  void writeInfoFile(const std::string& bytes) const {
    std::ofstream(substitute::infoFileOf(host_), std::ios::binary) << bytes;
  }
  std::string readInfoFile() const {
    std::ifstream file(substitute::infoFileOf(host_), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  substitute::Host& host() { return host_; }

 private:
  static std::string makeDirectory() {
    std::string path = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    path += "/velorin-fuzz-XXXXXX";
    require(mkdtemp(path.data()) != nullptr, "a folder for the host");
    return path;
  }

  std::string directory_;
  substitute::Host host_;
};
