#pragma once

#include <string>
#include <vector>

#include "settings.h"

// What the user has asked for.
struct CommandLine {
  std::string command;
  std::vector<std::string> arguments;
  Settings settings;

  std::string message;
  std::string revision = "HEAD";
  std::string output;
  std::string user;
  unsigned jobs = 0;  // 0: the default
  bool changed = false;
  bool untracked = false;
  bool clean = false;
  bool revert = false;
  bool directories = false;
  bool force = false;
};

// How a command is written, and what it does.
struct CommandHelp {
  const char* name;
  const char* arguments;
  const char* description;
  std::size_t fewest, most;  // arguments
};

// Reads the command line. Ends the program after showing the help or the version, and after bad
// usage, which it reports.
CommandLine readCommandLine(int count, char** words, const std::vector<CommandHelp>& commands);
