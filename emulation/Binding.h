#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Image.h"

namespace emulation {

// Where a name is looked for: in a library by its position in the file's list, counted from one, or
// in one of these places.
constexpr std::int64_t inSelf = 0;
constexpr std::int64_t inProgram = -1;
constexpr std::int64_t inAll = -2;
constexpr std::int64_t amongWeak = -3;

// Returns the address of a name, or null, which leaves what refers to it as it is.
using FindName = std::function<void*(std::int64_t place, const std::string& name, bool mayLack)>;

// Corrects the addresses in the image by its slide. Throws LoadError for a damaged list.
void rebase(const Image& image);

// Fills in the addresses of the names that the image takes from elsewhere, those that are bound at
// their first use included, and then of those that all files share.
void bind(const Image& image, const FindName& find);

}  // namespace emulation
