#pragma once

/// A row of a room's table of twins: which driver command does what a command does.
#define TWIN(Command, DriverCommand) \
  QORScsiCommand* Command::createQORCommand() { return new DriverCommand(this); }
