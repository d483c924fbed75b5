// The addresses in an image that depend on where it and others lie.
//
// The linker writes lists of them. dyld walks through these when it loads an image: it adds the
// slide to the addresses that point into the image itself (rebasing), and writes the addresses of
// names that other images export (binding). Names of functions are bound when they are first called
// (lazily), and weak names, such as inline functions, are bound once more, to the one definition
// that all images share. Here all of that is done at once, before any code of the image runs.
#pragma once

#include <functional>
#include <string>

#include "Image.h"

namespace emulation {

// Corrects the addresses in the image by its slide. Throws LoadError for a damaged list.
void rebase(const Image& image);

// Returns the address of a name in a library, given by its position in the image's list, counted
// from one. Throws LoadError when there is no such library or name.
using FindName = std::function<void*(unsigned library, const std::string& name)>;
// Returns the address of a name that all images share; null where none defines it.
using FindShared = std::function<void*(const std::string& name)>;

// Fills in the addresses of the names that the image takes from elsewhere. Throws as `find` does,
// and for a damaged list.
void bind(const Image& image, const FindName& find, const FindShared& findShared);

}  // namespace emulation
