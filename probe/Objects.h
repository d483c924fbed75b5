// What a host makes of lookups, additions and deletions.
#pragma once

#include <string>

namespace probe {

// Asks it, with objects of the probe's own, which are gone afterwards.
void askAboutObjects(const std::string& pageAddress);

// Takes away every palette, definition and control that bears an id of the probe's.
void removeObjects();

}  // namespace probe
