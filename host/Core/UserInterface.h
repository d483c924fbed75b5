// The host's user interface: the way to everything that a user sees.
#pragma once

#include "Commands.h"
#include "Palettes.h"
#include "Toolbars.h"

namespace adsk::core {

class UserInterface : public Base {
 public:
  virtual Palettes* palettes_raw() const = 0;
  virtual Toolbars* toolbars_raw() const = 0;
  virtual CommandDefinitions* commandDefinitions_raw() const = 0;

  // All palettes; empty when the host returns none.
  Ptr<Palettes> palettes() const { return Ptr<Palettes>(palettes_raw(), true); }

  // All toolbars; empty when the host returns none.
  Ptr<Toolbars> toolbars() const { return Ptr<Toolbars>(toolbars_raw(), true); }

  // All command definitions; empty when the host returns none.
  Ptr<CommandDefinitions> commandDefinitions() const {
    return Ptr<CommandDefinitions>(commandDefinitions_raw(), true);
  }
};

}  // namespace adsk::core
