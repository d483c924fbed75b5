// The one include for whoever talks to the host: all of it that the add-in uses, and no more.
//
// Every host class shows its operations twice: a virtual one whose name ends in _raw, which the
// host implements, and a thin wrapper under the plain name, which is the one to call. A wrapper
// passes its arguments on unchanged, a string zero-terminated and borrowed for the call. A raw
// operation that returns an object returns it counted for the caller, or null; the wrapper takes
// that reference over, so an empty handle means that the host returned nothing. A raw operation
// that returns a string returns an array of the host's, or null; the wrapper copies it and hands it
// back. Exceptions of the host pass through unchanged.
#pragma once

#include "Application.h"
#include "Base.h"
#include "Commands.h"
#include "EventHandler.h"
#include "Memory.h"
#include "Palettes.h"
#include "Toolbars.h"
#include "UserInterface.h"
