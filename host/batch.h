#pragma once

#include <functional>
#include <string>

#include "commands.h"

// Runs an operation on files. `command` is the client command that takes the time.

using FileOperation = std::function<bool(const char* file)>;

// Returns whether it succeeded; a failure is reported.
bool runOn(Provider& provider, const std::string& path, const std::string& command,
           const FileOperation& operation);

// Runs the operations as a batch, so that several files reach the client as one command. Goes on
// after a failure, passes on the client's warnings, and returns the exit status.
int runAsOne(Provider& provider, const Paths& paths, const std::string& command,
             const FileOperation& operation);
