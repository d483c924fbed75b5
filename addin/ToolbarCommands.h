// The two commands of the toolbar. Each has a handler for when the host creates the command and one
// for when it executes. The e-shop's are complete and dormant: run registers only the learning
// command.
#pragma once

#include <Core/CoreAll.h>

// The learning command "runTeachPalette" has been created for a click.
class CmdCreatedEventHandler : public adsk::core::CommandCreatedEventHandler {
 public:
  ~CmdCreatedEventHandler() override;

  // Connects _cmdExecute to the new command; not when the command has no inputs or no execute
  // event. `eventArgs` and its command are not empty.
  void notify(const adsk::core::Ptr<adsk::core::CommandCreatedEventArgs>& eventArgs) override;
};

// The learning command executes.
class CmdExecuteEventHandler : public adsk::core::CommandEventHandler {
 public:
  ~CmdExecuteEventHandler() override;

  // Opens the learning palette. `eventArgs` is not read.
  void notify(const adsk::core::Ptr<adsk::core::CommandEventArgs>& eventArgs) override;
};

// The e-shop command "openEshop" has been created for a click.
class CmdEshopCreatedEventHandler : public adsk::core::CommandCreatedEventHandler {
 public:
  ~CmdEshopCreatedEventHandler() override;

  // Connects _cmdEshopExecute to the new command, under the terms of CmdCreatedEventHandler.
  void notify(const adsk::core::Ptr<adsk::core::CommandCreatedEventArgs>& eventArgs) override;
};

// The e-shop command executes.
class CmdEshopExecuteEventHandler : public adsk::core::CommandEventHandler {
 public:
  ~CmdEshopExecuteEventHandler() override;

  // Opens the e-shop in the system's default application. `eventArgs` is not read; a failure is
  // not noticed.
  void notify(const adsk::core::Ptr<adsk::core::CommandEventArgs>& eventArgs) override;
};
