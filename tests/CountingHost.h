// As much of the host's library as the add-in needs to be loaded and unloaded. It counts the
// handlers.
#pragma once

#include <Core/CoreAll.h>

#include <vector>

// The handlers that were constructed and destroyed, in order. Tests append other objects to
// `ended` when they are released.
ADSK_HOST_API std::vector<const void*>& made();
ADSK_HOST_API std::vector<const void*>& ended();
